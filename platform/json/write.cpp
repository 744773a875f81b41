#include <array>
#include <charconv>
#include <cmath>

#include "qvjson.h"

// Written by hand because jsoncpp's stream writer builds a stream and a writer for every value and prints doubles with
// 17 digits: several times slower for the small values that are written once per reported device.

namespace {

enum class Layout { Compact, Indented };
enum class Secrets { Shown, Hidden };

template <class Number>
void AppendNumber(std::string& out, Number number) {
  std::array<char, 32> digits;
  const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), number);
  out.append(digits.data(), result.ptr);
}

void AppendDouble(std::string& out, double number) {
  if (!std::isfinite(number)) {
    out += "null";
    return;
  }
  const std::size_t begin = out.size();
  AppendNumber(out, number);
  if (out.find_first_of(".e", begin) == std::string::npos) {
    out += ".0";
  }
}

void AppendString(std::string& out, std::string_view text) {
  static constexpr char kHex[] = "0123456789abcdef";
  out += '"';
  std::size_t kept = 0;  // everything before it is in `out`
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte >= 0x20 && byte != '"' && byte != '\\') {
      continue;
    }
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

class TextWriter {
 public:
  TextWriter(Layout layout, Secrets secrets) : layout_(layout), secrets_(secrets) {}

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

  std::string Take() { return std::move(out_); }

 private:
  void AppendArray(const Json::Value& array) {
    Begin('[');
    Json::ArrayIndex next = 0;
    for (auto element = array.begin(); element != array.end(); ++element, ++next) {
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
    for (auto member = object.begin(); member != object.end(); ++member) {
      const char* name_end = nullptr;
      const char* const name_begin = member.memberName(&name_end);
      const std::string_view name(name_begin, name_end);
      BeginElement();
      AppendString(out_, name);
      out_ += layout_ == Layout::Compact ? ":" : ": ";
      if (secrets_ == Secrets::Hidden && IsSecretKey(name)) {
        out_ += "\"***\"";
      } else {
        Append(*member);
      }
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
      out_.append(2 * depth_, ' ');
    }
  }

  const Layout layout_;
  const Secrets secrets_;
  std::string out_;
  std::size_t depth_ = 0;
  bool is_empty_ = true;  ///< no element yet since the last bracket was opened
};

std::string Write(const Json::Value& value, Layout layout, Secrets secrets) {
  TextWriter writer(layout, secrets);
  writer.Append(value);
  return writer.Take();
}

}  // namespace

std::string JsonWrite(const Json::Value& value, bool compact) {
  return Write(value, compact ? Layout::Compact : Layout::Indented, Secrets::Shown);
}

std::string JsonDump(const Json::Value& value) { return Write(value, Layout::Compact, Secrets::Hidden); }
