#include "foldertree.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <memory>
#include <span>
#include <system_error>

namespace qv::db {
namespace {

/// More folders than anyone nests; keeps a removal from running out of descriptors.
constexpr std::size_t kMaxNames = 64;

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};

/// Appends the names of `path`. @return false when the path is not acceptable
bool AppendNames(std::string_view path, PathNames& names) {
  if (path.empty() || path.front() == '/' || path.find('\0') != std::string_view::npos) return false;
  const std::size_t before = names.size();
  for (std::string& name : SplitNames(path)) {
    if (name == ".." || name.size() > NAME_MAX) return false;
    if (!name.empty() && name != ".") names.push_back(std::move(name));
  }
  return names.size() > before;
}

Outcome OutcomeOf(int error) {
  switch (error) {
    case ELOOP:
    case ENOTDIR:
    case EISDIR:
    case ENOTEMPTY:
    case EEXIST:
    case ENAMETOOLONG:
    case EINVAL:
      return Outcome::Refused;
    default:
      return Outcome::Failed;
  }
}

/// Opens the folder at the end of `names`; with `make`, folders that are missing are made.
FileDescriptor Walk(int root, std::span<const std::string> names, bool make) {
  FileDescriptor folder(fcntl(root, F_DUPFD_CLOEXEC, 0));
  for (const std::string& name : names) {
    if (!folder) break;
    if (make && mkdirat(folder.get(), name.c_str(), S_IRWXU) != 0 && errno != EEXIST) return {};
    folder = OpenFolderIn(folder.get(), name);
  }
  return folder;
}

std::span<const std::string> ParentOf(const PathNames& names) { return std::span(names).first(names.size() - 1); }

Place LookAtName(int folder, const std::string& name) {
  struct stat status = {};
  if (fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    return errno == ENOENT ? Place::Nothing : Place::Obstructed;
  }
  if (S_ISDIR(status.st_mode)) return Place::Folder;
  return S_ISREG(status.st_mode) ? Place::File : Place::Obstructed;
}

/// Removes whatever `name` is. @return 0 or the error's number
int RemoveName(int parent, const std::string& name) {
  if (unlinkat(parent, name.c_str(), 0) == 0 || errno == ENOENT) return 0;
  if (errno != EISDIR && errno != EPERM) return errno;
  {
    const FileDescriptor folder = OpenFolderIn(parent, name);
    if (!folder) return errno;
    for (const std::string& inner : NamesIn(folder.get())) {
      if (const int error = RemoveName(folder.get(), inner); error != 0) return error;
    }
  }
  return unlinkat(parent, name.c_str(), AT_REMOVEDIR) == 0 ? 0 : errno;
}

}  // namespace

std::optional<PathNames> NamesOf(std::string_view folder, std::string_view relative) {
  PathNames names;
  if (folder.size() + relative.size() + 1 >= PATH_MAX) return std::nullopt;
  if (!AppendNames(folder, names) || !AppendNames(relative, names) || names.size() > kMaxNames) return std::nullopt;
  return names;
}

PathNames SplitNames(std::string_view path) {
  PathNames names;
  for (std::size_t slash = 0; slash != std::string_view::npos;) {
    slash = path.find('/');
    names.emplace_back(path.substr(0, slash));
    path.remove_prefix(slash == std::string_view::npos ? path.size() : slash + 1);
  }
  return names;
}

std::string JoinNames(const PathNames& names) {
  std::string path;
  for (const std::string& name : names) path += (path.empty() ? "" : "/") + name;
  return path;
}

Place LookAt(int root, const PathNames& names) {
  const FileDescriptor parent = Walk(root, ParentOf(names), false);
  if (!parent) return errno == ENOENT ? Place::Nothing : Place::Obstructed;
  return LookAtName(parent.get(), names.back());
}

FileDescriptor OpenFile(int root, const PathNames& names) {
  const FileDescriptor parent = Walk(root, ParentOf(names), false);
  if (!parent || LookAtName(parent.get(), names.back()) != Place::File) return {};
  return FileDescriptor(openat(parent.get(), names.back().c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
}

Outcome MoveIntoPlace(int root, int from, const std::string& name, const PathNames& names) {
  const FileDescriptor parent = Walk(root, ParentOf(names), true);
  if (!parent) return OutcomeOf(errno);
  const Place place = LookAtName(parent.get(), names.back());
  if (place != Place::Nothing && place != Place::File) return Outcome::Refused;
  if (renameat(from, name.c_str(), parent.get(), names.back().c_str()) != 0) return OutcomeOf(errno);
  return Outcome::Done;
}

Outcome RemoveAll(int root, const PathNames& names) {
  const FileDescriptor parent = Walk(root, ParentOf(names), false);
  if (!parent) return errno == ENOENT ? Outcome::Done : OutcomeOf(errno);
  if (LookAtName(parent.get(), names.back()) == Place::Obstructed) return Outcome::Refused;
  if (const int error = RemoveName(parent.get(), names.back()); error != 0) {
    errno = error;
    return OutcomeOf(error);
  }
  return Outcome::Done;
}

bool SyncFolders(int root, const std::set<PathNames>& folders) {
  for (const PathNames& names : folders) {
    const FileDescriptor folder = Walk(root, names, false);
    if (!folder && errno == ENOENT) continue;
    if (!folder || fsync(folder.get()) != 0) return false;
  }
  return true;
}

FileDescriptor OpenFolderIn(int parent, const std::string& name) {
  return FileDescriptor(openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

std::vector<std::string> NamesIn(int folder) {
  const int descriptor = openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const std::unique_ptr<DIR, CloseFolder> listing(descriptor < 0 ? nullptr : fdopendir(descriptor));
  if (!listing) {
    const int reason = errno;
    if (descriptor >= 0) close(descriptor);
    throw std::system_error(reason, std::generic_category(), "cannot list a folder");
  }
  std::vector<std::string> names;
  while (const dirent* entry = readdir(listing.get())) {
    std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(std::move(name));
  }
  return names;
}

}  // namespace qv::db
