/// What a session consists of, for the files of platform/db that work on it.
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "db/database.h"
#include "db/writerlock.h"

namespace qv::db {

/// An open data folder; shared by the sessions of all threads.
struct Folder {
  Folder(std::filesystem::path path, Options options)
      : path(std::move(path)), options(std::move(options)), lock(this->path) {}

  const std::filesystem::path path;
  const Options options;
  WriterLock lock;
  bool is_accepted = false;  ///< the database is the program's

  /// Whether `FollowUp` may find something to do. Now and then another machine may have changed a database that is
  /// elsewhere.
  bool IsBehind() {
    constexpr std::chrono::seconds kPause(10);
    const auto now = std::chrono::steady_clock::now();
    if (!options.driver.database.empty() && now >= next_look.load()) {
      next_look = now + kPause;
      is_behind = true;
    }
    return is_accepted && is_behind;
  }
  /// Has what lies outside an accepted database follow it, unless that is done.
  void FollowUp() noexcept {
    if (!is_accepted || !is_behind.exchange(false)) return;
    if (options.schema->on_opening != nullptr && !options.schema->on_opening()) is_behind = true;
  }
  std::atomic<bool> is_behind = true;
  std::atomic<std::chrono::steady_clock::time_point> next_look{std::chrono::steady_clock::time_point::min()};
};

/// The prepared statements of one text. A text that is in use twice at once is prepared twice.
struct StatementPool {
  std::string_view sql;
  std::vector<std::unique_ptr<Statement>> idle;  ///< has room for every statement, so that giving back cannot fail
  std::size_t in_use = 0;
};

/// Long statements are looked up with every row: their ends and lengths tell them apart well enough.
struct TextHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const {
    return std::hash<std::string_view>()(text.substr(text.size() - std::min<std::size_t>(text.size(), 64))) ^
           text.size();
  }
};

/// A query that was sent ahead, for whoever asks for the same rows in the same unit of work.
struct ForeseenQuery {
  std::string table;
  std::string question;  ///< the statement and its values
  Query query;
};

struct Session::State {
  std::shared_ptr<Folder> folder;
  std::unique_ptr<Connection> connection;
  std::unordered_map<std::string, StatementPool, TextHash, std::equal_to<>> statements;
  Statistics statistics;
  std::list<ForeseenQuery> foreseen;  ///< none outside of a unit of work
  UnitOfWork* unit = nullptr;
  Group* group = nullptr;                        ///< whose transaction is open
  bool in_transaction = false;                   ///< a `Transaction` is open, though its database may have lost it
  std::vector<std::function<void()>> on_commit;  ///< what the open transaction brings about

  /// Drops the answers that may not hold any more when `sql` has run. A deletion may take rows of other tables with it.
  void ForgetForeseen(std::string_view sql) {
    const bool only_reads = sql.starts_with("SELECT") && sql.find(';') == std::string_view::npos;
    if (foreseen.empty() || only_reads) return;
    const bool deletes = sql.find("DELETE") != std::string_view::npos;
    foreseen.remove_if(
        [&](const ForeseenQuery& each) { return deletes || sql.find(each.table) != std::string_view::npos; });
  }

  /// Throws `Error` (Lost) when the database has dropped the transaction that is open.
  void CheckNotLost() const {
    if (in_transaction && !connection->InTransaction()) {
      throw Error(Error::Kind::Lost, "the transaction was lost with an earlier error, which the log tells");
    }
  }
};

/// Runs a text outside of the cache, as `Connection::RunText` does.
std::int64_t RunText(Session& session, const std::string& text, TextRows* rows);

/// Connects this thread to `folder`. Throws `Error` (Unusable, Busy).
std::unique_ptr<Session> Connect(std::shared_ptr<Folder> folder);

}  // namespace qv::db
