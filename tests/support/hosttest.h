/// A host with an empty data folder for each test, and the journal of what the library does to it.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/value.h>

#include <filesystem>
#include <functional>
#include <string>

#include "journal.h"
#include "scratch.h"

namespace support {

/// A JSON text as a value; fails the test when it is none.
Json::Value Parse(const std::string& text);

class HostTest : public testing::Test {
 protected:
  HostTest();
  ~HostTest() override;

  /// Runs `call` and returns what it did. @param level the log's threshold meanwhile
  Lines Journal(const std::function<void()>& call, int level = 7);
  /// Runs SQL that is none of the library's doing: what the host held before, faults, a look at the result.
  static void Sql(const std::string& script);
  /// The rows of a query, columns joined by "|".
  static Lines Rows(const std::string& query);

  /// From now on the database refuses to `operation` ("INSERT", "UPDATE", "DELETE") rows of `table`.
  /// @param condition  which rows, in SQL with NEW and OLD; empty: all
  static void Refuse(const std::string& operation, const std::string& table, const std::string& condition = "");
  /// From now on every statement about `table` fails.
  static void Break(const std::string& table);

  const std::filesystem::path& folder() const { return folder_.path(); }

 private:
  ScratchFolder folder_;
};

}  // namespace support
