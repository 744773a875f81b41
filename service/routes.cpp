#include "routes.h"

#include <algorithm>

namespace qvcmsd {
namespace {

using Type = Parameter::Type;

constexpr Parameter kModel = {"model", Type::Text, "Model of the slave; it is remembered"};
constexpr Parameter kAllowRemovals = {"allow_removals", Type::Flag,
                                      "Apply a snapshot that removes more than half of ten or more devices"};
constexpr Parameter kAfter = {"after", Type::Number, "Only rows with greater ids; the Link header of a page has it"};
constexpr Parameter kLimit = {"limit", Type::Number, "Rows of a page, 1 to 10000; 100 if not given"};
constexpr Parameter kSearch = {"search", Type::Text,
                               "Only rows with this text in a name, vendor, model, address or serial number"};
constexpr Parameter kNotWell = {"not_well", Type::Flag, "Only devices whose reported state is not 1 (well)"};
constexpr Parameter kZr = {"zr", Type::Number, "Only what belongs to this slave"};

constexpr std::string_view kChanges =
    "An array with an object for each kind: what was added, updated, removed, and "
    "left as it was; then one for each entry that could not be used";
constexpr std::string_view kSession =
    "An object: scope, an array of what the client may do; wants_token, whether it needs a token; version";
constexpr std::string_view kRows = "An array of rows; a Link header with the address of the next page";

std::vector<std::string_view> SegmentsOf(std::string_view path) {
  std::vector<std::string_view> segments;
  while (!path.empty()) {
    path.remove_prefix(1);
    const std::size_t end = path.find('/');
    segments.push_back(path.substr(0, end));
    path.remove_prefix(end == std::string_view::npos ? path.size() : end);
  }
  return segments;
}

/// Whether the route has the path; then `values` are what stood for its names.
bool Fits(const Route& route, const Target& target, std::vector<std::string>& values) {
  const std::vector<std::string_view> segments = SegmentsOf(route.path);
  if (segments.size() != target.segments.size()) return false;
  values.clear();
  for (std::size_t i = 0; i < segments.size(); ++i) {
    if (segments[i].starts_with('{')) {
      if (target.segments[i].empty()) return false;
      values.push_back(target.segments[i]);
    } else if (segments[i] != target.segments[i]) {
      return false;
    }
  }
  return true;
}

}  // namespace

std::span<const Route> Routes() {
  // What comes first is matched first.
  static const std::vector<Route> routes = {
      {"POST",
       "/v1/slaves/{zr}/pair",
       Operation::Pair,
       Need::Documents,
       "Take over everything of a newly paired slave",
       kChanges,
       Body::Document,
       {kModel},
       false,
       "application/json",
       {422}},
      {"POST",
       "/v1/slaves/{zr}/snapshot",
       Operation::Snapshot,
       Need::Documents,
       "Apply a configuration snapshot",
       kChanges,
       Body::Document,
       {kModel, kAllowRemovals},
       false,
       "application/json",
       {409, 422}},
      {"POST",
       "/v1/slaves/{zr}/status",
       Operation::Status,
       Need::Documents,
       "Apply a status report",
       "The filled record of the slave",
       Body::Document,
       {},
       false,
       "application/json",
       {404, 422}},
      {"POST",
       "/v1/slaves/{zr}/plan",
       Operation::Plan,
       Need::Documents,
       "Tell what a snapshot would change, and change nothing",
       "As for a snapshot, then an object of the kind \"refusal\" for each reason why the snapshot would be refused",
       Body::Document,
       {kModel},
       false,
       "application/json",
       {422}},
      {"DELETE", "/v1/slaves/{zr}", Operation::Remove, Need::Operate, "Delete everything that is held for a slave",
       "An array with an object for each kind: what was removed and updated; empty if nothing was held"},
      {"GET",
       "/v1/slaves",
       Operation::ListSlaves,
       Need::Read,
       "All slaves with their state: whether they are silent, their devices by kind and how many of those are not "
       "well, messages that wait",
       kRows,
       Body::None,
       {kAfter, kLimit},
       true},
      {"GET",
       "/v1/slaves/{zr}",
       Operation::ShowSlave,
       Need::Read,
       "One slave",
       "The row of the slave, as in the list of all",
       Body::None,
       {},
       false,
       "application/json",
       {404}},
      {"GET",
       "/v1/slaves/{zr}/{kind}",
       Operation::ListOfSlave,
       Need::Read,
       "Rows of one kind of one slave",
       kRows,
       Body::None,
       {kSearch, kNotWell, kAfter, kLimit},
       true,
       "application/json",
       {404}},
      {"GET",
       "/v1/messages",
       Operation::Messages,
       Need::Read,
       "Messages to other services: those that wait, and those that were refused and set aside. With set_aside= (and "
       "nothing behind it) only the former",
       kRows,
       Body::None,
       {kZr, kAfter, kLimit},
       true},
      {"GET",
       "/v1/events",
       Operation::Events,
       Need::Read,
       "What changes, as it happens: one event for each document that was applied, for each slave that was removed, "
       "falls silent or is well again, and for each mark of a device",
       "Server-sent events, each with a JSON object",
       Body::None,
       {},
       false,
       "text/event-stream"},
      {"GET", "/v1/openapi.json", Operation::Describe, Need::Nothing, "This description", "OpenAPI 3.1"},
      {"GET", "/v1/session", Operation::ShowSession, Need::Nothing, "Who asks: what the client may do", kSession},
      {"POST",
       "/v1/session",
       Operation::LogIn,
       Need::Nothing,
       "Log in with a token, which a browser then shows as a cookie that no script can read",
       kSession,
       Body::Token,
       {},
       false,
       "application/json",
       {401, 403}},
      {"DELETE",
       "/v1/session",
       Operation::LogOut,
       Need::Nothing,
       "Log out: take the cookie back",
       kSession,
       Body::None,
       {},
       false,
       "application/json",
       {403}},
      {"GET",
       "/",
       Operation::Page,
       Need::Nothing,
       "The page for people",
       "HTML",
       Body::None,
       {},
       false,
       "text/html",
       {404}},
      {"GET",
       "/page/{file}",
       Operation::Page,
       Need::Nothing,
       "A file of the page",
       "The file",
       Body::None,
       {},
       false,
       "text/javascript",
       {404}},
      {"GET",
       "/v1/{kind}",
       Operation::List,
       Need::Read,
       "Rows of one kind",
       kRows,
       Body::None,
       {kZr, kSearch, kNotWell, kAfter, kLimit},
       true,
       "application/json",
       {404}},
      {"PUT",
       "/v1/{kind}/{id}/configuring",
       Operation::SetConfiguring,
       Need::Operate,
       "Mark a device as being configured on the host, so that no slave overwrites it, or as free again",
       "An array with one object: kind, id, configuring",
       Body::Mark,
       {},
       false,
       "application/json",
       {404}},
      {"GET",
       "/metrics",
       Operation::Metrics,
       Need::Metrics,
       "Metrics for Prometheus",
       "Text format 0.0.4",
       Body::None,
       {},
       false,
       "text/plain; version=0.0.4"},
      {"GET",
       "/healthz",
       Operation::Health,
       Need::Nothing,
       "Whether the service runs",
       "ok",
       Body::None,
       {},
       false,
       "text/plain"},
      {"GET",
       "/readyz",
       Operation::Readiness,
       Need::Nothing,
       "Whether the service takes documents",
       "ready",
       Body::None,
       {},
       false,
       "text/plain"},
  };
  return routes;
}

const Parameter* FindParameter(const Route& route, std::string_view name) {
  const auto found = std::find_if(route.parameters.begin(), route.parameters.end(),
                                  [&](const Parameter& parameter) { return parameter.name == name; });
  return found == route.parameters.end() ? nullptr : &*found;
}

Match FindRoute(std::string_view method, const Target& target) {
  Match match;
  for (const Route& route : Routes()) {
    std::vector<std::string> values;
    if (!Fits(route, target, values)) continue;
    if (route.method == method || (route.method == "GET" && method == "HEAD")) {
      match.route = &route;
      match.values = std::move(values);
      return match;
    }
    if (match.allowed.find(route.method) == std::string::npos) {
      match.allowed += (match.allowed.empty() ? "" : ", ") + std::string(route.method);
    }
  }
  return match;
}

}  // namespace qvcmsd
