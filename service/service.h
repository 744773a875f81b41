/// What the service does with a request, whatever library carries it: it matches it with a route, checks who asks, has
/// the host do it, and answers.
#pragma once

#include <qv/json.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "costly.h"
#include "events.h"
#include "http.h"
#include "log.h"
#include "metrics.h"
#include "pipeline.h"
#include "queries.h"
#include "routes.h"
#include "silence.h"

namespace qvcmsd {

struct ServiceOptions {
  std::filesystem::path data_folder;
  qv::DocumentLimits limits = {.size = std::size_t{64} * 1024 * 1024};  ///< of a document, once it is inflated
  std::size_t max_body = std::size_t{32} * 1024 * 1024;                 ///< bytes of a body as it is sent
  PipelineLimits pipeline = {};
  std::chrono::milliseconds silent_after{60'000};
  bool wants_credentials = false;  ///< also without tokens: clients show certificates
};

/// A request that is let in.
struct Call {
  Request request;
  Match match;
  Target target;
  int zr = 0;                  ///< the slave in the path; 0: none
  std::size_t body_limit = 0;  ///< bytes that are taken
  std::chrono::steady_clock::time_point received;
};

/// Thread-safe but for `Tick`, `Reread` and `Stop`, which are for one thread.
class Service {
 public:
  /// Throws `qv::Refusal` when the tokens cannot be read.
  Service(qv::Host& host, Log& log, const ServiceOptions& options);
  ~Service();
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  /// Looks at a request before its body is received, and names it. @return null when it is refused; `refusal` says why
  std::unique_ptr<Call> Begin(Request& request, Response& refusal);
  /// Carries it out. The answer may come from any thread, also before this returns.
  void Handle(std::unique_ptr<Call> call, const Answer& answer);

  /// Counts and logs that a request that was let in is refused after all. @return the answer
  Response Refuse(const Call& call, Response response);

  /// What happens by itself; to be called about once a second. @param connections  how many are open
  void Tick(std::size_t connections);
  /// Reads the tokens again. Goes on with the old ones when that fails.
  void Reread();
  bool wants_tokens() const;
  Metrics& metrics() { return metrics_; }
  std::vector<Silence::Contact> contacts() const { return silence_.contacts(); }
  /// How many documents and other requests have changed something.
  std::uint64_t changes() const { return changes_; }

  /// From now on new work is refused; ends event streams. @return whether all that waited was done in time
  bool Stop(std::chrono::milliseconds limit);

 private:
  friend class HostWork;
  std::optional<Response> WhyRefused(const Request& request, const Target& target, const Match& match, int zr);
  std::optional<Response> WhyNotAllowed(const Request& request, Need need, int zr) const;
  /// Finds out what the client may do. @return why it is not let in at all
  std::optional<Response> WhoAsks(const Request& request, qv::Scope& scope) const;
  Response Session(const Call& call) const;
  std::shared_ptr<const qv::Tokens> tokens() const;
  std::filesystem::file_time_type TokensTime() const;

  void Change(const std::shared_ptr<Call>& call, const Answer& answer);
  void Ask(const std::shared_ptr<Call>& call, const Answer& answer, std::function<Response()> question);
  Response ListRows(const Call& call);
  Response ShowSlave(const Call& call);
  Response ShowMetrics();
  void AddState(std::vector<qv::Row>& slaves);
  void Tell(const Call& call, const Response& response);
  /// @param event  what to tell of it beside the changes
  void Applied(const Call& call, const qv::ChangeResult& result, Json::Value event);
  void Heard(int zr);
  void TellSilence();

  qv::Host& host_;
  Log& log_;
  const ServiceOptions options_;
  Metrics metrics_;
  Events events_;
  Silence silence_;
  mutable std::mutex tokens_mutex_;
  std::shared_ptr<const qv::Tokens> tokens_;
  std::filesystem::file_time_type tokens_time_;  ///< when the file was changed that was read last
  std::atomic<bool> stopping_ = false;
  std::atomic<int> under_way_ = 0;  ///< requests that are being carried out
  std::atomic<std::uint64_t> next_request_ = 1;
  std::atomic<std::size_t> connections_ = 0;
  std::atomic<std::uint64_t> changes_ = 0;
  const std::string boot_;  ///< tells names of requests of this process from those of an earlier one
  unsigned ticks_ = 0;
  std::mutex silence_mutex_;
  std::vector<qv::SilenceChange> silence_changes_;  ///< of which no message tells yet
  Costly<qv::Statistics> statistics_;
  Costly<std::map<int, qv::ServerCounts>> counts_;
  Pipeline pipeline_;
  Queries queries_;
};

}  // namespace qvcmsd
