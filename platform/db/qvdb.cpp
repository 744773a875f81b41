#include "qvdb.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>
#include <vector>

#include "db/database.h"
#include "db/session.h"
#include "log/message.h"

/// The rows of a query, with the place that fetching has reached.
struct DBResult_tag : qv::db::TextRows {
  unsigned fetched = 0;
};

namespace {

using qv::db::AllOrNothing;
using qv::db::Error;
using qv::db::Query;
using qv::db::Statement;
using qv::db::TextRows;

/// Whether the text is one query and nothing else. A text with a semicolon inside counts as several statements.
bool IsLoneQuery(std::string_view sql) {
  const std::size_t end = sql.find_last_not_of(" \t\r\n;") + 1;
  return sql.starts_with("SELECT ") && sql.substr(0, end).find(';') == std::string_view::npos;
}

/// Runs a query that is kept prepared.
void RunKept(Query& query, TextRows* result) {
  const Statement& row = query.Row();
  bool has_row = query.Next();
  if (result == nullptr) return;
  const int columns = row.ColumnCount();
  for (int column = 0; column < columns; ++column) result->columns.emplace_back(row.ColumnName(column));
  for (; has_row; has_row = query.Next()) {
    auto& fields = result->rows.emplace_back();
    for (int column = 0; column < columns; ++column) {
      fields.push_back(row.IsNull(column) ? std::nullopt : std::optional<std::string>(row.Text(column)));
    }
  }
}

void Run(const std::string& sql, AllOrNothing::Wait wait, bool keep, TextRows* result) {
  qv::db::Session& session = qv::db::ThisThread();
  if (!IsLoneQuery(sql)) {
    AllOrNothing step(session, wait);
    result == nullptr ? session.connection().RunTextLater(sql) : void(RunText(session, sql, result));
    step.Keep();
  } else if (keep) {
    Query query = session.Prepare(sql);
    RunKept(query, result);
  } else {
    RunText(session, sql, result);  // waits for no writer
  }
}

const std::optional<std::string>* FindField(const DBResult_tag* result, unsigned row, const char* column) {
  if (result == nullptr || column == nullptr || row >= result->rows.size()) return nullptr;
  const auto found = std::find(result->columns.begin(), result->columns.end(), column);
  if (found == result->columns.end()) return nullptr;
  return &result->rows[row][static_cast<std::size_t>(found - result->columns.begin())];
}

}  // namespace

namespace QVDB {

// NOLINTNEXTLINE(performance-unnecessary-value-param): the contract hands the text over by value
int Execute(DB_INSTANCE instance, std::string sql, DBResult_tag** result, bool /*wantLastId*/, bool retryOnBusy,
            bool logOnError, bool useCache) {
  // The id of the last row needs no preparation here. Only queries are kept: a command with the values inside its text
  // is hardly ever seen twice, and would push out the statements that are.
  try {
    if (instance < 0) throw Error(Error::Kind::Statement, "there is no such database");
    const AllOrNothing::Wait wait = retryOnBusy ? AllOrNothing::Wait::UpToBusyTimeout : AllOrNothing::Wait::None;
    auto rows = result == nullptr ? nullptr : std::make_unique<DBResult_tag>();
    Run(sql, wait, useCache, rows.get());
    if (result != nullptr) *result = rows.release();
    return 0;
  } catch (const Error& error) {
    if (logOnError) {
      qv::log::Error("Failed to execute a command on database [{}]: {}", static_cast<int>(instance), error.what());
      qv::db::CountFailure();
    }
    return -1;
  }
}

std::string QuoteEscape(const std::string& text) {
  std::string quoted = "'";
  for (const char character : std::string_view(text.c_str())) {
    if (character == '\'') quoted += '\'';
    quoted += character;
  }
  return quoted += '\'';
}

bool FetchFieldAsBool(DBResult_tag* result, unsigned row, const char* column) {
  const std::optional<std::string>* field = FindField(result, row, column);
  if (field == nullptr || !*field) return false;
  const std::string& text = **field;
  if (text == "t" || text == "true") return true;
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() && std::isfinite(number) && number != 0;
}

}  // namespace QVDB

int QVDBFetchRow(DBResult_tag* result, unsigned* row) {
  if (result == nullptr || row == nullptr || result->fetched >= result->rows.size()) return -1;
  *row = result->fetched++;
  return 0;
}

const char* QVDBFetchField(DBResult_tag* result, unsigned row, const char* column) {
  const std::optional<std::string>* field = FindField(result, row, column);
  return field == nullptr || !*field ? nullptr : (*field)->c_str();
}

void QVDBFreeResult(DBResult_tag* result) { const std::unique_ptr<DBResult_tag> owner(result); }
