/// Runs the built qvcms in a folder of its own, as a shell would.
#pragma once

#include <fstream>

#include "support/hosttest.h"

namespace qv::test {

struct ToolTest : testing::Test {
  struct Result {
    int status = -1;
    std::string out, err;
    long peak_kilobytes = 0;  ///< of memory
  };

  /// Runs a command of the shell with the test's folder as working folder.
  Result Shell(const std::string& command) const {
    const std::string line = "cd '" + folder_.string() + "' && exec >stdout 2>stderr && " +
                             support::DatabaseVariable(folder_ / "data") + command;
    rusage usage{};
    const pid_t shell = support::StartChild([&] { return execl("/bin/sh", "sh", "-c", line.c_str(), nullptr); });
    const int status = support::EndOf(shell, &usage);
    const Result result = {status, support::ReadWholeFile(folder_ / "stdout"),
                           support::ReadWholeFile(folder_ / "stderr"), usage.ru_maxrss};
    for (const char* output : {"stdout", "stderr"}) std::filesystem::remove(folder_ / output);
    return result;
  }
  /// Runs "qvcms ARGUMENTS" with `data` below the test's folder as data folder.
  Result Run(const std::string& arguments) const { return Shell("QVCMS_DATA_DIR=data '" QVCMS_PATH "' " + arguments); }

  void Write(const std::string& name, const std::string& content) const {
    std::ofstream(folder_ / name, std::ios::binary) << content;
  }

  /// Has the data folder begin anew, without a host.
  void RemoveHost() const {
    support::ReturnDatabasesBelow(folder_ / "data");
    std::filesystem::remove_all(folder_ / "data");
  }

  /// The JSON that "-o json" printed; throws when it is not one JSON value.
  Json::Value RunJson(const std::string& arguments) const {
    const Result result = Run("-o json " + arguments);
    EXPECT_EQ(result.status, 0) << result.err;
    return json::ReadDocument("{\"value\":" + result.out + "}", {})["value"];
  }

  const support::ScratchFolder scratch_;
  const std::filesystem::path folder_ = scratch_.path();
};

}  // namespace qv::test
