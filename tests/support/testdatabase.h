/// Where the tests' hosts keep their rows: SQLite in the data folder or, when QVCMS_TEST_DATABASE names a PostgreSQL
/// database (tests/support/with-postgresql), there in a schema for each data folder.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace support {

bool OnPostgresql();

/// The URI of the database for the host in `folder`, whose schema it makes if it is missing. Empty for SQLite.
std::string DatabaseOf(const std::filesystem::path& folder);
/// The start of a command of the shell that is to find it in QVCMS_DATABASE. Empty for SQLite.
std::string DatabaseVariable(const std::filesystem::path& folder);

/// From now on the host in `folder` has a schema with every table and no rows, which is quicker to come by than one
/// that it makes itself.
void UseReadyDatabase(const std::filesystem::path& folder);
/// The hosts in the folders below `folder` need their schemas no longer.
void ReturnDatabasesBelow(const std::filesystem::path& folder);

/// SQL that has the database refuse an operation ("INSERT", "UPDATE", "DELETE") on rows of a table from then on. A name
/// that begins with "refuse" lets `ReturnDatabasesBelow` take it back.
/// @param condition  which rows, in SQL with NEW and OLD; empty: all
std::string RefusingTrigger(const std::string& name, const std::string& operation, const std::string& table,
                            const std::string& condition);

/// Runs SQL statements on a connection of its own. @return the rows of the last one, columns joined by "|", nulls as
/// "null"
std::vector<std::string> QueryPostgresql(const std::string& database, const std::string& sql);

}  // namespace support
