/// What the service shows of the host.

#include <algorithm>

#include "service.h"
#include "timestamp.h"

namespace qvcmsd {
namespace {

std::string KindOf(const Call& call) {
  switch (call.match.route->operation) {
    case Operation::ListSlaves:
      return "server";
    case Operation::Messages:
      return "message";
    case Operation::ListOfSlave:
      return call.match.values[1];
    default:
      return call.match.values[0];
  }
}

/// What is asked for. The parameters of the route have been looked at; all others are columns, whatever their names.
qv::ListQuery QueryOf(const Call& call) {
  qv::ListQuery query{.kind = KindOf(call)};
  if (call.zr > 0) query.zr = call.zr;
  for (const auto& [name, value] : call.target.parameters) {
    if (FindParameter(*call.match.route, name) == nullptr) {
      query.equal.emplace_back(name, value);
    } else if (name == "search") {
      query.search = value;
    } else if (name == "not_well") {
      query.not_well = value == "true";
    } else if (name == "zr") {
      query.zr = std::stoi(value);
    } else if (name == "after") {
      query.after = std::stoll(value);
    } else if (name == "limit") {
      query.limit = std::stoul(value);
    }
  }
  return query;
}

/// The address of the page that follows the row `after`.
std::string NextPage(const Call& call, std::int64_t after) {
  const std::string& target = call.request.target;
  const std::size_t mark = target.find('?');
  std::string address = target.substr(0, mark) + '?';
  std::string_view rest = mark == std::string::npos ? "" : std::string_view(target).substr(mark + 1);
  while (!rest.empty()) {
    const std::string_view part = rest.substr(0, rest.find('&'));
    rest.remove_prefix(std::min(rest.size(), part.size() + 1));
    if (!part.empty() && part.substr(0, part.find('=')) != "after") address.append(part).append("&");
  }
  return address + "after=" + std::to_string(after);
}

bool IsKind(std::string_view name) {
  const auto kinds = qv::Host::Kinds();
  return std::any_of(kinds.begin(), kinds.end(), [&](const qv::KindInfo& kind) { return kind.name == name; });
}

const qv::ServerCounts kNothing;

std::int64_t IdOf(const qv::Row& row) {
  const auto id = std::find_if(row.begin(), row.end(), [](const auto& member) { return member.first == "id"; });
  return id == row.end() ? 0 : id->second.asInt64();
}

}  // namespace

Response Service::ListRows(const Call& call) {
  const qv::ListQuery query = QueryOf(call);
  if (!IsKind(query.kind)) return Problem(404, "unknown-kind", "there is no kind \"" + query.kind + '"');
  qv::Page page = host_.List(query);
  if (query.kind == "server") AddState(page.rows);
  Response response{.body = qv::ToJson(page.rows)};
  if (page.after) response.headers.emplace_back("Link", '<' + NextPage(call, *page.after) + ">; rel=\"next\"");
  return response;
}

Response Service::ShowSlave(const Call& call) {
  std::vector<qv::Row> rows = host_.List({.kind = "server", .zr = call.zr, .limit = 1}).rows;
  if (rows.empty()) {
    return Problem(404, qv::NameOf(qv::RefusalCode::UnknownServer),
                   "slave " + std::to_string(call.zr) + " is not known here");
  }
  AddState(rows);
  Json::Value slave(Json::objectValue);
  for (auto& [name, value] : rows.front()) slave[name] = std::move(value);
  return {.body = qv::ToJson(slave, false) + '\n'};
}

void Service::AddState(std::vector<qv::Row>& slaves) {
  const auto counts = counts_.Get();
  const auto text = [](const auto& time) { return time ? Json::Value(qv::Timestamp(*time)) : Json::Value(); };
  for (qv::Row& slave : slaves) {
    const int zr = static_cast<int>(IdOf(slave));
    const auto silent_since = silence_.SinceWhen(zr);
    slave.emplace_back("silent", silent_since.has_value());
    slave.emplace_back("silent_since", text(silent_since));
    slave.emplace_back("last_heard", text(silence_.LastHeard(zr)));
    const auto found = counts->find(zr);
    const qv::ServerCounts& of_slave = found == counts->end() ? kNothing : found->second;
    Json::Value devices(Json::objectValue);
    for (const qv::ServerCounts::Devices& kind : of_slave.devices) {
      devices[kind.kind]["total"] = Json::Int64{kind.all};
      devices[kind.kind]["not_well"] = Json::Int64{kind.not_well};
    }
    slave.emplace_back("devices", std::move(devices));
    slave.emplace_back("messages_waiting", Json::Int64{of_slave.messages});
  }
}

Response Service::ShowMetrics() {
  return {.type = "text/plain; version=0.0.4",
          .body = metrics_.Text({.depth = pipeline_.depth(),
                                 .ages = silence_.ages(),
                                 .host = *statistics_.Get(),
                                 .watchers = events_.watchers(),
                                 .connections = connections_})};
}

}  // namespace qvcmsd
