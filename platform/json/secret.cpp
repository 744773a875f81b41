#include <algorithm>
#include <iterator>

#include "qvjson.h"

namespace {

/// Lower case of ASCII, whatever the locale.
char LowerCase(char letter) { return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter; }

}  // namespace

bool IsSecretKey(std::string_view name) {
  static constexpr std::string_view kParts[] = {"pass", "pwd", "secret", "token", "credential", "rtsp_key"};
  static constexpr std::string_view kNames[] = {"key", "cookie"};
  std::string lower;
  lower.reserve(name.size());
  std::transform(name.begin(), name.end(), std::back_inserter(lower), LowerCase);
  return std::any_of(std::begin(kParts), std::end(kParts),
                     [&](std::string_view part) { return lower.find(part) != std::string::npos; }) ||
         std::find(std::begin(kNames), std::end(kNames), lower) != std::end(kNames);
}
