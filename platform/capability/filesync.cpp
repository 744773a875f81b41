#include "capability/filesync.h"

#include <fmt/format.h>
#include <sys/random.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <utility>

#include "capability/filenames.h"
#include "db/database.h"
#include "files/folder.h"
#include "log/message.h"

namespace qv::capability {
namespace {

constexpr const char* kStampFile = "capability.stamp";
/// Where versions before the third kept files until their commit.
constexpr const char* kFormerFolder = "staging";

using Paths = std::set<std::string>;

/// Files that a transaction names, each with where its failure counts.
using NamedPaths = std::map<std::string, std::set<std::shared_ptr<int>>>;

/// What this machine's files have reached.
struct Stamp {
  std::string revision;
  Paths failing;  ///< files that could not be made or removed

  bool operator==(const Stamp&) const = default;
};

std::string InFolder(const std::string& path) { return std::string(kFolder) + '/' + path; }

std::string ReadRevision() {
  db::Query query = db::ThisThread().Prepare("SELECT revision FROM capability_revision");
  return query.Next() ? std::string(query.Row().Text(0)) : std::string();
}

/// Has other transactions that change rows wait for the end of this one.
void LockRevision() { db::ThisThread().Prepare("UPDATE capability_revision SET revision=revision").Run(); }

/// No two states of the rows have the same revision, also when the database is brought back from a backup.
std::string SetNewRevision() {
  std::uint64_t number = 0;
  if (getrandom(&number, sizeof number, 0) != sizeof number) {
    throw db::Error(db::Error::Kind::Statement, "the system gives no random number");
  }
  std::string revision = fmt::format("{:016x}", number);
  db::ThisThread().Prepare("UPDATE capability_revision SET revision=$1").Bind(std::string_view(revision)).Run();
  return revision;
}

/// The content that the rows give a file: that of the server that has reported it for longest.
std::optional<std::string> ContentInRows(const std::string& path) {
  db::Query query = db::ThisThread().Prepare("SELECT content FROM capability_file WHERE path=$1 ORDER BY id LIMIT 1");
  query.Bind(std::string_view(path));
  if (!query.Next()) return std::nullopt;
  return std::string(query.Row().Text(0));
}

Paths PathsInRows() {
  Paths paths;
  db::Query query = db::ThisThread().Prepare("SELECT DISTINCT path FROM capability_file");
  while (query.Next()) paths.emplace(query.Row().Text(0));
  return paths;
}

bool HasRows() { return db::ThisThread().Prepare("SELECT 1 FROM capability_file LIMIT 1").Next(); }

/// The files of one data folder. To be used with the writer lock held and no transaction open.
class Files {
 public:
  Files() : data_(db::DataFolder()), folder_(data_, db::CommitDurability() == db::Durability::Power) {}

  /// None if nobody knows what the files have reached, also when somebody removed their folder.
  std::optional<Stamp> ReadStamp() const try {
    if (!std::filesystem::exists(std::filesystem::symlink_status(data_ / kFolder)) && HasRows()) return std::nullopt;
    const std::optional<std::string> text = folder_.Read(kStampFile);
    if (!text) return std::nullopt;
    Stamp stamp;
    std::size_t end = text->find('\0');
    stamp.revision = text->substr(0, end);
    while (end != std::string::npos) {
      const std::size_t begin = end + 1;
      end = text->find('\0', begin);
      const std::string path = text->substr(begin, end - begin);
      if (!StaysBelow(path)) return std::nullopt;  // a damaged stamp
      stamp.failing.insert(path);
    }
    return stamp;
  } catch (const std::runtime_error&) {
    return std::nullopt;  // all files are compared then
  }

  /// Without it, the next process compares all files.
  void WriteStamp(const Stamp& stamp) try {
    std::string text = stamp.revision;
    for (const std::string& path : stamp.failing) text.append(1, '\0').append(path);
    folder_.Write(kStampFile, text);
    folder_.Sync();
  } catch (const std::runtime_error& error) {
    log::Error("Failed to write {}: {}", kStampFile, error.what());
  }

  void RemoveStamp() {
    folder_.Remove(kStampFile);
    folder_.Sync();
  }

