#include "rtspinfo.h"

#include <fcntl.h>
#include <json/value.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <vector>

#include "files/descriptor.h"
#include "qvjson.h"
#include "qvpackage.h"
#include "record/attempt.h"

using qv::files::FileDescriptor;

namespace {

constexpr const char* kPackageUser = "Quorvane";

[[noreturn]] void Fail(const std::string& what) {
  throw qv::db::Error(qv::db::Error::Kind::Unusable, "cannot " + what + ": " + std::strerror(errno));
}

/// The package's user, with its texts in `memory`; no name when the system has no such user.
/// @return 0, or the error of the look-up
int FindPackageUser(passwd& user, std::vector<char>& memory) {
  passwd* found = nullptr;
  int error = ERANGE;
  while (error == ERANGE) {
    memory.resize(memory.size() + 1024);
    error = getpwnam_r(kPackageUser, &user, memory.data(), memory.size(), &found);
  }
  if (found == nullptr) user.pw_name = nullptr;
  // Some directories report a user whom they do not have as an error.
  return error == ENOENT || error == ESRCH ? 0 : error;
}

/// Lets the package's user reach the files in the folder. That this fails is no reason to write none: who gives the
/// files away fails too, and says so.
void GiveToPackageUser(int folder) {
  passwd user{};
  std::vector<char> memory;
  if (FindPackageUser(user, memory) != 0 || user.pw_name == nullptr) return;
  [[maybe_unused]] const int ignored = fchown(folder, user.pw_uid, user.pw_gid);
}

/// Opens the folder, made with mode 0700 for the package's user if it is missing, and waits until no other process
/// writes in it.
FileDescriptor OpenLocked(const std::filesystem::path& folder) {
  std::error_code error;  // the reason when the next step fails too
  std::filesystem::create_directories(folder.parent_path(), error);
  const bool made = mkdir(folder.c_str(), S_IRWXU) == 0;
  if (!made && errno != EEXIST) {
    if (error) errno = error.value();
    Fail("make " + folder.string());
  }
  FileDescriptor opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!opened) Fail("use " + folder.string());
  if (made) GiveToPackageUser(opened.get());
  while (flock(opened.get(), LOCK_EX) != 0) {
    if (errno != EINTR) Fail("use " + folder.string());
  }
  return opened;
}

/// Writes another file and renames it. A killed process leaves that one, which the next to come replaces, whatever
/// server it writes for: the folder's lock keeps writers apart.
void Replace(int folder, const std::string& name, const std::string& content) {
  const std::string fresh = "rtsp_key.new";
  unlinkat(folder, fresh.c_str(), 0);
  const FileDescriptor file(
      openat(folder, fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
  if (!file) Fail("make " + fresh);
  try {
    if (!qv::files::WriteAll(file.get(), content) || fsync(file.get()) != 0) Fail("write " + fresh);
    if (renameat(folder, fresh.c_str(), folder, name.c_str()) != 0) Fail("replace " + name);
  } catch (...) {
    unlinkat(folder, fresh.c_str(), 0);
    throw;
  }
}

}  // namespace

std::string RtspKeyFilePath(int zrId) { return QV_PACKAGE_DIR "/@rtsp_info/rtsp_key" + std::to_string(zrId); }

int SetRtspInfoToConf(const std::string& path, const std::map<int, std::string>& keys) {
  Json::Value content(Json::objectValue);
  for (const auto& [camera, key] : keys) content[std::to_string(camera)] = key;
  return qv::record::Attempt("Failed to write a key file", [&] {
    const std::filesystem::path file(path);
    const FileDescriptor folder = OpenLocked(file.parent_path());
    Replace(folder.get(), file.filename().string(), JsonWrite(content, true) + '\n');
  });
}

int SetFileOwnerToQV(const std::string& path, bool followLink) {
  const int link = followLink ? 0 : AT_SYMLINK_NOFOLLOW;
  struct stat file {};
  if (fstatat(AT_FDCWD, path.c_str(), &file, link) != 0) return -1;
  passwd user{};
  std::vector<char> memory;
  if (FindPackageUser(user, memory) != 0) return -1;
  if (user.pw_name == nullptr || (file.st_uid == user.pw_uid && file.st_gid == user.pw_gid)) return 0;
  return fchownat(AT_FDCWD, path.c_str(), user.pw_uid, user.pw_gid, link) == 0 ? 0 : -1;
}
