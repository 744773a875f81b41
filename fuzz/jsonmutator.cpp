#include "jsonmutator.h"

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace fuzz {
namespace {

std::size_t Below(std::size_t limit, std::mt19937& random) { return limit == 0 ? 0 : random() % limit; }

void CollectPlaces(Json::Value& value, std::vector<Json::Value*>& places) {
  places.push_back(&value);
  if (!value.isArray() && !value.isObject()) return;
  for (Json::Value& inner : value) CollectPlaces(inner, places);
}

Json::Value OddNumber(std::mt19937& random) {
  static const Json::Value numbers[] = {0,
                                        1,
                                        -1,
                                        2,
                                        7,
                                        255,
                                        65536,
                                        INT32_MAX,
                                        INT32_MIN,
                                        Json::Int64(INT32_MAX) + 1,
                                        Json::Value::maxLargestInt,
                                        Json::Value::minLargestInt,
                                        Json::Value::maxLargestUInt,
                                        0.5,
                                        -0.0,
                                        1e300,
                                        1e-300,
                                        3.0,
                                        2147483647.5};
  return numbers[Below(std::size(numbers), random)];
}

Json::Value OddText(std::mt19937& random) {
  static const std::string texts[] = {"",
                                      "0",
                                      "-1",
                                      "true",
                                      "%s%n%d",
                                      "'; DROP TABLE camera; --",
                                      "\"",
                                      "../../etc/passwd",
                                      "/absolute",
                                      "7/../../x",
                                      "a\nb\rc",
                                      std::string("nul\0inside", 10),
                                      "\x1b[31m",
                                      "\xc3\xa9",
                                      "1,2,3",
                                      "null",
                                      std::string(5000, 'x'),
                                      "{\"a\":1}",
                                      "[1,2]",
                                      "99999999999999999999"};
  return texts[Below(std::size(texts), random)];
}

Json::Value OddValue(std::mt19937& random) {
  switch (Below(8, random)) {
    case 0:
      return Json::nullValue;
    case 1:
      return Json::objectValue;
    case 2:
      return Json::arrayValue;
    case 3:
      return random() % 2 == 0;
    case 4: {
      Json::Value nested(Json::arrayValue);
      nested.append(OddNumber(random));
      nested.append(OddText(random));
      return nested;
    }
    case 5:
      return OddText(random);
    default:
      return OddNumber(random);
  }
}

void ChangeArray(Json::Value& array, const Json::Value& other, std::mt19937& random) {
  const auto at = static_cast<Json::ArrayIndex>(Below(array.size(), random));
  Json::Value removed;
  switch (Below(4, random)) {
    case 0:
      array.append(Json::Value(array[at]));
      break;
    case 1:
      array.removeIndex(at, &removed);
      break;
    case 2:
      array.append(other);
      break;
    default:
      array[at].swap(array[static_cast<Json::ArrayIndex>(Below(array.size(), random))]);
  }
}

void ChangeObject(Json::Value& object, const Json::Value& other, std::mt19937& random) {
  const std::vector<std::string> names = object.getMemberNames();
  const std::string& name = names[Below(names.size(), random)];
  switch (Below(4, random)) {
    case 0:
      object.removeMember(name);
      break;
    case 1:
      object[OddText(random).asString()] = other;
      break;
    case 2:
      object[name] = other;
      break;
    default:
      object[names[Below(names.size(), random)]].swap(object[name]);
  }
}

}  // namespace

void Mutate(Json::Value& document, std::mt19937& random) {
  std::vector<Json::Value*> places;
  CollectPlaces(document, places);
  Json::Value& place = *places[Below(places.size(), random)];
  const Json::Value other = random() % 2 == 0 ? *places[Below(places.size(), random)] : OddValue(random);
  if (place.isArray() && !place.empty() && random() % 4 != 0) {
    ChangeArray(place, other, random);
  } else if (place.isObject() && !place.empty() && random() % 4 != 0) {
    ChangeObject(place, other, random);
  } else {
    place = other;
  }
}

}  // namespace fuzz
