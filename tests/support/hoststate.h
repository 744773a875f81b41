/// What a data folder holds, without the platform: through a connection of its own and the file system.
/// Nobody may write to the folder meanwhile.
#pragma once

#include <array>
#include <filesystem>
#include <string>
#include <vector>

namespace support {

std::vector<std::string> TablesIn(const std::filesystem::path& folder);
/// One query for the rows of all tables, each with the names of its columns. Values that no two runs have in common,
/// such as times, are left out.
std::string QueryForAllRows(const std::filesystem::path& folder);
/// These rows in order, in SQLite with the next ids.
std::vector<std::string> DumpDatabase(const std::filesystem::path& folder);
/// Every file of the folder but those of the database, the lock, the device cache and the stamp of the
/// capability files, with mode and content.
std::vector<std::string> DumpFiles(const std::filesystem::path& folder);
/// What SQLite finds wrong with the database, and references that lead nowhere; empty when it is sound.
std::vector<std::string> FindDamage(const std::filesystem::path& folder);
/// The rows of a query, columns joined by "|".
std::vector<std::string> QueryFolder(const std::filesystem::path& folder, const std::string& sql);

/// Runs SQL in the folder's database, which it makes when there is none.
void ExecuteInFolder(const std::filesystem::path& folder, const std::string& sql);

/// The entries of the device cache as a reader elsewhere finds them who knows nothing but the layout: host id, owner,
/// status, padding. Throws when the file is no sound cache, or is being written.
std::vector<std::array<int, 4>> ReadDeviceCache(const std::filesystem::path& folder);

std::string ReadWholeFile(const std::filesystem::path& path);

/// The first line in which two dumps differ, for a report.
std::string FirstDifference(const std::vector<std::string>& one, const std::vector<std::string>& other);

}  // namespace support
