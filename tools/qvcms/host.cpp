#include "host.h"

#include <sys/stat.h>

#include <filesystem>

#include "exitcodes.h"
#include "log/log.h"
#include "output.h"

namespace qvcms {
namespace {

void WarnIfOpenToOthers(const std::filesystem::path& folder) {
  struct stat status = {};
  if (stat(folder.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) return;
  if ((status.st_mode & (S_IRWXG | S_IRWXO)) == 0) return;
  Complain("warning: other users get into the data folder " + folder.string() +
           ", which holds passwords: give it the mode 0700");
}

}  // namespace

bool IsUnused(const std::filesystem::path& folder) {
  std::error_code unreadable;  // what cannot be looked into is opened, which says why
  if (!std::filesystem::exists(folder, unreadable)) return !unreadable;
  if (!std::filesystem::is_directory(folder, unreadable)) return false;
  const std::filesystem::path database = folder / "qvcms.db";
  if (std::filesystem::exists(database, unreadable)) {
    return std::filesystem::is_regular_file(database, unreadable) && std::filesystem::is_empty(database, unreadable);
  }
  if (unreadable) return false;
  for (const auto& entry : std::filesystem::directory_iterator(folder, unreadable)) {
    if (entry.path().filename() == "lost+found") continue;  // of a disk of its own
    throw Failure(kFailed, folder.string() + " is no data folder of a host: it has no qvcms.db, but other files");
  }
  return !unreadable;
}

Host::Host(const GlobalOptions& options, const std::filesystem::path& folder) {
  qv::log::Settings log;
  log.level = options.log_level;
  log.file = options.log_file;
  qv::log::Configure(log);
  qv::db::Options database;
  database.driver.durability = options.durability;
  WarnIfOpenToOthers(folder);
  qv::db::Open(folder, database);
}

Host::~Host() { qv::db::Close(); }

int CommitAndReport(qv::db::UnitOfWork& work, const std::string& report) {
  const std::string failed = FailedOperations(work);
  const int failures = work.failures();
  work.Commit();
  if (!failed.empty()) Complain(failed + ", the rest was applied; the log tells which");
  // What fails once the rows are committed are files.
  if (const int files = work.failures() - failures; files > 0) {
    Complain(std::to_string(files) + (files == 1 ? " file" : " files") +
             " could not be written; the rows were applied, later commands try again; the log tells which");
  }
  PrintApplied(report);
  return work.failures() == 0 ? kDone : kFailed;
}

std::string FailedOperations(const qv::db::UnitOfWork& work) {
  const int count = work.failures();
  return count == 0 ? "" : std::to_string(count) + (count == 1 ? " operation failed" : " operations failed");
}

std::string WithRemedy(const qv::db::Error& error) {
  switch (error.kind()) {
    case qv::db::Error::Kind::Busy:
      return error.what() + std::string("; try again when the other command is done");
    case qv::db::Error::Kind::Lost:
      return error.what() + std::string("; no row was changed");
    default:
      return error.what();
  }
}

}  // namespace qvcms
