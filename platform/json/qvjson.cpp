#include "qvjson.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <array>
#include <charconv>
#include <cmath>

#include "json/views.h"

namespace {

using rapidjson::StringBuffer;

/// The shortest digits that read back as the same number.
template <class Writer>
void WriteDouble(double number, Writer& writer) {
  if (!std::isfinite(number)) {
    writer.Null();
    return;
  }
  std::array<char, 32> digits;
  char* end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  if (std::string_view(digits.data(), end).find_first_of(".e") == std::string_view::npos) {
    *end++ = '.';
    *end++ = '0';
  }
  writer.RawValue(digits.data(), static_cast<std::size_t>(end - digits.data()), rapidjson::kNumberType);
}

template <class Writer>
void Write(const Json::Value& value, Writer& writer) {
  switch (value.type()) {
    case Json::nullValue:
      writer.Null();
      break;
    case Json::intValue:
      writer.Int64(value.asInt64());
      break;
    case Json::uintValue:
      writer.Uint64(value.asUInt64());
      break;
    case Json::realValue:
      WriteDouble(value.asDouble(), writer);
      break;
    case Json::stringValue: {
      const std::string_view text = qv::json::TextOf(value);
      writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
      break;
    }
    case Json::booleanValue:
      writer.Bool(value.asBool());
      break;
    case Json::arrayValue:
      writer.StartArray();
      // By index: an array may have gaps, which read as null.
      for (Json::ArrayIndex i = 0; i < value.size(); ++i) Write(value[i], writer);
      writer.EndArray();
      break;
    case Json::objectValue: {
      writer.StartObject();
      const auto end = value.end();
      for (auto member = value.begin(); member != end; ++member) {
        const std::string_view name = qv::json::NameOf(member);
        writer.Key(name.data(), static_cast<rapidjson::SizeType>(name.size()));
        Write(*member, writer);
      }
      writer.EndObject();
      break;
    }
  }
}

}  // namespace

std::string JsonWrite(const Json::Value& value, bool compact) {
  StringBuffer text;
  if (compact) {
    rapidjson::Writer<StringBuffer> writer(text);
    Write(value, writer);
  } else {
    rapidjson::PrettyWriter<StringBuffer> writer(text);
    writer.SetIndent(' ', 2);
    Write(value, writer);
  }
  return {text.GetString(), text.GetSize()};
}
