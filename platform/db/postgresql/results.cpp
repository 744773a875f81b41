#include "db/postgresql/results.h"

namespace qv::db {
namespace {

/// A floating-point number shows by its text that it is one.
std::string TextOf(const Result& result, int row, int column) {
  constexpr Oid kDoublePrecision = 701;
  std::string text = PQgetvalue(result.get(), row, column);
  const bool is_whole = text.find_first_not_of("-0123456789") == std::string::npos;
  return PQftype(result.get(), column) == kDoublePrecision && is_whole ? text + ".0" : text;
}

}  // namespace

Written ReadWritten(const Result& result) {
  Written written;
  written.rows = Parse<std::int64_t>(PQcmdTuples(result.get()));
  if (PQntuples(result.get()) > 0) written.id = Parse<std::int64_t>(PQgetvalue(result.get(), 0, 0));
  return written;
}

TextRows ReadRows(const Result& result) {
  TextRows rows;
  const int columns = PQnfields(result.get());
  for (int column = 0; column < columns; ++column) rows.columns.emplace_back(PQfname(result.get(), column));
  for (int row = 0; row < PQntuples(result.get()); ++row) {
    auto& fields = rows.rows.emplace_back();
    for (int column = 0; column < columns; ++column) {
      const bool is_null = PQgetisnull(result.get(), row, column) != 0;
      fields.push_back(is_null ? std::nullopt : std::optional<std::string>(TextOf(result, row, column)));
    }
  }
  return rows;
}

std::string FirstField(const Result& result) {
  return PQntuples(result.get()) == 0 ? std::string() : PQgetvalue(result.get(), 0, 0);
}

}  // namespace qv::db
