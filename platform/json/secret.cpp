#include <algorithm>

#include "qvjson.h"

namespace {

/// Lower case of ASCII, whatever the locale.
char LowerCase(char letter) { return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter; }

}  // namespace

bool IsSecretKey(std::string_view name) {
  static constexpr std::string_view kParts[] = {"pass",    "pwd",    "secret",    "token",     "credential",
                                                "rtspkey", "apikey", "streamkey", "privatekey"};
  static constexpr std::string_view kNames[] = {"key", "cookie", "username", "user", "sipaccount", "auth"};
  std::string lower;
  lower.reserve(name.size());
  for (const char letter : name) {
    if (letter != '_' && letter != '-') lower += LowerCase(letter);
  }
  return std::any_of(std::begin(kParts), std::end(kParts),
                     [&](std::string_view part) { return lower.find(part) != std::string::npos; }) ||
         std::find(std::begin(kNames), std::end(kNames), lower) != std::end(kNames);
}
