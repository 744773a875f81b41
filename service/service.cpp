#include "service.h"

#include <algorithm>
#include <charconv>
#include <climits>

#include "hostwork.h"
#include "page/page.h"
#include "timestamp.h"

namespace qvcmsd {
namespace {

constexpr unsigned kQueryThreads = 2;
constexpr unsigned kBeatSeconds = 15;

bool IsRequestId(std::string_view text) {
  constexpr std::string_view kPunctuation = "-_.:";
  return !text.empty() && text.size() <= 64 && std::all_of(text.begin(), text.end(), [&](char each) {
    return (each >= '0' && each <= '9') || (each >= 'a' && each <= 'z') || (each >= 'A' && each <= 'Z') ||
           kPunctuation.find(each) != std::string_view::npos;
  });
}

template <class Number>
std::optional<Number> NumberOf(std::string_view text, Number least, Number most) {
  Number number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number < least || number > most) return std::nullopt;
  return number;
}

/// What is wrong with the parameters of a request. Columns of a kind are looked at when its rows are.
std::optional<Response> FaultInParameters(const Route& route, const Target& target) {
  for (const auto& [name, value] : target.parameters) {
    const Parameter* const parameter = FindParameter(route, name);
    if (parameter == nullptr) {
      if (route.takes_columns) continue;
      return Problem(400, "bad-argument", "there is no parameter \"" + name + '"');
    }
    if (parameter->type == Parameter::Type::Flag && value != "true" && value != "false") {
      return Problem(400, "bad-argument", name + ": true or false is expected");
    }
    if (parameter->type != Parameter::Type::Number) continue;
    const std::int64_t least = name == "after" ? 0 : 1;
    const std::int64_t most = name == "limit" ? 10'000 : name == "zr" ? INT_MAX : INT64_MAX;
    if (!NumberOf<std::int64_t>(value, least, most)) {
      return Problem(
          400, "bad-argument",
          name + ": a number from " + std::to_string(least) + " to " + std::to_string(most) + " is expected");
    }
  }
  return std::nullopt;
}

/// The slave in the path, 0 if the route has none there. None: it is no number from 1 on.
std::optional<int> SlaveIn(const Match& match) {
  if (match.route == nullptr || match.route->path.find("{zr}") == std::string_view::npos) return 0;
  return NumberOf<int>(match.values.front(), 1, INT_MAX);
}

}  // namespace

Service::Service(qv::Host& host, Log& log, const ServiceOptions& options)
    : host_(host),
      log_(log),
      options_(options),
      silence_(options.silent_after),
      tokens_(std::make_shared<qv::Tokens>(options.data_folder)),
      tokens_time_(TokensTime()),
      boot_(std::to_string(std::chrono::system_clock::now().time_since_epoch().count() & 0xffffff)),
      statistics_([&host] { return host.Statistics(); }),
      counts_([&host] { return host.CountByServer(); }),
      pipeline_(host, options.pipeline),
      queries_(kQueryThreads) {
  for (const qv::Row& slave : host.Servers()) {
    for (const auto& [name, value] : slave) {
      if (name == "id") silence_.Expect(value.asInt());
    }
  }
}

Service::~Service() = default;

std::shared_ptr<const qv::Tokens> Service::tokens() const {
  const std::lock_guard lock(tokens_mutex_);
  return tokens_;
}

bool Service::wants_tokens() const { return tokens()->are_wanted(); }

std::filesystem::file_time_type Service::TokensTime() const {
  std::error_code missing;
  return std::filesystem::last_write_time(options_.data_folder / qv::Tokens::kFile, missing);
}

void Service::Reread() {
  tokens_time_ = TokensTime();
  try {
    auto fresh = std::make_shared<const qv::Tokens>(options_.data_folder);
    const std::lock_guard lock(tokens_mutex_);
    // Somebody who deletes the file must not open the service to everybody.
    if (tokens_->are_wanted() && !fresh->are_wanted()) {
      log_.Write(Level::Error, "the file of the tokens is gone; the tokens that were read last hold until a restart");
      return;
    }
    tokens_ = std::move(fresh);
  } catch (const qv::Refusal& refusal) {
    log_.Write(Level::Error, std::string("the tokens cannot be read again, the old ones hold: ") + refusal.what());
  }
  events_.EndForbidden();
}

