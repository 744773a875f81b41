/// Opening and closing.

#include "qv/host.h"

#include <sys/stat.h>

#include <atomic>
#include <utility>

#include "db/copy.h"
#include "files/folder.h"
#include "guard.h"
#include "log/log.h"

namespace qv {
namespace {

std::atomic<bool> has_host = false;

void Check(const HostOptions& options) {
  const auto require = [](bool holds, const char* what) {
    if (!holds) throw Refusal(RefusalCode::BadArgument, what);
  };
  require(!options.data_folder.empty(), "the name of the data folder is empty");
  require(options.busy_timeout.count() >= 0, "a busy timeout is 0 or more");
  require(0 <= options.log.level && options.log.level <= 7, "a log level is 0 to 7");
}

/// In the data folder of a host whose rows are elsewhere: says where.
constexpr const char* kElsewhere = "qvcms.db.elsewhere";

/// Nobody is to begin a new database in the folder of a host that has one elsewhere.
void RefuseIfElsewhere(const std::filesystem::path& folder) {
  std::error_code unreadable;
  if (!std::filesystem::is_regular_file(folder / kElsewhere, unreadable)) return;
  const std::string where = files::Folder(folder, false).Read(kElsewhere).value_or("");
  throw Refusal(RefusalCode::NotAHost, folder.string() + " belongs to a host whose rows are in " +
                                           where.substr(0, where.find('\n')) +
                                           ": name that database (--database, QVCMS_DATABASE)");
}

/// Of the open database.
void NoteElsewhere(const std::filesystem::path& folder) try {
  const std::string where = db::ThisThread().connection().Name() + '\n';
  files::Folder own(folder, false);
  if (own.Read(kElsewhere) != where) own.Write(kElsewhere, where);
} catch (const std::runtime_error& error) {
  db::Close();
  throw Refusal(RefusalCode::Unusable, folder.string() + ": " + error.what());
}

/// Nobody is to work on a new database without noticing that the folder has the old one.
void RefuseTwoDatabases(const HostOptions& options) {
  if (options.database.empty()) return RefuseIfElsewhere(options.data_folder);
  std::error_code unreadable;
  if (!std::filesystem::exists(options.data_folder / "qvcms.db", unreadable)) return;
  throw Refusal(RefusalCode::NotAHost,
                options.data_folder.string() + " has a database of its own, qvcms.db: name another data folder");
}

db::DriverOptions DriverOptionsOf(const HostOptions& options) {
  const bool survives_power_cuts = options.durability == Durability::PowerCut;
  return {.database = options.database,
          .busy_timeout = options.busy_timeout,
          .durability = survives_power_cuts ? db::Durability::Power : db::Durability::Process};
}

void ConfigureLog(const LogOptions& options) {
  log::Settings settings;
  settings.level = options.level;
  settings.file = options.file.string();
  settings.max_file_bytes = options.max_file_size;
  settings.kept_files = options.kept_files;
  settings.to_stderr = options.to_stderr;
  try {
    log::Configure(settings);
  } catch (const std::runtime_error& error) {
    throw Refusal(RefusalCode::Unusable, error.what());
  }
  if (!options.sink) return log::SetSink(nullptr);
  log::SetSink([sink = options.sink](const log::Line& line) {
    sink({line.time, line.level, line.category, line.file, line.line, line.function, line.text});
  });
}

}  // namespace

bool Host::IsIn(const std::filesystem::path& data_folder) {
  namespace fs = std::filesystem;
  std::error_code unreadable;  // what cannot be looked into is there: opening it says what is wrong
  if (!fs::exists(data_folder, unreadable)) return static_cast<bool>(unreadable);
  if (!fs::is_directory(data_folder, unreadable)) return true;
  const fs::path database = data_folder / "qvcms.db";
  if (fs::exists(database, unreadable)) {
    return !(fs::is_regular_file(database, unreadable) && fs::is_empty(database, unreadable));
  }
  if (unreadable) return true;
  RefuseIfElsewhere(data_folder);
  for (const auto& entry : fs::directory_iterator(data_folder, unreadable)) {
    if (entry.path().filename() == "lost+found") continue;  // of a disk of its own
    throw Refusal(RefusalCode::NotAHost,
                  data_folder.string() + " is no data folder of a host: it has no qvcms.db, but other files");
  }
  return static_cast<bool>(unreadable);
}

bool Host::IsIn(const HostOptions& options) {
  if (options.database.empty()) return IsIn(options.data_folder);
  return host::Guarded([&] { return db::HoldsHost(options.database); });
}

void Host::Migrate(const HostOptions& from, const HostOptions& to) {
  const OnlyOne only_one;
  Check(from);
  Check(to);
  RefuseTwoDatabases(from);
  RefuseTwoDatabases(to);
  ConfigureLog(to.log);
  if (!IsIn(from)) throw Refusal(RefusalCode::NotAHost, "there is no host in " + from.data_folder.string());
  host::Guarded([&] {
    db::CopyDatabase({from.data_folder, DriverOptionsOf(from)}, {to.data_folder, DriverOptionsOf(to)});
  });
}

Host::OnlyOne::OnlyOne() {
  if (has_host.exchange(true)) throw std::logic_error("this process has a host already");
}

Host::OnlyOne::~OnlyOne() {
  log::Reset();  // whatever the sink refers to may go now
  has_host = false;
}

Host::Host(const HostOptions& options)
    : data_folder_(options.data_folder), has_data_(options.make_if_missing || IsIn(options)) {
  Check(options);
  ConfigureLog(options.log);
  if (!has_data_) return;
  RefuseTwoDatabases(options);
  host::Guarded([&] { db::Open(data_folder_, {.driver = DriverOptionsOf(options), .factory = {}}); });
  if (!options.database.empty()) NoteElsewhere(data_folder_);
}

Host::~Host() {
  if (has_data_) db::Close();
}

void Host::RequireData() const {
  if (!has_data_) throw Refusal(RefusalCode::NotAHost, "there is no host in " + data_folder_.string());
}

bool Host::IsOpenToOthers() const {
  struct stat status = {};
  if (stat(data_folder_.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) return false;
  return (status.st_mode & (S_IRWXG | S_IRWXO)) != 0;
}

}  // namespace qv
