#include "syntax.h"

#include <simdjson.h>

#include <algorithm>
#include <charconv>
#include <set>
#include <utility>
#include <vector>

#include "text/utf8.h"

namespace qv::json {
namespace {

bool IsDigit(char letter) { return letter >= '0' && letter <= '9'; }
bool IsBlank(char letter) { return letter == ' ' || letter == '\t' || letter == '\n' || letter == '\r'; }
bool IsHexDigit(char letter) {
  return IsDigit(letter) || (letter >= 'a' && letter <= 'f') || (letter >= 'A' && letter <= 'F');
}

/// Walks over a text with a stack of its own, so that no nesting exhausts the thread's. Every function that finds a
/// problem throws it.
class Walker {
 public:
  Walker(std::string_view text, std::size_t max_depth) : text_(text), max_depth_(max_depth) {}

  void Walk() {
    SkipBlanks();
    do {
      BeginValue();
      while (!open_.empty() && !NextElement()) {
        open_.pop_back();
      }
    } while (!open_.empty());
    SkipBlanks();
    if (!AtEnd()) {
      Fail("there is text after the document");
    }
  }

 private:
  struct Container {
    bool is_object;
    bool is_empty = true;
    std::set<std::string> names = {};
  };

  [[noreturn]] void Fail(std::string reason) const { FailAt(std::move(reason), at_); }
  [[noreturn]] void FailAt(std::string reason, std::size_t offset) const {
    throw Problem{AtEnd() ? "the document ends early: " + reason : std::move(reason), offset};
  }

  bool AtEnd() const { return at_ == text_.size(); }
  char Current() const { return AtEnd() ? '\0' : text_[at_]; }

  void SkipBlanks() {
    while (IsBlank(Current())) {
      ++at_;
    }
  }

  bool Skip(char letter) {
    if (AtEnd() || text_[at_] != letter) {
      return false;
    }
    ++at_;
    return true;
  }

  /// Walks over a scalar, or opens an array or object.
  void BeginValue() {
    const char first = Current();
    if (first == '[' || first == '{') {
      if (open_.size() == max_depth_) {
        FailAt("nested deeper than " + std::to_string(max_depth_) + " levels", at_);
      }
      ++at_;
      open_.push_back({.is_object = first == '{'});
    } else if (first == '"') {
      SkipString();
    } else if (first == '-' || IsDigit(first)) {
      SkipNumber();
    } else if (!SkipWord("true") && !SkipWord("false") && !SkipWord("null")) {
      Fail("a value is expected");
    }
  }

  /// Walks to the next value of the innermost container. @return false: the container has been closed
  bool NextElement() {
    Container& container = open_.back();
    SkipBlanks();
    if (Skip(container.is_object ? '}' : ']')) {
      return false;
    }
    if (!std::exchange(container.is_empty, false)) {
      if (!Skip(',')) {
        Fail(container.is_object ? "',' or '}' is expected" : "',' or ']' is expected");
      }
      SkipBlanks();
    }
    if (container.is_object) {
      SkipName(container);
    }
    return true;
  }

  void SkipName(Container& object) {
    const std::size_t begin = at_;
    if (Current() != '"') {
      Fail("a member's name in '\"' is expected");
    }
    SkipString();
    const std::string name = Decode(text_.substr(begin, at_ - begin));
    if (!object.names.insert(name).second) {
      FailAt("the member '" + name + "' is given twice", begin);
    }
    SkipBlanks();
    if (!Skip(':')) {
      Fail("':' is expected");
    }
    SkipBlanks();
  }

  /// The text that a well-formed string stands for.
  static std::string Decode(std::string_view string) {
    if (string.find('\\') == std::string_view::npos) {
      return std::string(string.substr(1, string.size() - 2));
    }
    simdjson::dom::parser parser;
    return std::string(std::string_view(parser.parse(string.data(), string.size())));
  }

