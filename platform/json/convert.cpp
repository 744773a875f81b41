#include "convert.h"

#include <memory>
#include <string_view>

#include "names.h"

namespace qv::json {
namespace {

/// Below it, a copy of a blank object costs as much as it saves.
constexpr std::size_t kLeastMembersOfShape = 4;

struct Names {
  std::size_t count = 0;
  std::size_t hash = 0;
};

/// Of the lengths and last characters alone: objects that happen to share a hash are told apart by `HasNames`.
Names HashNames(const simdjson::dom::object& object) {
  Names names;
  for (const auto& [name, child] : object) {
    const auto last = name.empty() ? 0U : static_cast<unsigned char>(name.back());
    names.hash = names.hash * 1000003 + name.size() * 256 + last;
    ++names.count;
  }
  return names;
}

void AddBlank(Json::Value& object, std::string_view name) {
  if (const char* const kept = KeepName(name)) {
    object[Json::StaticString(kept)];
  } else {
    object.demand(name.data(), name.data() + name.size());
  }
}

/// Gives `value`, which is null, its content: less work than an assignment, which swaps the two.
template <class... Content>
bool Fill(Json::Value& value, Content... content) {
  std::destroy_at(&value);
  std::construct_at(&value, content...);
  return true;
}

bool HasNames(const simdjson::dom::object& object, const std::vector<std::string>& names) {
  std::size_t i = 0;
  for (const auto& [name, child] : object) {
    if (i == names.size() || name != names[i]) {
      return false;
    }
    ++i;
  }
  return i == names.size();
}

}  // namespace

bool Converter::Convert(const simdjson::dom::element& element, Json::Value& value, std::size_t levels_left) {
  switch (element.type()) {
    case simdjson::dom::element_type::ARRAY:
      return levels_left > 0 && ConvertArray(simdjson::dom::array(element), value, levels_left - 1);
    case simdjson::dom::element_type::OBJECT:
      return levels_left > 0 && ConvertObject(simdjson::dom::object(element), value, levels_left - 1);
    case simdjson::dom::element_type::STRING: {
      const std::string_view text(element);
      return Fill(value, text.data(), text.data() + text.size());
    }
    case simdjson::dom::element_type::INT64:
      return Fill(value, Json::Int64(std::int64_t(element)));
    case simdjson::dom::element_type::UINT64:
      return Fill(value, Json::UInt64(std::uint64_t(element)));
    case simdjson::dom::element_type::DOUBLE:
      return Fill(value, double(element));
    case simdjson::dom::element_type::BOOL:
      return Fill(value, bool(element));
    case simdjson::dom::element_type::NULL_VALUE:
      return true;
  }
  return false;
}

bool Converter::ConvertArray(const simdjson::dom::array& array, Json::Value& value, std::size_t levels_left) {
  value = Json::Value(Json::arrayValue);
  for (const simdjson::dom::element child : array) {
    if (!Convert(child, value.append(Json::Value()), levels_left)) {
      return false;
    }
  }
  return true;
}

bool Converter::ConvertObject(const simdjson::dom::object& object, Json::Value& value, std::size_t levels_left) {
  const Names names = HashNames(object);
  if (names.count < kLeastMembersOfShape) {
    return AddMembers(object, value, levels_left);
  }
  const auto [found, is_first] = shapes_.try_emplace(names.hash);
  if (is_first) {
    return AddMembers(object, value, levels_left);
  }
  Shape& shape = found->second;  // stays where it is when the map grows
  if (shape.blank.isNull() && !Learn(object, shape)) {
    return false;
  }
  return HasNames(object, shape.names) ? FillShape(shape, object, value, levels_left)
                                       : AddMembers(object, value, levels_left);
}

bool Converter::Learn(const simdjson::dom::object& object, Shape& shape) {
  Json::Value blank(Json::objectValue);
  std::vector<std::string> names;
  for (const auto& [name, child] : object) {
    AddBlank(blank, name);
    names.emplace_back(name);
  }
  if (blank.size() != names.size()) {
    return false;
  }
  std::unordered_map<std::string_view, std::size_t> places;
  for (auto member = blank.begin(); member != blank.end(); ++member) {
    const char* name_end = nullptr;
    const char* const name = member.memberName(&name_end);
    places.emplace(std::string_view(name, name_end), places.size());
  }
  for (const std::string& name : names) {
    shape.places.push_back(places.at(name));
  }
  shape.names = std::move(names);
  shape.blank = std::move(blank);
  return true;
}

bool Converter::FillShape(const Shape& shape, const simdjson::dom::object& object, Json::Value& value,
                          std::size_t levels_left) {
  value = shape.blank;
  std::vector<Json::Value*> members;
  members.reserve(shape.places.size());
  for (Json::Value& member : value) {
    members.push_back(&member);
  }
  auto place = shape.places.begin();
  for (const auto& [name, child] : object) {
    if (!Convert(child, *members[*place++], levels_left)) {
      return false;
    }
  }
  return true;
}

bool Converter::AddMembers(const simdjson::dom::object& object, Json::Value& value, std::size_t levels_left) {
  value = Json::Value(Json::objectValue);
  Json::ArrayIndex count = 0;
  for (const auto& [name, child] : object) {
    if (!Convert(child, *value.demand(name.data(), name.data() + name.size()), levels_left)) {
      return false;
    }
    ++count;
  }
  return value.size() == count;
}

}  // namespace qv::json