  /// The files that are there, with a name for each empty folder, which a process that was killed may have left. Links
  /// are passed over.
  Paths List() const {
    Paths paths;
    const std::filesystem::path folder = data_ / kFolder;
    if (!std::filesystem::is_directory(std::filesystem::symlink_status(folder))) return paths;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
      if (entry.is_symlink()) continue;
      if (entry.is_regular_file()) {
        paths.insert(entry.path().lexically_relative(folder).string());
      } else if (entry.is_directory() && std::filesystem::is_empty(entry)) {
        paths.insert((entry.path().lexically_relative(folder) / files::Folder::kUnfinished).string());
      }
    }
    return paths;
  }

  /// Makes or removes each of the files. @return those that failed, with the reason
  std::map<std::string, std::string> Make(const Paths& paths) {
    std::map<std::string, std::string> failed;
    // What has no row goes first: its folder may have the name of a new file.
    for (const bool has_row : {false, true}) {
      for (const std::string& path : paths) {
        const std::optional<std::string> content = ContentInRows(path);
        if (content.has_value() != has_row) continue;
        try {
          MakeOne(InFolder(path), content);
        } catch (const std::runtime_error& error) {
          failed.emplace(path, error.what());
        }
      }
    }
    folder_.Sync();
    return failed;
  }

  /// Gives the rows that versions before the third left without content that of their files, and removes those that
  /// have no file, a name that is refused now, or a folder with the name of another file: their servers' next
  /// documents bring them. @return whether every row is settled; the next process tries again otherwise
  bool FillRowsOfFormerVersions() {
    bool is_settled = true;
    db::AllOrNothing whole;
    const std::map<std::string, int> owners = PathsWithoutContent();
    const Paths files = GoodFiles(owners);
    for (const auto& [path, owner] : owners) {
      try {
        FillRow(path, IsGood(path, owner) && !IsBelowOneOf(files, path));
      } catch (const std::runtime_error& error) {
        log::Error("Failed to take the content of the file {}: {}", InFolder(path), error.what());
        is_settled = false;
      }
    }
    whole.Keep();
    std::error_code ignored;  // it is in nobody's way
    if (is_settled) std::filesystem::remove_all(data_ / kFormerFolder, ignored);
    return is_settled;
  }

 private:
  static bool StaysBelow(const std::filesystem::path& path) {
    return path.is_relative() && std::find(path.begin(), path.end(), "..") == path.end();
  }

  static std::map<std::string, int> PathsWithoutContent() {
    std::map<std::string, int> owners;
    db::Query query = db::ThisThread().Prepare("SELECT path,owner_zr_id FROM capability_file WHERE content=''");
    while (query.Next()) owners.emplace(query.Row().Text(0), static_cast<int>(query.Row().Int(1)));
    return owners;
  }

  void FillRow(const std::string& path, bool is_good) {
    const std::optional<std::string> content = is_good ? folder_.Read(InFolder(path)) : std::nullopt;
    if (!content) log::Warn("The capability file {} of a former version is forgotten", path);
    db::Query query = db::ThisThread().Prepare(content ? "UPDATE capability_file SET content=$1 WHERE path=$2"
                                                       : "DELETE FROM capability_file WHERE path=$1");
    if (content) query.Bind(std::string_view(*content));
    query.Bind(std::string_view(path)).Run();
  }

  static bool IsGood(const std::string& path, int owner) try {
    return PathOf(path) == path && ServerOf(path) == owner;
  } catch (const db::Error&) {
    return false;
  }

  /// Those of the paths that are good and have a file: no other file can be below it.
  Paths GoodFiles(const std::map<std::string, int>& owners) const {
    Paths paths;
    for (const auto& [path, owner] : owners) {
      std::error_code unreadable;
      const auto status = std::filesystem::symlink_status(data_ / InFolder(path), unreadable);
      if (IsGood(path, owner) && std::filesystem::is_regular_file(status)) paths.insert(path);
    }
    return paths;
  }

  static bool IsBelowOneOf(const Paths& paths, const std::string& path) {
    for (std::size_t slash = path.find('/'); slash != std::string::npos; slash = path.find('/', slash + 1)) {
      if (paths.contains(path.substr(0, slash))) return true;
    }
    return false;
  }

  void MakeOne(const std::string& path, const std::optional<std::string>& content) {
    if (!content) {
      folder_.Remove(path);
    } else if (!content->empty() && folder_.Read(path) != content) {  // empty: not known, see above
      folder_.Write(path, *content);
    }
  }

