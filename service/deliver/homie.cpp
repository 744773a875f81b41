#include "deliver/homie.h"

#include <qv/json.h>
#include <zlib.h>

#include <algorithm>
#include <charconv>
#include <map>
#include <stdexcept>

namespace qvcmsd {
namespace {

constexpr std::string_view kIdLetters = "abcdefghijklmnopqrstuvwxyz0123456789-";

/// With the version that a description must have, which differs when anything else in it does.
std::string Text(Json::Value description) {
  description["homie"] = "5.0";
  const std::string text = qv::ToJson(description, true);
  description["version"] =
      static_cast<Json::UInt>(crc32(0, reinterpret_cast<const Bytef*>(text.data()), static_cast<uInt>(text.size())));
  return qv::ToJson(description, true);
}

Json::Value Property(const char* name, const char* type) {
  Json::Value property;
  property["name"] = name;
  property["datatype"] = type;
  return property;
}

/// The kinds whose devices have a state, and their names in topics.
const std::map<std::string, std::string, std::less<>>& Nodes() {
  static const std::map<std::string, std::string, std::less<>> nodes = [] {
    std::map<std::string, std::string, std::less<>> all;
    for (const qv::KindInfo& kind : qv::Host::Kinds()) {
      if (!kind.has_state) continue;
      std::string node(kind.name);
      std::replace(node.begin(), node.end(), '_', '-');
      all.emplace(kind.name, std::move(node));
    }
    return all;
  }();
  return nodes;
}

}  // namespace

const std::vector<std::string>& HomieTopics::CountTopics() {
  static const std::vector<std::string> topics = [] {
    std::vector<std::string> all;
    for (const auto& [kind, node] : Nodes()) {
      all.push_back(node + "/total");
      all.push_back(node + "/not-well");
    }
    return all;
  }();
  return topics;
}

std::vector<std::int64_t> HomieTopics::CountsOf(const qv::ServerCounts& counts) {
  std::map<std::string_view, qv::ServerCounts::Devices> found;
  for (const qv::ServerCounts::Devices& devices : counts.devices) found[devices.kind] = devices;
  std::vector<std::int64_t> all;
  for (const auto& [kind, node] : Nodes()) {
    all.push_back(found[kind].all);
    all.push_back(found[kind].not_well);
  }
  return all;
}

HomieTopics::HomieTopics(const std::string& place) {
  const std::size_t slash = std::min(place.find('/'), place.size());
  const std::string domain = place.empty() ? "homie" : place.substr(0, slash);
  device_ = slash + 1 < place.size() ? place.substr(slash + 1) : "qvcms";
  if (domain.empty() || domain.front() == '$' || device_.find_first_not_of(kIdLetters) != std::string::npos) {
    throw std::invalid_argument("the topics of the state are DOMAIN/DEVICE, with a device of a-z, 0-9 and -");
  }
  root_ = domain + "/5/";
}

std::string HomieTopics::OfHost(std::string_view topic) const { return root_ + device_ + '/' + std::string(topic); }

std::string HomieTopics::OfSlave(int zr, std::string_view topic) const {
  return root_ + DeviceOf(zr) + '/' + std::string(topic);
}

std::string HomieTopics::DescribeHost(const std::set<int>& slaves) const {
  Json::Value description;
  description["name"] = "Host";
  Json::Value& children = description["children"] = Json::Value(Json::arrayValue);
  for (const int zr : slaves) children.append(DeviceOf(zr));
  return Text(description);
}

std::string HomieTopics::DescribeSlave(int zr) const {
  Json::Value description;
  description["name"] = "Slave " + std::to_string(zr);
  description["root"] = device_;
  Json::Value& nodes = description["nodes"];
  nodes["report"]["properties"]["last"] = Property("Last report", "datetime");
  for (const auto& [kind, node] : Nodes()) {
    Json::Value& counts = nodes[node]["properties"];
    counts["total"] = Property("Devices", "integer");
    counts["not-well"] = Property("Devices that are not well", "integer");
  }
  return Text(description);
}

std::set<int> HomieTopics::SlavesIn(const std::string& description) const {
  std::set<int> slaves;
  try {
    const qv::Document read = qv::Document::Parse(description);
    for (const Json::Value& child : read.value()["children"]) {
      const std::string id = child.asString();
      if (!id.starts_with(device_ + '-')) continue;
      int zr = 0;
      const char* const begin = id.data() + device_.size() + 1;
      const auto [end, error] = std::from_chars(begin, id.data() + id.size(), zr);
      if (error == std::errc() && end == id.data() + id.size()) slaves.insert(zr);
    }
  } catch (const std::exception&) {
    // Somebody else has written it.
  }
  return slaves;
}

}  // namespace qvcmsd