  void SkipString() {
    const std::size_t begin = at_++;
    while (!Skip('"')) {
      if (AtEnd()) {
        FailAt("a string is not closed", begin);
      }
      if (static_cast<unsigned char>(Current()) < 0x20) {
        Fail("a control character in a string is not escaped");
      }
      if (Current() == '\\') {
        SkipEscape();
      } else {
        ++at_;
      }
    }
  }

  void SkipEscape() {
    const std::size_t begin = at_++;
    if (!Skip('u')) {
      if (AtEnd() || std::string_view("\"\\/bfnrt").find(Current()) == std::string_view::npos) {
        FailAt("an unknown escape in a string", begin);
      }
      ++at_;
      return;
    }
    const unsigned unit = SkipHexDigits(begin);
    const bool is_high = unit >= 0xD800 && unit < 0xDC00;
    const bool is_low = unit >= 0xDC00 && unit < 0xE000;
    if (is_low || (is_high && !(Skip('\\') && Skip('u') && (SkipHexDigits(begin) & 0xFC00) == 0xDC00))) {
      FailAt("half of a surrogate pair in a string", begin);
    }
  }

  unsigned SkipHexDigits(std::size_t begin_of_escape) {
    const std::string_view digits = text_.substr(at_, 4);
    if (digits.size() < 4 || !std::all_of(digits.begin(), digits.end(), IsHexDigit)) {
      FailAt("an escape in a string without its four digits", begin_of_escape);
    }
    unsigned unit = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), unit, 16);
    at_ += digits.size();
    return unit;
  }

  void SkipNumber() {
    const std::size_t begin = at_;
    Skip('-');
    const bool has_leading_zero = Current() == '0';
    const std::size_t integer = at_;
    SkipDigits(begin);
    if (has_leading_zero && at_ > integer + 1) {
      FailAt("a number begins with 0", begin);
    }
    bool is_integer = true;
    if (Skip('.')) {
      is_integer = false;
      SkipDigits(begin);
    }
    if (Skip('e') || Skip('E')) {
      is_integer = false;
      if (!Skip('+')) {
        Skip('-');
      }
      SkipDigits(begin);
    }
    const std::string_view number = text_.substr(begin, at_ - begin);
    if (IsTooLarge(number, is_integer)) {
      throw Problem{
          "the number " + std::string(number.substr(0, 32)) + (number.size() > 32 ? "..." : "") + " is too large",
          begin};
    }
  }

  void SkipDigits(std::size_t begin_of_number) {
    if (!IsDigit(Current())) {
      FailAt("a number lacks a digit", begin_of_number);
    }
    while (IsDigit(Current())) {
      ++at_;
    }
  }

  static bool IsTooLarge(std::string_view number, bool is_integer) {
    double value = 0;
    if (std::from_chars(number.data(), number.data() + number.size(), value).ec == std::errc()) {
      return false;
    }
    // Out of range is said of numbers next to 0 too, which read as 0; the parser refuses the large ones only.
    simdjson::dom::parser parser;
    return is_integer || parser.parse(number.data(), number.size()).error() != simdjson::SUCCESS;
  }

  bool SkipWord(std::string_view word) {
    if (!text_.substr(at_).starts_with(word)) {
      return false;
    }
    at_ += word.size();
    return true;
  }

  const std::string_view text_;
  const std::size_t max_depth_;
  std::size_t at_ = 0;
  std::vector<Container> open_;
};

std::optional<Problem> FindInvalidUtf8(std::string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t length = text::Utf8SequenceLength(text, i);
    if (length == 0) {
      return Problem{"not UTF-8", i};
    }
    i += length;
  }
  return std::nullopt;
}

}  // namespace

std::optional<Problem> FindProblem(std::string_view text, std::size_t max_depth) {
  if (text.starts_with("\xEF\xBB\xBF")) {
    return Problem{"begins with a byte order mark", 0};
  }
  if (std::optional<Problem> problem = FindInvalidUtf8(text)) {
    return problem;
  }
  try {
    Walker(text, max_depth).Walk();
    return std::nullopt;
  } catch (const Problem& problem) {
    return problem;
  }
}

}  // namespace qv::json
