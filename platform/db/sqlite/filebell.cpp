#include "db/sqlite/filebell.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "db/remedy.h"

namespace qv::db {
namespace {

constexpr const char* kFile = "outbox.bell";

[[noreturn]] void Fail(const std::filesystem::path& path) {
  throw Error(Error::Kind::Unusable, "cannot watch " + path.string() + ": " + std::strerror(errno) + RemedyFor(errno));
}

}  // namespace

FileBell::FileBell(const std::filesystem::path& folder)
    : path_(folder / kFile), events_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
  if (!events_) Fail(path_);
  Listen();
}

void FileBell::Listen() {
  const files::FileDescriptor file(
      open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, S_IRUSR | S_IWUSR));
  if (!file || inotify_add_watch(events_.get(), path_.c_str(), IN_ATTRIB | IN_DELETE_SELF) < 0) Fail(path_);
}

void FileBell::Clear() {
  alignas(inotify_event) char events[4096];
  for (;;) {
    const ssize_t size = read(events_.get(), events, sizeof events);
    if (size <= 0) return;
    for (ssize_t place = 0; place < size;) {
      inotify_event event = {};
      std::memcpy(&event, events + place, sizeof event);
      if ((event.mask & IN_IGNORED) != 0) Listen();  // somebody has deleted the file
      place += static_cast<ssize_t>(sizeof event + event.len);
    }
  }
}

void FileBell::Ring(const std::filesystem::path& folder) noexcept {
  static_cast<void>(utimensat(AT_FDCWD, (folder / kFile).c_str(), nullptr, AT_SYMLINK_NOFOLLOW));
}

}  // namespace qv::db
