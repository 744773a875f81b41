#include "journal.h"

#include <map>
#include <regex>

#include "db/sqlite/sqlitedriver.h"
#include "log/log.h"
#include "wrappeddriver.h"

namespace support {
namespace {

Lines journal;

void Note(std::string line) { journal.push_back(std::move(line)); }

void NoteLogLine(const qv::log::Line& line) {
  if (line.category == "DATABASE") {
    std::string text = line.text.substr(0, line.text.find(": "));
    if (text.starts_with("Failed")) text[0] = 'f';
    Note(text);
    return;
  }
  static const std::map<std::string, std::string> levels = {{"ERR", "1"},    {"NOTICE", "3"}, {"INFO", "4"},
                                                            {"CHANGE", "5"}, {"DUMP", "7"},   {"-", "-"}};
  const std::string place = journal_names_places ? ":" + std::to_string(line.line) : "";
  Note("log " + levels.at(line.level) + " " + line.function + place + " " + line.text);
}

/// Notes what a statement wrote.
struct NotingStatement : WrappedStatement {
  NotingStatement(std::unique_ptr<qv::db::Statement> inner, std::string sql, const qv::db::Connection& connection)
      : WrappedStatement(std::move(inner)), sql_(std::move(sql)), connection_(connection) {
    std::smatch found;
    if (std::regex_search(sql_, found, std::regex("^(?:INSERT INTO|UPDATE|DELETE FROM) (\\w+)"))) table_ = found[1];
  }

  void BindInt(int at, std::int64_t value) override {
    bound_[at] = std::to_string(value), WrappedStatement::BindInt(at, value);
  }
  void BindReal(int at, double value) override {
    bound_[at] = std::to_string(value), WrappedStatement::BindReal(at, value);
  }
  void BindText(int at, std::string_view text) override { bound_[at] = text, WrappedStatement::BindText(at, text); }
  void Reset() override { bound_.clear(), WrappedStatement::Reset(); }

  bool Step() override {
    const bool row = WrappedStatement::Step();
    if (sql_.starts_with("INSERT INTO message ") && row) {
      Note("message " + bound_[1] + " " + bound_[2] + " " + bound_[3] + " " + bound_[4]);
    } else if (sql_.starts_with("INSERT") && row) {
      Note("insert " + table_ + " " + std::to_string(Int(0)));
    } else if (sql_.starts_with("UPDATE") && row) {
      Note("update " + table_ + " " + std::to_string(Int(0)));
    } else if (!row && connection_.Changes() > 0 && !bound_.empty()) {
      if (sql_.starts_with("INSERT") && ColumnCount() == 0) Note("insert " + table_ + " " + bound_.rbegin()->second);
      if (sql_.starts_with("UPDATE")) Note("update " + table_ + " " + bound_.rbegin()->second);
      if (sql_.starts_with("DELETE")) Note("delete " + table_ + Condition());
    } else if (!row && bound_.empty() && sql_.starts_with("UPDATE") && ColumnCount() == 0) {
      Note("execute " + sql_);
    }
    return row;
  }

  /// The statement's condition with the values in place of the parameters.
  std::string Condition() const {
    std::string text = sql_.substr(std::min(sql_.find(" WHERE "), sql_.size()));
    for (const auto& [number, value] : bound_) {
      text = std::regex_replace(text, std::regex("\\$" + std::to_string(number) + "\\b"), value);
    }
    return text;
  }

  std::string sql_;
  std::string table_;
  const qv::db::Connection& connection_;
  std::map<int, std::string> bound_;
};

struct NotingConnection : WrappedConnection {
  using WrappedConnection::WrappedConnection;
  std::unique_ptr<qv::db::Statement> Prepare(const char* sql, bool keep, const char** rest) override {
    const char* end = nullptr;
    auto statement = WrappedConnection::Prepare(sql, keep, &end);
    if (rest != nullptr) *rest = end;
    if (statement == nullptr) return nullptr;
    std::string text(sql, end);
    text.erase(0, text.find_first_not_of(' '));
    return std::make_unique<NotingStatement>(std::move(statement), text, *this);
  }
};

}  // namespace

Lines Journal(const std::function<void()>& call, int level) {
  qv::log::Configure({.level = level});
  qv::log::SetSink(NoteLogLine);
  journal.clear();
  call();
  qv::log::Reset();
  return std::exchange(journal, {});
}

qv::db::ConnectionFactory NotingDriver() {
  return [](const std::filesystem::path& folder, const qv::db::DriverOptions& options) {
    return std::make_unique<NotingConnection>(qv::db::OpenSqlite(folder, options));
  };
}

}  // namespace support