std::unique_ptr<Call> Service::Begin(Request& request, Response& refusal) {
  auto call = std::make_unique<Call>();
  call->received = std::chrono::steady_clock::now();
  const std::string_view id = request.Header("x-request-id");
  request.id = IsRequestId(id) ? std::string(id) : boot_ + '-' + std::to_string(next_request_++);
  std::optional<Response> problem;
  if (auto target = ParseTarget(request.target)) {
    call->target = std::move(*target);
    call->match = FindRoute(request.method, call->target);
    const std::optional<int> zr = SlaveIn(call->match);
    call->zr = zr.value_or(0);
    problem = zr ? WhyRefused(request, call->target, call->match, *zr)
                 : Problem(404, "not-found", "a slave's id is a number, 1 or more");
  } else {
    problem = Problem(400, "bad-request", "the address cannot be read");
  }
  call->request = request;
  if (problem) {
    Tell(*call, *problem);
    refusal = std::move(*problem);
    return nullptr;
  }
  call->body_limit = call->match.route->body == Body::None       ? 0
                     : call->match.route->body == Body::Document ? options_.max_body
                                                                 : 1024;
  const std::string_view length = request.Header("content-length");
  if (!length.empty() && !NumberOf<std::uint64_t>(length, 0, call->body_limit)) {
    refusal = Problem(413, "too-large", "the body is larger than " + std::to_string(call->body_limit) + " bytes");
    Tell(*call, refusal);
    return nullptr;
  }
  return call;
}

std::optional<Response> Service::WhyRefused(const Request& request, const Target& target, const Match& match, int zr) {
  if (match.route == nullptr) {
    if (match.allowed.empty()) return Problem(404, "not-found", "there is nothing at this address");
    Response response = Problem(405, "method-not-allowed", "the methods of this address are " + match.allowed);
    response.headers.emplace_back("Allow", match.allowed);
    return response;
  }
  if (auto problem = WhyNotAllowed(request, match.route->need, zr)) return problem;
  if (auto problem = FaultInParameters(*match.route, target)) return problem;
  if (match.route->body != Body::None) {
    const std::string_view encoding = request.Header("content-encoding");
    if (!encoding.empty() && encoding != "identity" && encoding != "gzip") {
      return Problem(415, "unsupported-encoding", "a body is sent as it is, or as gzip");
    }
    if (stopping_) return Problem(503, "stopping", "the service is stopping");
    if (pipeline_.depth().waiting >= options_.pipeline.all) {
      return Problem(503, "overloaded", "too many documents wait");
    }
  }
  return std::nullopt;
}

void Service::Tell(const Call& call, const Response& response) {
  const Route* const route = call.match.route;
  metrics_.Request(call.request.method, route == nullptr ? "" : route->path, response.status);
  if (route != nullptr && route->body == Body::Document) {
    metrics_.Document(route->path.substr(route->path.rfind('/') + 1), response.code.empty() ? "applied" : response.code,
                      std::chrono::steady_clock::now() - call.received);
  }
  if (response.status < 400) return;
  const Log::Scope scope(call.request.id);
  const bool is_ours = response.status >= 500 && response.status != 503;
  // The path alone: what is behind it may hold what nobody should read.
  log_.Write(is_ours ? Level::Warning : Level::Info, call.request.peer + ' ' + call.request.method + ' ' +
                                                         call.request.target.substr(0, call.request.target.find('?')) +
                                                         ' ' + std::to_string(response.status) + ' ' + response.code);
}

Response Service::Refuse(const Call& call, Response response) {
  Tell(call, response);
  return response;
}

void Service::Handle(std::unique_ptr<Call> call, const Answer& answer) {
  const std::shared_ptr<Call> shared = std::move(call);
  const Answer told = [this, shared, answer](Response response) {
    Tell(*shared, response);
    answer(std::move(response));
    --under_way_;
  };
  ++under_way_;
  if (stopping_ && shared->match.route->operation != Operation::Health) {
    return told(Problem(503, "stopping", "the service is stopping"));
  }
  switch (shared->match.route->operation) {
    case Operation::Pair:
    case Operation::Snapshot:
    case Operation::Status:
    case Operation::Plan:
    case Operation::Remove:
    case Operation::SetConfiguring:
      return Change(shared, told);
    case Operation::ListSlaves:
    case Operation::ListOfSlave:
    case Operation::List:
    case Operation::Messages:
      return Ask(shared, told, [this, shared] { return ListRows(*shared); });
    case Operation::ShowSlave:
      return Ask(shared, told, [this, shared] { return ShowSlave(*shared); });
    case Operation::Metrics:
      return Ask(shared, told, [this] { return ShowMetrics(); });
    case Operation::Readiness:
      return Ask(shared, told, [this] {
        static_cast<void>(host_.List({.kind = "server", .limit = 1}));
        return Response{.type = "text/plain", .body = "ready\n"};
      });
    case Operation::Health:
      return told({.type = "text/plain", .body = "ok\n"});
    case Operation::Describe:
      return Ask(shared, told, [] { return Response{.body = DescribeRoutes()}; });
    case Operation::Page:
      return told(ShowPage(shared->request, shared->match.values.empty() ? "" : shared->match.values.front()));
    case Operation::ShowSession:
    case Operation::LogIn:
    case Operation::LogOut:
      return Ask(shared, told, [this, shared] { return Session(*shared); });
    case Operation::Events: {
      auto stream = events_.Watch(shared->request.Header("last-event-id"), [this, shared] {
        return !WhyNotAllowed(shared->request, shared->match.route->need, shared->zr);
      });
      if (stream == nullptr) return told(Problem(503, "overloaded", "too many watch already"));
      return told({.type = "text/event-stream", .stream = std::move(stream)});
    }
  }
}

