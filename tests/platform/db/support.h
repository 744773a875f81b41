/// A data folder of its own for each test of the database.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "db/database.h"
#include "support/scratch.h"

namespace qv::db::test {

inline constexpr Migration kItemSchema[] = {
    {1, [](Session& session) { session.Execute("CREATE TABLE item (name TEXT UNIQUE, value INTEGER)"); }}};

class DatabaseTest : public testing::Test {
 protected:
  DatabaseTest() { OpenItems(); }
  ~DatabaseTest() override { Close(); }

  static Options ItemOptions() {
    return {.driver = {.busy_timeout = std::chrono::seconds(10), .durability = Durability::Process},
            .factory = {},
            .migrations = kItemSchema};
  }
  void OpenItems() { Open(folder_, ItemOptions()); }

  static void Insert(std::string_view name, int value = 0) {
    ThisThread().Prepare("INSERT INTO item (name, value) VALUES ($1, $2)").Bind(name).Bind(value).Run();
  }
  /// "name=value" of every item, joined by blanks.
  static std::string Items() {
    std::string items;
    Query query = ThisThread().Prepare("SELECT name, value FROM item ORDER BY name");
    while (query.Next()) {
      items += (items.empty() ? "" : " ") + std::string(query.Row().Text(0)) + "=" + std::to_string(query.Row().Int(1));
    }
    return items;
  }
  /// The kind and text of the error that `work` throws.
  template <class Work>
  static std::pair<Error::Kind, std::string> ErrorOf(Work&& work) {
    try {
      work();
    } catch (const Error& error) {
      return {error.kind(), error.what()};
    }
    ADD_FAILURE() << "no error";
    return {Error::Kind::Statement, ""};
  }

  const support::ScratchFolder scratch_;
  const std::filesystem::path root_ = scratch_.path();
  const std::filesystem::path folder_ = root_ / "data";
};

}  // namespace qv::db::test
