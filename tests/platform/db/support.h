/// A data folder of its own for each test of the database.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "db/database.h"

namespace qv::db::test {

inline constexpr Migration kItemSchema[] = {
    {1, [](Session& session) { session.Execute("CREATE TABLE item (name TEXT UNIQUE, value INTEGER)"); }}};

class DatabaseTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = testing::TempDir() + "qvdb-XXXXXX";
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    root_ = pattern;
    folder_ = root_ / "data";
    OpenItems();
  }
  void TearDown() override {
    Close();
    std::filesystem::remove_all(root_);
  }

  static Options ItemOptions() {
    return {.driver = {.busy_timeout = std::chrono::seconds(10), .durability = Durability::Process},
            .factory = {},
            .migrations = kItemSchema};
  }
  void OpenItems() { Open(folder_, ItemOptions()); }

  static std::string Read(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
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

  std::filesystem::path root_;
  std::filesystem::path folder_;
};

}  // namespace qv::db::test
