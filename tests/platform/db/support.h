/// A data folder of its own for each test of the database, and a driver that fails where a test wants it to.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "db/database.h"
#include "db/sqlite/sqlitedriver.h"
#include "support/wrappeddriver.h"

namespace qv::db::test {

inline constexpr Migration kItemSchema[] = {
    {1, [](Session& session) { session.Execute("CREATE TABLE item (name TEXT UNIQUE, value INTEGER)"); }}};

/// The real driver, with a function called after every commit.
class CommitWatcher : public support::WrappedConnection {
 public:
  CommitWatcher(std::unique_ptr<Connection> inner, std::function<void()> committed)
      : WrappedConnection(std::move(inner)), committed_(std::move(committed)) {}
  void Commit() override {
    WrappedConnection::Commit();
    committed_();
  }

 private:
  std::function<void()> committed_;
};

class DatabaseTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = testing::TempDir() + "qvdb-XXXXXX";
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    root_ = pattern;
    folder_ = root_ / "data";
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

  /// Runs `work` in a process of its own. @return its exit status, or minus the signal that ended it
  template <class Work>
  static int InProcess(Work&& work) {
    return Wait(Start(std::forward<Work>(work)));
  }
  template <class Work>
  static pid_t Start(Work&& work) {
    const pid_t child = fork();
    if (child != 0) return child;
    try {
      work();
      Close();
    } catch (const std::exception& error) {
      fprintf(stderr, "child: %s\n", error.what());
      _exit(1);
    }
    _exit(0);
  }
  static int Wait(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
  }

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
  /// The names of all files below the data folder, without the lock, sorted.
  std::vector<std::string> Files() const {
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_)) {
      const std::string name = entry.path().lexically_relative(folder_);
      if (name != "writer.lock") files.push_back(name);
    }
    std::sort(files.begin(), files.end());
    return files;
  }

  std::filesystem::path root_;
  std::filesystem::path folder_;
};

}  // namespace qv::db::test