void Service::Change(const std::shared_ptr<Call>& call, const Answer& answer) {
  std::unique_ptr<Work> work;
  try {
    work = std::make_unique<HostWork>(*this, call, answer);
  } catch (const qv::Refusal& refusal) {
    return answer(ProblemOf(refusal));
  }
  switch (pipeline_.Take(work)) {
    case Pipeline::Offer::Taken:
      return;
    case Pipeline::Offer::SlaveFull:
      return answer(Problem(503, "slave-overloaded", "too many documents of this slave wait"));
    case Pipeline::Offer::Full:
      return answer(Problem(503, "overloaded", "too many documents wait"));
  }
}

void Service::Ask(const std::shared_ptr<Call>& call, const Answer& answer, std::function<Response()> question) {
  const bool taken = queries_.Take([call, answer, question = std::move(question)] {
    Response response;
    try {
      response = question();
      Compress(call->request, response);
    } catch (const qv::Refusal& refusal) {
      response = ProblemOf(refusal);
    } catch (const std::bad_alloc&) {
      response = Problem(503, "overloaded", "there is not enough memory");
    }
    answer(std::move(response));
  });
  if (!taken) answer(Problem(503, "overloaded", "too many wait for lists"));
}

void Service::Applied(const Call& call, const qv::ChangeResult& result, Json::Value event) {
  metrics_.Changes(result);
  Json::Value& changes = event["changes"] = Json::Value(Json::arrayValue);
  for (const qv::KindChanges& kind : result.changes) {
    if (kind.added + kind.updated + kind.removed == 0) continue;
    Json::Value& change = changes.append(Json::Value(Json::objectValue));
    change["kind"] = kind.kind;
    change["added"] = kind.added;
    change["updated"] = kind.updated;
    change["removed"] = kind.removed;
  }
  if (!changes.empty()) ++changes_;
  if (result.failed_operations > 0) event["failed_operations"] = result.failed_operations;
  if (call.match.route->operation == Operation::Remove) {
    silence_.Forget(call.zr);
    return events_.Publish("removed", event);
  }
  if (call.zr > 0) Heard(call.zr);
  const std::string_view path = call.match.route->path;
  events_.Publish(path.substr(path.rfind('/') + 1), event);
}

void Service::Heard(int zr) {
  const auto silent_since = silence_.Heard(zr);
  if (!silent_since) return;
  Json::Value data(Json::objectValue);
  data["zr"] = zr;
  data["since"] = qv::Timestamp(*silent_since);
  events_.Publish("well", data);
  log_.Write(Level::Notice, "slave " + std::to_string(zr) + " reports again");
  const std::lock_guard lock(silence_mutex_);
  silence_changes_.push_back({.zr = zr, .is_silent = false, .since = *silent_since});
}

void Service::TellSilence() {
  std::vector<qv::SilenceChange> changes;
  {
    const std::lock_guard lock(silence_mutex_);
    changes.swap(silence_changes_);
  }
  for (const Silence::Fallen& fallen : silence_.Sweep()) {
    changes.push_back({.zr = fallen.zr, .is_silent = true, .since = fallen.since});
    Json::Value data(Json::objectValue);
    data["zr"] = fallen.zr;
    data["since"] = qv::Timestamp(fallen.since);
    events_.Publish("silent", data);
    log_.Write(Level::Warning,
               "slave " + std::to_string(fallen.zr) + " is silent since " + qv::Timestamp(fallen.since));
  }
  if (changes.empty()) return;
  try {
    host_.TellSilence(changes);
  } catch (const qv::Refusal& refusal) {
    log_.Write(Level::Error, std::string("messages about silent slaves cannot be written: ") + refusal.what());
    const std::lock_guard lock(silence_mutex_);
    silence_changes_.insert(silence_changes_.begin(), changes.begin(), changes.end());
  }
}

void Service::Tick(std::size_t connections) {
  connections_ = connections;
  if (TokensTime() != tokens_time_) Reread();
  TellSilence();
  if (++ticks_ % kBeatSeconds != 0) return;
  events_.EndForbidden();  // also those that were let in while the tokens were being read
  events_.Beat();
}

bool Service::Stop(std::chrono::milliseconds limit) {
  stopping_ = true;
  events_.Close();
  const auto end = std::chrono::steady_clock::now() + limit;
  while (under_way_ > 0) {
    if (std::chrono::steady_clock::now() >= end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

}  // namespace qvcmsd
