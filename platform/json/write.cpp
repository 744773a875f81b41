#include "write.h"

#include <array>
#include <charconv>
#include <cmath>
#include <type_traits>

#include "qvjson.h"

// Written by hand because jsoncpp's stream writer builds a stream and a writer for every value and prints doubles with
// 17 digits: several times slower for the small values that are written once per reported device.

namespace {

enum class Layout { Compact, Indented };

/// Takes a text in pieces and keeps it.
class Collector {
 public:
  void operator+=(char letter) { text_ += letter; }
  void operator+=(std::string_view text) { text_ += text; }
  std::string Take() { return std::move(text_); }

 private:
  std::string text_;
};

/// Takes a text in pieces and compares it with one that is there already.
class Matcher {
 public:
  explicit Matcher(std::string_view expected) : rest_(expected) {}

  void operator+=(char letter) {
    if (!rest_.empty() && rest_.front() == letter) {
      rest_.remove_prefix(1);
    } else {
      Stop({&letter, 1});
    }
  }
  void operator+=(std::string_view text) {
    if (rest_.starts_with(text)) {
      rest_.remove_prefix(text.size());
    } else {
      Stop(text);
    }
  }
  qv::json::Written Result() const {
    if (matches_ && rest_.empty()) return qv::json::Written::Same;
    return other_integer_ ? qv::json::Written::Differs : qv::json::Written::Unclear;
  }

 private:
  /// From here on nothing matches any more but empty pieces.
  void Stop(std::string_view text) {
    if (!matches_) return;
    matches_ = false;
    other_integer_ = IsInteger(text) && IsInteger(rest_.substr(0, rest_.find_first_of(",]}")));
    rest_ = {};
  }
  static bool IsInteger(std::string_view text) {
    return !text.empty() && text.find_first_not_of("-0123456789") == std::string_view::npos;
  }

  std::string_view rest_;  ///< of the text, as long as it matches
  bool matches_ = true;
  bool other_integer_ = false;  ///< what did not match are two integers, which are written in one way only
};

template <class Output, class Number>
void AppendNumber(Output& out, Number number) {
  std::array<char, 32> digits;
  const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), number);
  const std::string_view text(digits.data(), result.ptr);
  out += text;
  if (std::is_same_v<Number, double> && text.find_first_of(".e") == std::string_view::npos) {
    out += ".0";
  }
}

template <class Output>
void AppendDouble(Output& out, double number) {
  if (std::isfinite(number)) {
    AppendNumber(out, number);
  } else {
    out += "null";
  }
}

/// Which bytes stand in a JSON text as they are.
constexpr std::array<bool, 256> kPlain = [] {
  std::array<bool, 256> plain{};
  for (std::size_t byte = 0x20; byte < plain.size(); ++byte) plain[byte] = byte != '"' && byte != '\\';
  return plain;
}();

template <class Output>
void AppendString(Output& out, std::string_view text) {
  static constexpr char kHex[] = "0123456789abcdef";
  out += '"';
  std::size_t kept = 0;  // everything before it is in `out`
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (kPlain[byte]) continue;
    out += text.substr(kept, i - kept);
    kept = i + 1;
    out += '\\';
    switch (byte) {
      case '"':
      case '\\':
        out += text[i];
        break;
      case '\b':
        out += 'b';
        break;
      case '\f':
        out += 'f';
        break;
      case '\n':
        out += 'n';
        break;
      case '\r':
        out += 'r';
        break;
      case '\t':
        out += 't';
        break;
      default:
        out += "u00";
        out += kHex[byte >> 4];
        out += kHex[byte & 0x0F];
    }
  }
  out += text.substr(kept);
  out += '"';
}

template <class Output>
class TextWriter {
 public:
  TextWriter(Output& out, Layout layout) : out_(out), layout_(layout) {}

  void Append(const Json::Value& value) {
    switch (value.type()) {
      case Json::nullValue:
        out_ += "null";
        break;
      case Json::intValue:
        AppendNumber(out_, value.asLargestInt());
        break;
      case Json::uintValue:
        AppendNumber(out_, value.asLargestUInt());
        break;
      case Json::realValue:
        AppendDouble(out_, value.asDouble());
        break;
      case Json::stringValue: {
        const char* begin = nullptr;
        const char* end = nullptr;
        value.getString(&begin, &end);
        AppendString(out_, {begin, end});
        break;
      }
      case Json::booleanValue:
        out_ += value.asBool() ? "true" : "false";
        break;
      case Json::arrayValue:
        AppendArray(value);
        break;
      case Json::objectValue:
        AppendObject(value);
        break;
    }
  }

 private:
  void AppendArray(const Json::Value& array) {
    Begin('[');
    Json::ArrayIndex next = 0;
    const auto last = array.end();
    for (auto element = array.begin(); element != last; ++element, ++next) {
      for (; next < element.index(); ++next) {  // a gap, which jsoncpp does not store
        BeginElement();
        out_ += "null";
      }
      BeginElement();
      Append(*element);
    }
    End(']');
  }

  void AppendObject(const Json::Value& object) {
    Begin('{');
    const auto last = object.end();
    for (auto member = object.begin(); member != last; ++member) {
      const char* name_end = nullptr;
      const char* const name_begin = member.memberName(&name_end);
      BeginElement();
      AppendString(out_, {name_begin, name_end});
      out_ += layout_ == Layout::Compact ? ":" : ": ";
      Append(*member);
    }
    End('}');
  }

  void Begin(char bracket) {
    out_ += bracket;
    ++depth_;
    is_empty_ = true;
  }

  void BeginElement() {
    if (!is_empty_) {
      out_ += ',';
    }
    is_empty_ = false;
    AppendLineBreak();
  }

  void End(char bracket) {
    --depth_;
    if (!is_empty_) {
      AppendLineBreak();
    }
    is_empty_ = false;
    out_ += bracket;
  }

  void AppendLineBreak() {
    if (layout_ == Layout::Indented) {
      out_ += '\n';
      for (std::size_t i = 0; i < depth_; ++i) {
        out_ += "  ";
      }
    }
  }

  Output& out_;
  const Layout layout_;
  std::size_t depth_ = 0;
  bool is_empty_ = true;  ///< no element yet since the last bracket was opened
};

}  // namespace

std::string JsonWrite(const Json::Value& value, bool compact) {
  Collector out;
  TextWriter(out, compact ? Layout::Compact : Layout::Indented).Append(value);
  return out.Take();
}

qv::json::Written qv::json::CompareWritten(const Json::Value& value, std::string_view text) {
  Matcher out(text);
  TextWriter(out, Layout::Compact).Append(value);
  return out.Result();
}
