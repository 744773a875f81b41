/// Hands requests to the service: method, address, headers, body. Each must be answered once, with a status that the
/// service may give; a token of one slave must not reach another, and nothing secret may be in an answer.

#include <fuzzer/FuzzedDataProvider.h>
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <future>

#include "service.h"

namespace {

constexpr const char* kSecret = "hunter2-secret";
constexpr const char* kPaired =
    R"({"camera_info":[{"id":1,"name":"Gate","password":"hunter2-secret","other_password":"hunter2-secret"}],
  "POS_info":[{"id":1,"name":"Till"}]})";

[[noreturn]] void Report(const std::string& fault) {
  fprintf(stderr, "fuzz: %s\n", fault.c_str());
  abort();
}

/// The service over a host with two slaves. Never destroyed.
struct World {
  World() {
    std::string pattern = (std::filesystem::temp_directory_path() / "qvfuzz-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) Report("no temporary folder");
    host = std::make_unique<qv::Host>(qv::HostOptions{
        .data_folder = pattern, .durability = qv::Durability::Process, .log = {.level = 1, .to_stderr = false}});
    for (const int zr : {7, 8}) host->Pair(zr, qv::Document::Parse(kPaired));
    qv::Tokens tokens(pattern);
    token = tokens.Make({.slaves = {7}}, "");
    all = tokens.Make(qv::Scope::All(), "");
    service = std::make_unique<qvcmsd::Service>(*host, log, qvcmsd::ServiceOptions{.data_folder = pattern});
  }
  qvcmsd::Log log{0, "/dev/null"};
  std::unique_ptr<qv::Host> host;
  std::unique_ptr<qvcmsd::Service> service;
  std::string token, all;
};

std::string Target(FuzzedDataProvider& data) {
  static constexpr const char* kParts[] = {"/v1",        "/slaves",  "/7",       "/8",       "/pair",   "/status",
                                           "/snapshot",  "/plan",    "/camera",  "/pos",     "/1",      "/configuring",
                                           "/messages",  "/metrics", "/healthz", "?limit=1", "?after=", "&zr=8",
                                           "&name=Gate", "?model=",  "%2F",      "%00",      "%"};
  std::string target;
  for (int i = data.ConsumeIntegralInRange(0, 8); i > 0; --i) {
    target += data.ConsumeBool() ? data.PickValueInArray(kParts) : data.ConsumeRandomLengthString(12);
  }
  return target;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static World& world = *new World();
  FuzzedDataProvider data(bytes, size);
  qvcmsd::Request request;
  request.method = data.PickValueInArray({"GET", "POST", "PUT", "DELETE", "HEAD", "get"});
  request.target = Target(data);
  const int who = data.ConsumeIntegralInRange(0, 3);
  if (who > 0) request.headers["authorization"] = "Bearer " + (who == 1 ? world.token : world.all);
  for (const char* const name :
       {"host", "origin", "x-request-id", "content-encoding", "content-length", "last-event-id"}) {
    if (data.ConsumeBool()) request.headers[name] = data.ConsumeRandomLengthString(20);
  }
  if (data.ConsumeBool()) request.headers["content-encoding"] = "gzip";
  qvcmsd::Response response;
  auto call = world.service->Begin(request, response);
  if (call != nullptr) {
    const bool is_other = call->zr != 7 && call->match.route->need != qvcmsd::Need::Nothing;
    if (who == 0 && call->match.route->need != qvcmsd::Need::Nothing) Report("let in without a token");
    if (who == 1 && is_other) Report("a slave's token reached " + request.target);
    call->request.body = data.ConsumeRemainingBytesAsString();
    std::promise<qvcmsd::Response> answer;
    world.service->Handle(std::move(call), [&](qvcmsd::Response taken) { answer.set_value(std::move(taken)); });
    response = answer.get_future().get();
  }
  if (qvcmsd::ReasonOf(response.status) == "Unknown" || response.status == 500) {
    Report("status " + std::to_string(response.status) + ": " + response.body);
  }
  if (response.status >= 400) qv::Document::Parse(response.body);
  if (response.body.find(kSecret) != std::string::npos) Report("a secret in the answer to " + request.target);
  return 0;
}
