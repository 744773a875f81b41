#include "journal.h"

// The header declares the hook only to programs that ask for it.
#define SQLITE_ENABLE_PREUPDATE_HOOK
#include <sqlite3.h>

#include <map>
#include <set>

#include "db/database.h"
#include "db/postgresql/postgresqldriver.h"
#include "db/sqlite/sqlitedriver.h"
#include "log/log.h"
#include "testdatabase.h"
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
  static const std::set<std::string> placed = {"UpdateIvaInfo", "UpdateFaceInfo", "UpdateCountingWidgetInfo",
                                               "UpdateCountingTaskGroupInfo"};
  const std::string place = placed.contains(line.function) ? ":" + std::to_string(line.line) : "";
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

/// The number of the last line that was taken from the table in which triggers of a server note changed rows.
long taken = 0;

/// Takes the lines that have come since.
qv::db::TextRows TakeLines(qv::db::Connection& connection) {
  qv::db::TextRows lines;
  connection.RunText("SELECT line, number FROM journal WHERE number > " + std::to_string(taken) + " ORDER BY number",
                     &lines);
  if (!lines.rows.empty()) taken = std::stol(lines.rows.back()[1].value());
  return lines;
}

void NoteLines(qv::db::Connection& connection) {
  if (!is_running || !OnPostgresql()) return;
  for (const auto& row : TakeLines(connection).rows) journal.push_back({row[0].value(), true});
}

/// Runs `work`; what it changes is forgotten when it throws.
auto GoBackUnlessDone(auto&& work) {
  const std::size_t start = journal.size();
  try {
    return work();
  } catch (...) {
    GoBack(start);
    throw;
  }
}

struct WatchedStatement : WrappedStatement {
  WatchedStatement(std::unique_ptr<qv::db::Statement> inner, qv::db::Connection& connection)
      : WrappedStatement(std::move(inner)), connection_(connection) {}
  qv::db::Written Run() override {
    return GoBackUnlessDone([&] {
      const qv::db::Written written = WrappedStatement::Run();
      NoteLines(connection_);
      return written;
    });
  }

  qv::db::Connection& connection_;
};

struct WatchedConnection : WrappedConnection {
  using WrappedConnection::WrappedConnection;
  std::unique_ptr<qv::db::Statement> Prepare(const std::string& sql) override {
    return std::make_unique<WatchedStatement>(WrappedConnection::Prepare(sql), *inner_);
  }
  std::int64_t RunText(const std::string& text, qv::db::TextRows* rows) override {
    return GoBackUnlessDone([&] {
      const std::int64_t changed = WrappedConnection::RunText(text, rows);
      NoteLines(*inner_);
      return changed;
    });
  }
  void Begin(const qv::db::Scope& scope, std::chrono::milliseconds limit) override {
    WrappedConnection::Begin(scope, limit);
    marks_ = {journal.size()};
  }
  void Rollback() noexcept override {
    WrappedConnection::Rollback();
    GoBack(marks_.front());
  }
  void SetSavepoint() override {
    WrappedConnection::SetSavepoint();
    marks_.push_back(journal.size());
  }
  void ReleaseSavepoint() override {
    WrappedConnection::ReleaseSavepoint();
    marks_.pop_back();
  }
  void ReturnToSavepoint() override {
    WrappedConnection::ReturnToSavepoint();
    GoBack(marks_.back());
  }

  std::vector<std::size_t> marks_ = {0};  ///< sizes of the journal at the begin and the savepoints
};

}  // namespace

Lines Journal(const std::function<void()>& call, int level) {
  qv::log::Configure({.level = level});
  qv::log::SetSink(NoteLogLine);
  journal.clear();
  if (OnPostgresql() && qv::db::IsOpen()) TakeLines(qv::db::ThisThread().connection());
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
  return [](const qv::db::Place& place, const qv::db::DriverOptions& options) {
    if (OnPostgresql()) return std::make_unique<WatchedConnection>(qv::db::OpenPostgresql(options));
    is_watched = true;
    auto connection = std::make_unique<WatchedConnection>(qv::db::OpenSqlite(place, options));
    is_watched = false;
    return connection;
  };
}

void WatchRows() {
  if (!OnPostgresql()) return;
  taken = 0;
  const qv::db::TableColumns tables = qv::db::ThisThread().connection().ReadColumns();
  if (tables.contains("journal")) return;  // left by an earlier test
  std::string text = R"sql(
    CREATE TABLE journal (number BIGINT GENERATED BY DEFAULT AS IDENTITY, line TEXT NOT NULL);
    CREATE FUNCTION note_change() RETURNS trigger LANGUAGE plpgsql AS $$
    BEGIN
      IF TG_OP = 'DELETE' THEN
        INSERT INTO journal (line) VALUES ('delete ' || TG_TABLE_NAME || ' ' || OLD.id);
        RETURN OLD;
      ELSIF TG_OP = 'INSERT' AND TG_TABLE_NAME = 'message' THEN
        INSERT INTO journal (line)
          SELECT concat_ws(' ', 'message', m ->> 'zr_id', m ->> 'target', m ->> 'command', m ->> 'payload')
            FROM to_jsonb(NEW) AS m;
      ELSE
        INSERT INTO journal (line) VALUES (lower(TG_OP) || ' ' || TG_TABLE_NAME || ' ' || NEW.id);
      END IF;
      RETURN NEW;
    END$$;)sql";
  for (const auto& [table, columns] : tables) {
    if (!columns.contains("id")) continue;
    text += "CREATE TRIGGER note_change BEFORE INSERT OR UPDATE OR DELETE ON " + table +
            " FOR EACH ROW EXECUTE FUNCTION note_change();";
  }
  qv::db::ThisThread().Execute(text);
}

}  // namespace support
