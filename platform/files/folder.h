/// Files below one folder, by their relative paths.
///
/// No path leads out of the folder and no symbolic link is followed, whatever others do in the folder meanwhile: the
/// kernel looks paths up by that rule. A path has no empty names.
#pragma once

#include <filesystem>
#include <optional>
#include <set>
#include <string>

#include "files/descriptor.h"

namespace qv::files {

/// For one thread at a time. Every function throws `std::runtime_error`, whose text says what is in the way.
class Folder {
 public:
  /// Opens the folder. @param durable  whether changes survive a power cut, see `Sync`
  Folder(const std::filesystem::path& path, bool durable);

  /// The content of a file. None when there is no such file. Throws when something else than a folder has its name.
  std::optional<std::string> Read(const std::string& path) const;

  /// Replaces or makes a file, whole or not at all, with mode 0600. Folders on the way are made with mode 0700; an
  /// empty folder that has the file's name goes. While it is written the file is called `kUnfinished`, in the same
  /// folder; a killed process leaves it there.
  void Write(const std::string& path, std::string_view content);
  static constexpr const char* kUnfinished = ".new";

  /// Removes a file, and the folders above it that are empty then, but for the first one. Does nothing when there is
  /// no such file; a folder of that name stays.
  void Remove(const std::string& path);

  /// Makes what was written and removed so far survive a power cut, if the folder is durable.
  void Sync();

 private:
  FileDescriptor Open(const std::string& path, int flags) const;
  FileDescriptor OpenOrMakeFolder(const std::string& path);

  FileDescriptor root_;
  bool durable_;
  std::set<std::string> changed_;  ///< folders whose entries are to be synced
};

}  // namespace qv::files
