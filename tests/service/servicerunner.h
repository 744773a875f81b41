/// Runs the built qvcmsd in a folder of its own, and asks it with curl.
#pragma once

#include <signal.h>

#include <chrono>
#include <sstream>
#include <thread>

#include "tools/toolrunner.h"

namespace qv::test {

/// Of curl: sends what a slave is paired with.
inline const std::string kPair = "--data-binary @" QV_EXAMPLES "/slave7-pair.json";

struct ServiceTest : ToolTest {
  ~ServiceTest() override { Stop(SIGKILL); }

  /// Starts the service on a free port, with the data folder of `Run`. @param options  in the words of a shell
  void Start(const std::string& options = "") {
    std::filesystem::remove(folder_ / "log");
    Launch("'" QVCMSD_PATH "' --data-dir data --log-file log --listen 127.0.0.1:0 " + options);
    constexpr std::string_view kListening = "listening on ";
    EXPECT_TRUE(Within(10, [&] { return Log().find(kListening) != std::string::npos; })) << Errors();
    const std::string log = Log();
    const std::size_t begin = log.find(kListening) + kListening.size();
    address_ = log.substr(begin, log.find_first_of(" \n", begin) - begin);
  }

  /// Runs a command as the service.
  void Launch(const std::string& command) {
    const std::string line = "cd '" + folder_.string() + "' && " + support::DatabaseVariable(folder_ / "data") +
                             "exec " + command + " 2>errors";
    service_ = support::StartChild([&] { return execl("/bin/sh", "sh", "-c", line.c_str(), nullptr); });
  }

  /// @return the exit status, or minus the signal that ended it
  int Stop(int signal = SIGTERM) {
    if (service_ <= 0) return 0;
    kill(service_, signal);
    return support::EndOf(std::exchange(service_, 0));
  }

  struct Reply {
    int status = 0;
    std::string headers, body;
    Json::Value json() const { return json::ReadDocument("{\"value\":" + body + "}", {})["value"]; }
  };

  /// What "curl ARGUMENTS http://ADDRESS/PATH" brings.
  Reply Curl(const std::string& path, const std::string& arguments = "") const {
    const Result result =
        Shell("curl --silent --max-time 20 --dump-header headers --output body --write-out '%{http_code}' " +
              arguments + " 'http://" + address_ + path + "'");
    Reply reply{.status = std::stoi("0" + result.out),
                .headers = support::ReadWholeFile(folder_ / "headers"),
                .body = support::ReadWholeFile(folder_ / "body")};
    for (const char* file : {"headers", "body"}) std::filesystem::remove(folder_ / file);
    return reply;
  }

  /// Whether the program was built with its page.
  bool HasPage() const { return Curl("/").status == 200; }

  static bool Within(int seconds, const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (!condition()) {
      if (std::chrono::steady_clock::now() > end) return false;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
  }

  std::string Log() const { return support::ReadWholeFile(folder_ / "log"); }
  std::string Errors() const { return support::ReadWholeFile(folder_ / "errors"); }

  /// "POST /v1/slaves/{zr}/pair" for each route in the service's own description.
  std::vector<std::string> DescribedRoutes() const {
    std::vector<std::string> routes;
    const Json::Value paths = Curl("/v1/openapi.json").json()["paths"];
    for (const std::string& path : paths.getMemberNames()) {
      for (std::string method : paths[path].getMemberNames()) {
        for (char& letter : method) letter = static_cast<char>(std::toupper(letter));
        routes.push_back(method + ' ' + path);
      }
    }
    return routes;
  }

  pid_t service_ = 0;
  std::string address_;
};

}  // namespace qv::test
