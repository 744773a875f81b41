/// Runs the built qvcms in a folder of its own, as a shell would.
#pragma once

#include <gtest/gtest.h>
#include <json/reader.h>
#include <json/value.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <string>

namespace qv::test {

inline std::string ReadWhole(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

class ToolTest : public testing::Test {
 protected:
  struct Result {
    int status = -1;
    std::string out;
    std::string err;
  };

  void SetUp() override {
    std::string name = (std::filesystem::temp_directory_path() / "qvcms-test-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder_ = name;
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  /// Runs "qvcms ARGUMENTS" by the shell with the test's folder as working folder, and `data` below it as data folder.
  Result Run(const std::string& arguments) const {
    const std::string command = "cd '" + folder_.string() + "' && QVCMS_DATA_DIR=data '" QVCMS_PATH "' " + arguments +
                                " 2>'" + (folder_ / "stderr").string() + "'";
    Result result;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return result;
    char buffer[4096];
    for (std::size_t read = 0; (read = fread(buffer, 1, sizeof buffer, pipe)) > 0;) result.out.append(buffer, read);
    const int status = pclose(pipe);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.err = ReadWhole(folder_ / "stderr");
    std::filesystem::remove(folder_ / "stderr");
    return result;
  }

  void Write(const std::string& name, const std::string& content) const {
    std::ofstream(folder_ / name, std::ios::binary) << content;
  }

  /// The JSON that "-o json" printed; the test fails when it is not one JSON value.
  Json::Value RunJson(const std::string& arguments) const {
    const Result result = Run("-o json " + arguments);
    EXPECT_EQ(result.status, 0) << result.err;
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string errors;
    EXPECT_TRUE(reader->parse(result.out.data(), result.out.data() + result.out.size(), &value, &errors)) << errors;
    return value;
  }

  /// Every file of the data folder with its content.
  std::map<std::string, std::string> DataFiles() const {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_ / "data")) {
      files[entry.path().string()] = entry.is_regular_file() ? ReadWhole(entry.path()) : "";
    }
    return files;
  }

  std::filesystem::path folder_;
};

}  // namespace qv::test
