#include "ftos.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

std::string ftos(double value) {
  std::array<char, 32> digits;
  const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), value);
  return {digits.data(), result.ptr};
}

float NarrowToFloat(double value) {
  constexpr double kLargest = std::numeric_limits<float>::max();
  return static_cast<float>(std::clamp(value, -kLargest, kLargest));
}
