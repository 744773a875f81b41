/// From the fast parser's tree to the values that the package works with.
#pragma once

#include <json/value.h>
#include <simdjson.h>

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

namespace qv::json {

/// Converts one document.
///
/// Most of the cost of a value is that of looking up and copying the names of its members, and the objects of a
/// document are mostly rows of a list that have the same members in the same order. So the second object of a shape
/// leaves a blank copy behind, and the later ones begin as a copy of it, whose members only need their values. The
/// names of its members are not even copied (see names.h), now or when the values are copied later.
class Converter {
 public:
  /// Takes `element` over into `value`, which must be null.
  /// @param levels_left arrays and objects that may be open at a time
  /// @return false when the element is too deep or has a member twice; `value` is of no use then
  bool Convert(const simdjson::dom::element& element, Json::Value& value, std::size_t levels_left);

 private:
  struct Shape {
    Json::Value blank;                ///< an object with the members, all of them null; null until seen twice
    std::vector<std::string> names;   ///< in the order of the document
    std::vector<std::size_t> places;  ///< of these names in the order of the object
  };

  bool ConvertArray(const simdjson::dom::array& array, Json::Value& value, std::size_t levels_left);
  bool ConvertObject(const simdjson::dom::object& object, Json::Value& value, std::size_t levels_left);
  static bool Learn(const simdjson::dom::object& object, Shape& shape);
  bool FillShape(const Shape& shape, const simdjson::dom::object& object, Json::Value& value, std::size_t levels_left);
  bool AddMembers(const simdjson::dom::object& object, Json::Value& value, std::size_t levels_left);

  std::unordered_map<std::size_t, Shape> shapes_;  ///< by the hash of the names
};

}  // namespace qv::json
