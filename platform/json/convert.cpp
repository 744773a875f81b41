#include "json/convert.h"

#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "json/names.h"
#include "json/views.h"

namespace qv::json {
namespace {

/// Smaller objects gain nothing from a blank copy. Larger ones are no rows of a list, and a blank copy takes memory.
constexpr std::size_t kLeastMembers = 4;
constexpr std::size_t kMostMembers = 256;

/// Thrown when the document cannot be converted.
struct Refused {};

/// What the objects at one place of the document look like, such as the elements of a list, or one member of these.
///
/// Most of the time that a value costs goes into looking up and copying the names of its members. Lists mostly hold
/// objects with the same names in the same order. So an object with the same names as the one before begins as a copy
/// of a blank object, in which only the values are missing; the names in it are not even copied (see names.h).
struct Place {
  std::vector<std::string_view> names;     ///< of the last object here, in the order of the document
  Json::Value blank;                       ///< an object with these names and null values; null until it is needed
  std::vector<std::size_t> order;          ///< for each of `names`, the position of the member in `blank`
  std::vector<std::unique_ptr<Place>> at;  ///< for each of `names`, the objects inside that member
  std::vector<Json::Value*> members;       ///< of the value that is being filled, in the order of its names
  std::unique_ptr<Place> elements;         ///< the objects in an array that stands here
};

Place& MakeIfAbsent(std::unique_ptr<Place>& place) {
  if (!place) place = std::make_unique<Place>();
  return *place;
}

bool HasNames(const simdjson::dom::object& object, const std::vector<std::string_view>& names) {
  if (object.size() != names.size()) return false;
  auto expected = names.begin();
  for (const auto& [name, child] : object) {
    if (name != *expected) return false;
    ++expected;
  }
  return true;
}

void MakeBlank(Place& place) {
  Json::Value blank(Json::objectValue);
  for (const std::string_view name : place.names) {
    if (const char* const kept = KeepName(name)) {
      blank[Json::StaticString(kept)];
    } else {
      blank.demand(name.data(), name.data() + name.size());
    }
  }
  std::unordered_map<std::string_view, std::size_t> positions;
  for (auto member = blank.begin(); member != blank.end(); ++member)
    positions.emplace(NameOf(member), positions.size());
  place.order.clear();
  for (const std::string_view name : place.names) place.order.push_back(positions.at(name));
  place.at.resize(place.names.size());
  place.members.resize(place.names.size());
  place.blank = std::move(blank);
}

class Converter {
 public:
  explicit Converter(std::size_t most_values) : values_left_(most_values) {}

  Json::Value Convert(const simdjson::dom::element& element, std::unique_ptr<Place>& place, std::size_t levels_left) {
    if (values_left_-- == 0) throw Refused();
    switch (element.type()) {
      case simdjson::dom::element_type::ARRAY:
        if (levels_left == 0) throw Refused();
        return ConvertArray(simdjson::dom::array(element), MakeIfAbsent(place), levels_left - 1);
      case simdjson::dom::element_type::OBJECT:
        if (levels_left == 0) throw Refused();
        return ConvertObject(simdjson::dom::object(element), MakeIfAbsent(place), levels_left - 1);
      case simdjson::dom::element_type::STRING: {
        const std::string_view text(element);
        return {text.data(), text.data() + text.size()};
      }
      case simdjson::dom::element_type::INT64:
        return Json::Int64(std::int64_t(element));
      case simdjson::dom::element_type::UINT64:
        return Json::UInt64(std::uint64_t(element));
      case simdjson::dom::element_type::DOUBLE:
        return double(element);
      case simdjson::dom::element_type::BOOL:
        return bool(element);
      case simdjson::dom::element_type::NULL_VALUE:
        break;
    }
    return {};
  }

 private:
  Json::Value ConvertArray(const simdjson::dom::array& array, Place& place, std::size_t levels_left) {
    Json::Value value(Json::arrayValue);
    for (const simdjson::dom::element child : array) value.append(Convert(child, place.elements, levels_left));
    return value;
  }

  Json::Value ConvertObject(const simdjson::dom::object& object, Place& place, std::size_t levels_left) {
    if (!place.names.empty() && HasNames(object, place.names)) {
      if (place.blank.isNull()) MakeBlank(place);
      return FillBlank(object, place, levels_left);
    }
    return AddMembers(object, place, levels_left);
  }

  Json::Value FillBlank(const simdjson::dom::object& object, Place& place, std::size_t levels_left) {
    Json::Value value = place.blank;
    auto member = value.begin();
    for (Json::Value*& pointer : place.members) {
      pointer = &*member;
      ++member;
    }
    std::size_t i = 0;
    for (const auto& [name, child] : object) {
      *place.members[place.order[i]] = Convert(child, place.at[i], levels_left);
      ++i;
    }
    return value;
  }

  Json::Value AddMembers(const simdjson::dom::object& object, Place& place, std::size_t levels_left) {
    Json::Value value(Json::objectValue);
    std::unique_ptr<Place> inside;
    std::size_t count = 0;
    for (const auto& [name, child] : object) {
      *value.demand(name.data(), name.data() + name.size()) = Convert(child, inside, levels_left);
      ++count;
    }
    if (value.size() != count) throw Refused();
    place.names.clear();
    if (count >= kLeastMembers && count <= kMostMembers) {
      for (const auto& [name, child] : object) place.names.push_back(name);
    }
    place.blank = Json::Value();
    return value;
  }

  std::size_t values_left_;
};

}  // namespace

std::optional<Json::Value> Convert(const simdjson::dom::element& root, const ReadLimits& limits) {
  try {
    std::unique_ptr<Place> place;
    return Converter(limits.values).Convert(root, place, limits.depth);
  } catch (const Refused&) {
    return std::nullopt;
  }
}

}  // namespace qv::json
