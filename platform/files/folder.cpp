#include "files/folder.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace qv::files {
namespace {

[[noreturn]] void Fail(int error) {
  switch (error) {
    case ELOOP:
      throw std::runtime_error("a symbolic link is in the way");
    case ENOTDIR:
      throw std::runtime_error("a file is in the way of a folder");
    case EISDIR:
      throw std::runtime_error("a folder is in the way");
    default:
      throw std::runtime_error(std::strerror(error));
  }
}

/// The folder that a path leads to, and its last name.
struct Place {
  explicit Place(const std::string& path)
      : folder(path, 0, path.find('/') == std::string::npos ? 0 : path.rfind('/')), name(path, path.rfind('/') + 1) {
    if (folder.empty()) folder.assign(1, '.');
  }
  bool IsAtTop() const { return folder == "."; }

  std::string folder;
  std::string name;
};

}  // namespace

Folder::Folder(const std::filesystem::path& path, bool durable)
    : root_(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)), durable_(durable) {
  if (!root_) Fail(errno);
}

FileDescriptor Folder::Open(const std::string& path, int flags) const {
  open_how how{};
  how.flags = static_cast<unsigned>(flags | O_CLOEXEC);
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS;
  long descriptor = -1;
  do {
    descriptor = syscall(SYS_openat2, root_.get(), path.c_str(), &how, sizeof how);
  } while (descriptor < 0 && (errno == EINTR || errno == EAGAIN));  // EAGAIN: somebody moved a folder meanwhile
  return FileDescriptor(static_cast<int>(descriptor));
}

FileDescriptor Folder::OpenOrMakeFolder(const std::string& path) {
  FileDescriptor folder = Open(path, O_RDONLY | O_DIRECTORY);
  if (folder) return folder;
  if (errno != ENOENT) Fail(errno);
  const Place place(path);
  const FileDescriptor parent = OpenOrMakeFolder(place.folder);
  if (mkdirat(parent.get(), place.name.c_str(), S_IRWXU) != 0 && errno != EEXIST) Fail(errno);
  changed_.insert(place.folder);
  folder = Open(path, O_RDONLY | O_DIRECTORY);
  if (!folder) Fail(errno);
  return folder;
}

std::optional<std::string> Folder::Read(const std::string& path) const {
  const FileDescriptor file = Open(path, O_RDONLY | O_NONBLOCK);  // a pipe must not hold the caller up
  if (!file && (errno == ENOENT || errno == ENOTDIR)) return std::nullopt;
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0) Fail(errno);
  if (S_ISDIR(status.st_mode)) return std::nullopt;
  if (!S_ISREG(status.st_mode)) throw std::runtime_error("something that is no regular file is in the way");
  std::string content;
  char buffer[16384];
  while (true) {
    const ssize_t count = read(file.get(), buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) Fail(errno);
    if (count == 0) return content;
    content.append(buffer, static_cast<std::size_t>(count));
  }
}

void Folder::Write(const std::string& path, std::string_view content) {
  const Place place(path);
  const FileDescriptor parent = OpenOrMakeFolder(place.folder);
  if (unlinkat(parent.get(), kUnfinished, 0) != 0 && errno != ENOENT) Fail(errno);
  const FileDescriptor file(
      openat(parent.get(), kUnfinished, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
  if (!file) Fail(errno);
  unlinkat(parent.get(), place.name.c_str(), AT_REMOVEDIR);  // does nothing but to an empty folder
  if (!WriteAll(file.get(), content) || (durable_ && fsync(file.get()) != 0) ||
      renameat(parent.get(), kUnfinished, parent.get(), place.name.c_str()) != 0) {
    const int reason = errno;
    unlinkat(parent.get(), kUnfinished, 0);
    Fail(reason);
  }
  changed_.insert(place.folder);
}

void Folder::Remove(const std::string& path) {
  Place place(path);
  int how = 0;
  do {
    const FileDescriptor parent = Open(place.folder, O_RDONLY | O_DIRECTORY);
    if (!parent && errno != ENOENT && errno != ENOTDIR) Fail(errno);
    if (parent && unlinkat(parent.get(), place.name.c_str(), how) == 0) {
      changed_.insert(place.folder);
    } else if (parent && how != 0) {
      return;  // other files are in it
    } else if (parent && errno != ENOENT && errno != EISDIR) {
      Fail(errno);
    }
    place = Place(place.folder);
    how = AT_REMOVEDIR;
  } while (!place.IsAtTop());
}

void Folder::Sync() {
  if (durable_) {
    for (const std::string& path : changed_) {
      const FileDescriptor folder = Open(path, O_RDONLY | O_DIRECTORY);
      if (!folder && (errno == ENOENT || errno == ENOTDIR)) continue;  // it was removed since
      if (!folder || fsync(folder.get()) != 0) Fail(errno);
    }
  }
  changed_.clear();
}

}  // namespace qv::files
