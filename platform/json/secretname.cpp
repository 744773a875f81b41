/// Which names of members stand for secrets.

#include <algorithm>
#include <string>
#include <vector>

#include "qvjson.h"

namespace {

/// A secret wherever one of these is part of a word.
constexpr std::string_view kParts[] = {"password", "passwd", "passphrase", "passcode", "pwd",      "secret",
                                       "token",    "cookie", "credential", "bearer",   "community"};
/// A secret where a word ends so: "rtspKey", "apikey", "smtp_pass".
constexpr std::string_view kEndings[] = {"key", "keys", "pass"};
constexpr std::string_view kWords[] = {"auth", "authorization", "pin", "psk", "otp", "jwt"};
/// No secrets, as one word or as two: "bypass", "byPass", "key_frame_interval".
constexpr std::string_view kHarmless[] = {
    "bypass",    "lowpass",     "highpass", "bandpass",   "overpass",  "underpass", "compass",  "passage",   "passback",
    "passcount", "passthrough", "keyboard", "keyframe",   "keyframes", "keypad",    "keypoint", "keypoints", "keytype",
    "hotkey",    "authtype",    "authmode", "authmethod", "gpiopin",   "inputpin",  "outputpin"};
/// Secrets by their whole name only: "user_count" is none.
constexpr std::string_view kNames[] = {"user", "username", "sipaccount", "sessionid"};

template <class List>
bool Contains(const List& list, std::string_view word) {
  return std::find(std::begin(list), std::end(list), word) != std::end(list);
}

bool IsUpper(char letter) { return letter >= 'A' && letter <= 'Z'; }
bool IsLower(char letter) { return letter >= 'a' && letter <= 'z'; }

/// The words of a name in lower case: "RTSPKey_old2" is "rtsp", "key", "old".
std::vector<std::string> WordsOf(std::string_view name) {
  std::vector<std::string> words;
  bool in_word = false;
  for (std::size_t i = 0; i < name.size(); ++i) {
    const char letter = name[i];
    if (!IsUpper(letter) && !IsLower(letter)) {
      in_word = false;
      continue;
    }
    const bool after_lower = i > 0 && IsLower(name[i - 1]);
    const bool before_lower = i + 1 < name.size() && IsLower(name[i + 1]);
    if (!in_word || (IsUpper(letter) && (after_lower || before_lower))) words.emplace_back();
    in_word = true;
    words.back() += static_cast<char>(IsUpper(letter) ? letter - 'A' + 'a' : letter);
  }
  return words;
}

bool IsSecretWord(const std::string& before, const std::string& word, const std::string& after) {
  const auto is_part = [&](std::string_view part) { return word.find(part) != std::string::npos; };
  if (std::any_of(std::begin(kParts), std::end(kParts), is_part)) return true;
  const auto is_ending = [&](std::string_view ending) { return word.ends_with(ending); };
  if (!Contains(kWords, word) && !std::any_of(std::begin(kEndings), std::end(kEndings), is_ending)) return false;
  return !Contains(kHarmless, word) && !Contains(kHarmless, before + word) && !Contains(kHarmless, word + after);
}

}  // namespace

bool IsSecretKey(std::string_view name) {
  const std::vector<std::string> words = WordsOf(name);
  std::string joined;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (IsSecretWord(i > 0 ? words[i - 1] : "", words[i], i + 1 < words.size() ? words[i + 1] : "")) return true;
    joined += words[i];
  }
  return Contains(kNames, joined);
}
