/// What a PostgreSQL server answered.
#pragma once

#include <charconv>
#include <string>
#include <string_view>

#include "db/postgresql/pipeline.h"

namespace qv::db {

/// A number that the server wrote; 0 for what is none.
template <class Number>
Number Parse(std::string_view text) {
  Number number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

/// How many rows a statement wrote, and the id that it returned.
Written ReadWritten(const Result& result);
/// All rows as texts.
TextRows ReadRows(const Result& result);
/// The first value of the first row; empty if there is none.
std::string FirstField(const Result& result);

}  // namespace qv::db
