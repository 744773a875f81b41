/// Changes below the data folder that never follow a symbolic link: every folder on the way is opened by its own name
/// in the one before.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "filedescriptor.h"

namespace qv::db {

/// The names on the way from the data folder to a file, the file's last.
using PathNames = std::vector<std::string>;

/// `folder` and `relative` taken apart. None when one of them is empty, absolute, has "..", a NUL, or is too long for
/// the system.
std::optional<PathNames> NamesOf(std::string_view folder, std::string_view relative);
/// The names of a path that `JoinNames` made.
PathNames SplitNames(std::string_view path);
std::string JoinNames(const PathNames& names);

/// What became of a change to the file system.
enum class Outcome {
  Done,
  Refused,  ///< will never work: a link, a file or a folder stands in the way
  Failed,   ///< may work later: rights, space, hardware; `errno` says why
};

/// What stands at a place.
enum class Place { Nothing, File, Folder, Obstructed /**< a link, or a file or link on the way */ };
Place LookAt(int root, const PathNames& names);

/// Opens the regular file at `names` for reading. Not open when there is none.
FileDescriptor OpenFile(int root, const PathNames& names);

/// Moves `<from>/<name>` to `names`, replacing a file there; makes the folders on the way with mode 0700.
Outcome MoveIntoPlace(int root, int from, const std::string& name, const PathNames& names);

/// Removes a file, or a folder with all that it holds; links in it are removed, not followed. Done when there is
/// nothing to remove.
Outcome RemoveAll(int root, const PathNames& names);

/// Makes what changed in these folders survive a power cut; a folder that is not there (any more) is passed over.
/// @return false, with `errno`, when one of them cannot be written
bool SyncFolders(int root, const std::set<PathNames>& folders);

/// Opens the folder `name` in `parent`. Not open, with `errno`, when there is none or `name` is a link.
FileDescriptor OpenFolderIn(int parent, const std::string& name);
/// The names in an open folder, without "." and "..". Throws `std::system_error`.
std::vector<std::string> NamesIn(int folder);

}  // namespace qv::db
