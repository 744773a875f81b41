#include "sections.h"

#include <slavezrstatus.h>

#include <string>
#include <vector>

#include "devices/tables.h"

namespace qv::host {
namespace {

std::string At(const std::string& list, Json::ArrayIndex index) { return list + '[' + std::to_string(index) + ']'; }

/// Null stands for a member that is absent. A number that must be an integer must be one: half of it is not to be cut
/// off.
bool Fits(const Json::Value& value, Json::ValueType type) {
  if (type == Json::intValue) return value.isNull() || value.isInt() || value.isBool();
  return value.isConvertibleTo(type);
}

const char* Expectation(Json::ValueType type) {
  switch (type) {
    case Json::intValue:
      return "an integer is expected";
    case Json::realValue:
      return "a number is expected";
    case Json::booleanValue:
      return "true or false is expected";
    default:
      return "a text is expected";
  }
}

std::optional<Fault> FindFaultIn(const Json::Value& object, std::span<const Member> members, const std::string& place) {
  for (const Member& member : members) {
    if (!Fits(object[member.name], member.type)) return Fault{place + member.name, Expectation(member.type)};
  }
  return std::nullopt;
}

std::optional<Fault> FindFaultInList(const Json::Value& list, const std::string& place,
                                     std::span<const Member> members) {
  if (!list.isArray()) return Fault{place, "an array is expected"};
  for (Json::ArrayIndex i = 0; i < list.size(); ++i) {
    if (!list[i].isObject()) return Fault{At(place, i), "an object is expected"};
    if (auto fault = FindFaultIn(list[i], members, At(place, i) + '.')) return fault;
  }
  return std::nullopt;
}

std::optional<Fault> FindFaultInDoors(const Json::Value& controllers, const std::string& place) {
  for (Json::ArrayIndex i = 0; i < controllers.size(); ++i) {
    const Json::Value& doors = controllers[i]["door"];
    if (doors.isNull()) continue;
    if (auto fault = FindFaultInList(doors, At(place, i) + ".door", {})) return fault;
  }
  return std::nullopt;
}

std::optional<Fault> FindFaultInSection(const Json::Value& document, const Kind& kind,
                                        std::span<const Member> members) {
  const char* const section = kind.section.name;
  if (!document.isMember(section)) return std::nullopt;
  const Json::Value& list = document[section];
  if (!kind.section.lists_objects && list.isArray()) return std::nullopt;
  if (auto fault = FindFaultInList(list, section, members)) return fault;
  const bool has_doors = kind.table == &devices::CtrlerTable();
  return has_doors ? FindFaultInDoors(list, section) : std::nullopt;
}

}  // namespace

std::span<const Kind* const> KindsWithSection() {
  static const std::vector<const Kind*> with_section = [] {
    std::vector<const Kind*> found;
    for (const Kind& kind : schema::Kinds()) {
      if (kind.section.name != nullptr) found.push_back(&kind);
    }
    return found;
  }();
  return with_section;
}

std::span<const Member> ServerMembers() {
#define REPORTED_MEMBER(TYPE, NAME, INITIAL, KEY, REPORTED) {KEY, Json::REPORTED},
  static const std::vector<Member> reported = [] {
    std::vector<Member> members = {SLAVE_ZR_STATUS_MEMBERS(REPORTED_MEMBER, )};
    std::erase_if(members, [](const Member& member) { return member.name == nullptr; });
    return members;
  }();
#undef REPORTED_MEMBER
  return reported;
}

std::optional<Fault> FindFaultInSnapshot(const Json::Value& document) {
  for (const Kind* kind : KindsWithSection()) {
    if (auto fault = FindFaultInSection(document, *kind, kind->section.in_snapshot)) return fault;
  }
  return std::nullopt;
}

std::optional<Fault> FindFaultInReport(const Json::Value& document) {
  if (auto fault = FindFaultIn(document, ServerMembers(), "")) return fault;
  for (const Kind* kind : KindsWithSection()) {
    if (!kind->section.in_reports) continue;
    if (auto fault = FindFaultInSection(document, *kind, kind->section.in_report)) return fault;
  }
  return std::nullopt;
}

}  // namespace qv::host
