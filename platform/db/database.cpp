#include "db/database.h"

#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <stdexcept>

#include "db/migrations.h"
#include "db/postgresql/postgresqldriver.h"
#include "db/remedy.h"
#include "db/session.h"

namespace qv::db {
namespace {

/// What the process has open. Every opening has a number of its own, by which a thread sees that its session belongs
/// to a folder that was closed.
struct Process {
  std::mutex mutex;  ///< guards all but `opening`
  std::shared_ptr<Folder> folder;
  std::uint64_t last_opening = 0;
  std::atomic<std::uint64_t> opening{0};  ///< 0: nothing is open
};

Process& TheProcess() {
  static Process process;
  return process;
}

struct Thread {
  std::unique_ptr<Session> session;
  std::uint64_t opening = 0;
  bool is_opening = false;  ///< the session is the one that `Open` is preparing
};

thread_local Thread this_thread;

void MakeFolder(const std::filesystem::path& folder) {
  std::error_code error;
  if (folder.has_parent_path()) std::filesystem::create_directories(folder.parent_path(), error);
  if (mkdir(folder.c_str(), S_IRWXU) == 0) return;
  int reason = errno;
  if (reason == EEXIST) {
    if (std::filesystem::is_directory(folder, error)) return;
    reason = ENOTDIR;
  }
  throw Error(Error::Kind::Unusable,
              "cannot make the data folder " + folder.string() + ": " + std::strerror(reason) + RemedyFor(reason));
}

/// A path that stays the same when the process changes its folder, and names the folder itself.
std::filesystem::path Normal(const std::filesystem::path& folder) {
  std::filesystem::path normal = std::filesystem::absolute(folder).lexically_normal();
  return normal.has_filename() ? normal : normal.parent_path();
}

/// With the process's mutex held.
void OpenFolder(Process& process, const std::filesystem::path& path, Options options) {
  const std::filesystem::path normal = Normal(path);
  MakeFolder(normal);
  auto folder = std::make_shared<Folder>(normal, std::move(options));
  this_thread = {};
  try {
    this_thread.session = Connect(folder);
    this_thread.is_opening = true;
    BringToSchema(*this_thread.session, *folder->options.schema);
    folder->is_accepted = true;
    folder->FollowUp();
  } catch (const Error& error) {
    this_thread = {};
    if (error.kind() == Error::Kind::Unusable || error.kind() == Error::Kind::Busy) throw;
    throw Error(Error::Kind::Unusable, "cannot open the data folder " + normal.string() + ": " + error.what());
  } catch (...) {
    this_thread = {};
    throw;
  }
  this_thread.is_opening = false;
  process.folder = std::move(folder);
  this_thread.opening = ++process.last_opening;
  process.opening = process.last_opening;
}

std::filesystem::path DefaultFolder() {
  const char* folder = std::getenv("QVCMS_DATA_DIR");
  return folder != nullptr && *folder != '\0' ? folder : "qvcms-data";
}

}  // namespace

void Open(const std::filesystem::path& folder, Options options) {
  Process& process = TheProcess();
  const std::lock_guard guard(process.mutex);
  if (process.folder) throw std::logic_error("a database is open already");
  OpenFolder(process, folder, std::move(options));
}

bool HoldsHost(const std::string& database) {
  return OpenPostgresql({.database = database})->ReadColumns().contains("schema_version");
}

void Close() noexcept {
  Process& process = TheProcess();
  const std::lock_guard guard(process.mutex);
  this_thread = {};
  process.opening = 0;
  process.folder.reset();
}

bool IsOpen() { return this_thread.is_opening || TheProcess().opening != 0; }

std::filesystem::path DataFolder() {
  if (!IsOpen()) throw Error(Error::Kind::Unusable, "no database is open");
  return ThisThread().state().folder->path;
}

Durability CommitDurability() {
  if (!IsOpen()) throw Error(Error::Kind::Unusable, "no database is open");
  return ThisThread().state().folder->options.driver.durability;
}

Session& ThisThread() {
  Process& process = TheProcess();
  if (this_thread.is_opening) return *this_thread.session;
  if (this_thread.session && this_thread.opening == process.opening) return *this_thread.session;

  std::unique_lock guard(process.mutex);
  if (!process.folder) {
    OpenFolder(process, DefaultFolder(), {});
    return *this_thread.session;
  }
  std::shared_ptr<Folder> folder = process.folder;
  const std::uint64_t opening = process.opening;
  guard.unlock();
  this_thread.session.reset();
  this_thread.session = Connect(std::move(folder));
  this_thread.opening = opening;
  return *this_thread.session;
}

}  // namespace qv::db
