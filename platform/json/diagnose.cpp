#include "json/diagnose.h"

#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>
#include <simdjson.h>

#include <cmath>
#include <set>
#include <vector>

namespace qv::json {
namespace {

/// @param offset of the byte that is wrong
DocumentError ErrorAt(std::string_view text, std::size_t offset, const std::string& reason, Limit limit) {
  std::size_t line = 1;
  std::size_t column = 1;
  for (std::size_t i = 0; i < offset; ++i) {
    if (text[i] == '\n' || (text[i] == '\r' && !text.substr(i + 1).starts_with('\n'))) {
      ++line;
      column = 1;
    } else if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) {
      ++column;  // every byte but the later ones of a character
    }
  }
  return {reason, line, column, limit};
}

/// What the reader calls while it walks over the document: it finds what is wrong beside the syntax.
class Checker : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Checker> {
 public:
  Checker(std::string_view text, const ReadLimits& limits, const rapidjson::MemoryStream& stream)
      : text_(text), limits_(limits), stream_(stream) {}

  bool Default() {
    CountValue();
    return true;
  }

  /// Of every number that is no integer of up to 64 bits.
  bool Double(double number) {
    const std::size_t end = stream_.Tell();
    const std::size_t begin = text_.find_last_not_of("+-.0123456789eE", end - 1) + 1;
    if (!std::isfinite(number)) FailWithNumber(begin, end);
    if (text_.substr(begin, end - begin).find_first_of(".eE") == std::string_view::npos) {
      ends_of_large_integers_.push_back(end);
    }
    return Default();
  }

  bool String(const char* text, rapidjson::SizeType size, bool /*copy*/) {
    CheckUtf8({text, size});
    return Default();
  }

  bool Key(const char* name, rapidjson::SizeType size, bool /*copy*/) {
    CheckUtf8({name, size});
    if (!names_.back().emplace(name, size).second) {
      Fail(text_.find('"', end_of_last_), "the member '" + std::string(name, size) + "' is given twice");
    }
    return true;
  }

  bool StartObject() { return Open(); }
  bool EndObject(rapidjson::SizeType /*members*/) { return Close(); }
  bool StartArray() { return Open(); }
  bool EndArray(rapidjson::SizeType /*elements*/) { return Close(); }

  [[noreturn]] void Fail(std::size_t offset, const std::string& reason, Limit limit = Limit::None) const {
    throw ErrorAt(text_, offset, (offset == text_.size() ? "the document ends early: " : "") + reason, limit);
  }

  [[noreturn]] void FailWithNumber(std::size_t begin, std::size_t end) const {
    constexpr std::size_t kMostShown = 32;
    const std::string_view number = text_.substr(begin, end - begin);
    Fail(begin, "the number " + std::string(number.substr(0, kMostShown)) + (number.size() > kMostShown ? "..." : "") +
                    " is too large");
  }

  const std::vector<std::size_t>& ends_of_large_integers() const { return ends_of_large_integers_; }

 private:
  /// The reader makes text out of half a surrogate pair.
  void CheckUtf8(std::string_view text) const {
    if (!simdjson::validate_utf8(text.data(), text.size())) {
      Fail(stream_.Tell() - 1, "half of a surrogate pair in a string");
    }
  }

  void CountValue() {
    if (++values_ > limits_.values) {
      Fail(stream_.Tell(), "more than " + std::to_string(limits_.values) + " values", Limit::Values);
    }
    end_of_last_ = stream_.Tell();
  }

  bool Open() {
    if (names_.size() == limits_.depth) {
      Fail(stream_.Tell(), "nested deeper than " + std::to_string(limits_.depth) + " levels", Limit::Depth);
    }
    names_.emplace_back();
    return Default();
  }

  bool Close() {
    names_.pop_back();
    end_of_last_ = stream_.Tell();
    return true;
  }

  const std::string_view text_;
  const ReadLimits& limits_;
  const rapidjson::MemoryStream& stream_;
  std::vector<std::set<std::string>> names_;  ///< of the members of every array and object that is open
  std::size_t values_ = 0;
  std::size_t end_of_last_ = 0;  ///< of the value or bracket before the next name
  std::vector<std::size_t> ends_of_large_integers_;
};

/// @param rest of the text, from the place of the error on
std::string Explain(rapidjson::ParseErrorCode code, std::string_view rest) {
  static constexpr const char* kControlCharacter = "a control character in a string is not escaped";
  switch (code) {
    case rapidjson::kParseErrorDocumentRootNotSingular:
      return "there is text after the document";
    case rapidjson::kParseErrorObjectMissName:
      return "a member's name in '\"' is expected";
    case rapidjson::kParseErrorObjectMissColon:
      return "':' is expected";
    case rapidjson::kParseErrorObjectMissCommaOrCurlyBracket:
      return "',' or '}' is expected";
    case rapidjson::kParseErrorArrayMissCommaOrSquareBracket:
      return "',' or ']' is expected";
    case rapidjson::kParseErrorStringUnicodeEscapeInvalidHex:
      return "an escape in a string without its four digits";
    case rapidjson::kParseErrorStringUnicodeSurrogateInvalid:
      return "half of a surrogate pair in a string";
    case rapidjson::kParseErrorStringEscapeInvalid:
      return rest.starts_with('\\') ? "an unknown escape in a string" : kControlCharacter;
    case rapidjson::kParseErrorStringMissQuotationMark:
      return rest.empty() ? "a string is not closed" : kControlCharacter;  // the reader takes a NUL for the end
    case rapidjson::kParseErrorStringInvalidEncoding:
      return "not UTF-8";
    case rapidjson::kParseErrorNumberMissFraction:
    case rapidjson::kParseErrorNumberMissExponent:
      return "a number lacks a digit";
    default:
      return "a value is expected";
  }
}

}  // namespace

std::string Diagnose(std::string_view text, const ReadLimits& limits) {
  rapidjson::MemoryStream stream(text.data(), text.size());
  Checker checker(text, limits, stream);
  if (text.starts_with("\xEF\xBB\xBF")) checker.Fail(0, "begins with a byte order mark");
  rapidjson::Reader reader;
  constexpr unsigned kFlags = rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag;
  const rapidjson::ParseResult result = reader.Parse<kFlags>(stream, checker);
  if (result.Code() == rapidjson::kParseErrorNumberTooBig) {
    checker.FailWithNumber(result.Offset(), text.find_first_not_of("+-.0123456789eE", result.Offset()));
  }
  if (result.IsError()) checker.Fail(result.Offset(), Explain(result.Code(), text.substr(result.Offset())));
  // The reader takes a NUL for the end of the text.
  if (stream.Tell() < text.size()) checker.Fail(stream.Tell(), "there is text after the document");

  std::string rewritten;
  rewritten.reserve(text.size() + 2 * checker.ends_of_large_integers().size() + simdjson::SIMDJSON_PADDING);
  std::size_t done = 0;
  for (const std::size_t end : checker.ends_of_large_integers()) {
    rewritten.append(text.substr(done, end - done)).append(".0");
    done = end;
  }
  rewritten.append(text.substr(done));
  return rewritten;
}

}  // namespace qv::json