  std::filesystem::path data_;
  files::Folder folder_;
};

/// Brings the files up to date, with the writer lock held and no transaction open. @param own  files that the
/// transaction names; empty when the database has just been opened. @param before, after  the revisions of the rows
/// that the transaction found and left; equal when none changed
void Update(const NamedPaths& own, const std::string& before, const std::string& after) {
  Files files;
  const std::optional<Stamp> stamp = files.ReadStamp();
  const Paths failing = stamp ? stamp->failing : Paths();
  Stamp reached{ReadRevision(), {}};  // before any row: a row that changes meanwhile has a newer one
  const bool was_behind = !stamp || stamp->revision != before || reached.revision != after;
  Paths paths = failing;
  for (const auto& [path, failures] : own) paths.insert(path);
  bool is_complete = true;
  if (was_behind) {
    is_complete = files.FillRowsOfFormerVersions();
    paths.merge(PathsInRows());
    try {
      paths.merge(files.List());
    } catch (const std::filesystem::filesystem_error& error) {
      log::Error("Failed to list the capability files: {}", error.what());
      is_complete = false;
    }
  }
  // A process that is killed from here on must not leave a stamp that vouches for files it has half made.
  if (stamp && !paths.empty()) files.RemoveStamp();
  for (const auto& [path, reason] : files.Make(paths)) {
    reached.failing.insert(path);
    const auto named = own.find(path);
    if (!own.empty() && named == own.end() && failing.contains(path)) continue;  // the log has it already
    log::Error("Failed to bring the file {} up to date: {}", InFolder(path), reason);
    if (named == own.end()) continue;
    for (const auto& failures : named->second) ++*failures;
  }
  if (is_complete && (!paths.empty() || reached != stamp)) files.WriteStamp(reached);
}

void LogBehind(const std::exception& error) {
  log::Error("Failed to bring the capability files up to date: {}", error.what());
}

void UpdateQuietly(const NamedPaths& own, const std::string& before, const std::string& after) {
  try {
    Update(own, before, after);
  } catch (const std::exception& error) {
    LogBehind(error);
    std::set<std::shared_ptr<int>> all;
    for (const auto& [path, failures] : own) all.insert(failures.begin(), failures.end());
    for (const auto& failures : all) ++*failures;
  }
}

/// What the open transaction is to bring about.
struct Pending {
  std::string before;                      ///< the revision that the transaction found
  std::weak_ptr<const std::string> after;  ///< the one that it leaves; none: the same. Goes with the step that made it
  NamedPaths paths;
};

}  // namespace

void FilesFollow(const std::vector<std::string>& paths, bool rows_changed) {
  static thread_local std::weak_ptr<Pending> of_this_transaction;
  std::shared_ptr<Pending> pending = of_this_transaction.lock();
  if (!pending) of_this_transaction = pending = std::make_shared<Pending>(Pending{ReadRevision(), {}, {}});
  std::shared_ptr<const std::string> after;
  if (rows_changed && pending->after.expired()) {
    LockRevision();
    pending->before = ReadRevision();
    pending->after = after = std::make_shared<const std::string>(SetNewRevision());
  }
  const db::UnitOfWork* const unit = db::UnitOfWork::Current();
  for (const std::string& path : paths) {
    auto& failures = pending->paths[path];
    if (unit != nullptr) failures.insert(unit->failure_count());
  }
  db::OnCommit([pending, after = std::move(after)] {  // the first one does it all
    const NamedPaths own = std::exchange(pending->paths, {});
    const auto revision = pending->after.lock();
    if (!own.empty()) UpdateQuietly(own, pending->before, revision ? *revision : pending->before);
  });
}

bool BringFilesUpToDate() noexcept {
  try {
    Files files;
    if (files.ReadStamp() == Stamp{ReadRevision(), {}}) return true;
    const db::FolderTurn turn(std::chrono::milliseconds(0));
    const std::string revision = ReadRevision();  // another process may have committed since
    UpdateQuietly({}, revision, revision);
  } catch (const db::Error& error) {
    if (error.kind() == db::Error::Kind::Busy) return false;
    LogBehind(error);
  } catch (const std::exception& error) {
    LogBehind(error);
  }
  return true;
}

}  // namespace qv::capability
