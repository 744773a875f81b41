#include "journal.h"

// The header declares the hook only to programs that ask for it.
#define SQLITE_ENABLE_PREUPDATE_HOOK
#include <sqlite3.h>

#include <map>

#include "db/sqlite/sqlitedriver.h"
#include "log/log.h"
#include "wrappeddriver.h"

namespace support {
namespace {

struct Entry {
  std::string line;
  bool is_change;  ///< goes when the database goes back
};
std::vector<Entry> journal;
bool is_running = false;
/// Whether the connection that is being opened will be watched.
thread_local bool is_watched = false;

void NoteLogLine(const qv::log::Line& line) {
  if (line.category == "DATABASE") {
    std::string text = line.text.substr(0, line.text.find(": "));
    if (text.starts_with("Failed")) text[0] = 'f';
    journal.push_back({text, false});
    return;
  }
  static const std::map<std::string, std::string> levels = {{"ERR", "1"},    {"NOTICE", "3"}, {"INFO", "4"},
                                                            {"CHANGE", "5"}, {"DUMP", "7"},   {"-", "-"}};
  const std::string place = journal_names_places ? ":" + std::to_string(line.line) : "";
  journal.push_back({"log " + levels.at(line.level) + " " + line.function + place + " " + line.text, false});
}

std::string NewText(sqlite3* database, int column) {
  sqlite3_value* value = nullptr;
  sqlite3_preupdate_new(database, column, &value);
  return reinterpret_cast<const char*>(sqlite3_value_text(value));
}

/// SQLite calls this for every row that any statement changes.
void NoteChange(void* /*context*/, sqlite3* database, int operation, const char* /*schema*/, const char* table,
                sqlite3_int64 old_id, sqlite3_int64 new_id) {
  const std::string name = table;
  if (!is_running || name.starts_with("sqlite_") || name == "capability_revision") return;
  std::string line;
  if (operation == SQLITE_DELETE) {
    line = "delete " + name + " " + std::to_string(old_id);
  } else if (operation == SQLITE_UPDATE) {
    line = "update " + name + " " + std::to_string(new_id);
  } else if (name != "message") {
    line = "insert " + name + " " + std::to_string(new_id);
  } else {
    line = name;
    for (const int column : {1, 2, 3, 4}) line += " " + NewText(database, column);
  }
  journal.push_back({line, true});
}

int WatchConnection(sqlite3* database, char** /*error*/, const sqlite3_api_routines* /*routines*/) {
  if (is_watched) sqlite3_preupdate_hook(database, NoteChange, nullptr);
  return SQLITE_OK;
}

/// Forgets the changes noted since there were `size` entries: they did not last.
void GoBack(std::size_t size) {
  const auto first = journal.begin() + static_cast<std::ptrdiff_t>(std::min(size, journal.size()));
  journal.erase(std::remove_if(first, journal.end(), [](const Entry& entry) { return entry.is_change; }),
                journal.end());
}

struct WatchedStatement : WrappedStatement {
  using Marks = std::vector<std::size_t>;
  WatchedStatement(std::unique_ptr<qv::db::Statement> inner, std::string sql, Marks& savepoints)
      : WrappedStatement(std::move(inner)), sql_(std::move(sql)), savepoints_(savepoints) {}

  bool Step() override {
    const std::size_t start = journal.size();
    bool row = false;
    try {
      row = WrappedStatement::Step();
    } catch (...) {
      GoBack(start);
      throw;
    }
    if (sql_.starts_with("SAVEPOINT")) savepoints_.push_back(start);
    if (sql_.starts_with("ROLLBACK TO")) GoBack(savepoints_.back());
    if (sql_.starts_with("RELEASE")) savepoints_.pop_back();
    return row;
  }

  std::string sql_;
  Marks& savepoints_;
};

struct WatchedConnection : WrappedConnection {
  using WrappedConnection::WrappedConnection;
  std::unique_ptr<qv::db::Statement> Prepare(const char* sql, bool keep, const char** rest) override {
    auto statement = WrappedConnection::Prepare(sql, keep, rest);
    if (statement == nullptr) return nullptr;
    return std::make_unique<WatchedStatement>(std::move(statement), sql, savepoints_);
  }
  void Begin() override {
    WrappedConnection::Begin();
    begin_ = journal.size();
    savepoints_.clear();
  }
  void Rollback() noexcept override {
    WrappedConnection::Rollback();
    GoBack(begin_);
  }

  std::size_t begin_ = 0;
  WatchedStatement::Marks savepoints_;
};

}  // namespace

Lines Journal(const std::function<void()>& call, int level) {
  qv::log::Configure({.level = level});
  qv::log::SetSink(NoteLogLine);
  journal.clear();
  is_running = true;
  call();
  is_running = false;
  qv::log::Reset();
  Lines lines;
  for (Entry& entry : journal) lines.push_back(std::move(entry.line));
  return lines;
}

qv::db::ConnectionFactory WatchedDriver() {
  sqlite3_auto_extension(reinterpret_cast<void (*)()>(WatchConnection));  // once, however often it is called
  return [](const std::filesystem::path& folder, const qv::db::DriverOptions& options) {
    is_watched = true;
    auto connection = std::make_unique<WatchedConnection>(qv::db::OpenSqlite(folder, options));
    is_watched = false;
    return connection;
  };
}

}  // namespace support
