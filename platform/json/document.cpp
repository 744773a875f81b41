#include "document.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <new>
#include <optional>

#include "convert.h"
#include "memory.h"
#include "syntax.h"

namespace qv::json {
namespace {

std::string Describe(const std::string& reason, std::size_t line, std::size_t column) {
  return line == 0 ? reason : "line " + std::to_string(line) + ", column " + std::to_string(column) + ": " + reason;
}

DocumentError ErrorAt(std::string_view text, const Problem& problem) {
  std::size_t line = 1;
  std::size_t column = 1;
  for (std::size_t i = 0; i < problem.offset; ++i) {
    if (text[i] == '\n' || (text[i] == '\r' && !text.substr(i + 1).starts_with('\n'))) {
      ++line;
      column = 1;
    } else if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) {
      ++column;  // every byte but the later ones of a character
    }
  }
  return {problem.reason, line, column};
}

/// A document may always take this much memory, or this many times its text.
constexpr std::size_t kAlwaysAllowed = std::size_t{128} * 1024 * 1024;
constexpr std::size_t kAllowedPerByte = 24;

void CheckMemory(const simdjson::dom::element& root, std::size_t text_size) {
  if (MostMemory(text_size) <= kAlwaysAllowed) return;
  const std::size_t memory = CountMemory(root, text_size);
  const std::size_t allowed = std::max(kAlwaysAllowed, text_size * kAllowedPerByte);
  if (memory <= allowed) return;
  throw DocumentError("too many values for its size: it would take " + std::to_string(memory >> 20) + " MiB of the " +
                          std::to_string(allowed >> 20) + " MiB that it may; leave out what the host need not know",
                      0, 0);
}

bool IsNumberCharacter(char character) {
  return (character >= '0' && character <= '9') || character == '-' || character == '+' || character == '.' ||
         character == 'e' || character == 'E';
}

/// Whether `number` is an integer of more than 64 bits.
bool IsLargeInteger(std::string_view number) {
  if (number.find_first_of(".eE") != std::string_view::npos) return false;
  const auto is_too_large = [number](auto integer) {
    return std::from_chars(number.data(), number.data() + number.size(), integer).ec != std::errc();
  };
  return is_too_large(std::int64_t{}) && is_too_large(std::uint64_t{});
}

/// A document in which integers of more than 64 bits are written as the doubles that they become, since the fast parser
/// refuses them otherwise. The text has room for that parser behind it.
std::string WithLargeIntegersAsDoubles(std::string_view text) {
  std::string result;
  result.reserve(text.size() + simdjson::SIMDJSON_PADDING);
  bool in_string = false;
  for (std::size_t i = 0; i < text.size();) {
    std::size_t length = 1;
    if (in_string) {
      length = text[i] == '\\' ? 2 : 1;
      in_string = text[i] != '"';
    } else if (text[i] == '"') {
      in_string = true;
    } else {
      while (IsNumberCharacter(text[i]) && i + length < text.size() && IsNumberCharacter(text[i + length])) ++length;
    }
    const std::string_view piece = text.substr(i, length);
    result += piece;
    if (!in_string && length > 1 && IsLargeInteger(piece)) result += ".0";
    i += length;
  }
  result.reserve(result.size() + simdjson::SIMDJSON_PADDING);
  return result;
}

/// Owns a file descriptor.
class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() {
    if (number_ > STDIN_FILENO) {
      close(number_);
    }
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int number() const { return number_; }

 private:
  const int number_;
};

DocumentError TooLarge(const ReadLimits& limits) {
  return {"larger than " + std::to_string(limits.size) + " bytes", 0, 0};
}

/// A parser whose buffers serve the next document too: the host's own rows hold many small ones, whose parsing costs
/// less than buffers do.
simdjson::dom::parser& ParserOfSmallDocuments() {
  thread_local simdjson::dom::parser parser;
  return parser;
}
constexpr std::size_t kSmallDocument = 4096;  ///< bytes

/// @param is_padded the parser may look at `SIMDJSON_PADDING` bytes behind the text; otherwise it copies the text
/// @return none when the fast parser refuses the text
std::optional<Json::Value> Parse(std::string_view text, bool is_padded, std::size_t depth, const ReadLimits& limits) {
  simdjson::dom::parser parser_of_its_own;
  const bool is_small = text.size() <= kSmallDocument;
  simdjson::dom::parser& parser = is_small ? ParserOfSmallDocuments() : parser_of_its_own;
  simdjson::error_code error = simdjson::SUCCESS;
  // The parser counts the document as a level of its own.
  if (!is_small || parser.max_depth() != depth + 1 || parser.capacity() < kSmallDocument) {
    error = parser.allocate(is_small ? kSmallDocument : text.size(), depth + 1);
  }
  simdjson::dom::element root;
  if (error == simdjson::SUCCESS) {
    error = parser.parse(text.data(), text.size(), !is_padded).get(root);
  }
  if (error == simdjson::MEMALLOC) {
    throw std::bad_alloc();
  }
  if (error != simdjson::SUCCESS) {
    return std::nullopt;
  }
  if (limits.memory) {
    CheckMemory(root, text.size());
  }
  Json::Value value;
  if (!Converter().Convert(root, value, depth)) {
    return std::nullopt;
  }
  return value;
}

Json::Value Read(std::string_view text, bool is_padded, const ReadLimits& limits) {
  if (text.size() > limits.size) {
    throw TooLarge(limits);
  }
  const std::size_t depth = std::min(limits.depth, kMaxDepth);
  if (!text.starts_with("\xEF\xBB\xBF")) {
    if (std::optional<Json::Value> value = Parse(text, is_padded, depth, limits)) {
      return *std::move(value);
    }
  }
  if (const std::optional<Problem> problem = FindProblem(text, depth)) {
    throw ErrorAt(text, *problem);
  }
  if (std::optional<Json::Value> value = Parse(WithLargeIntegersAsDoubles(text), true, depth, limits)) {
    return *std::move(value);
  }
  throw DocumentError("the parser refuses it", 0, 0);
}

}  // namespace

DocumentError::DocumentError(const std::string& reason, std::size_t line, std::size_t column)
    : std::runtime_error(Describe(reason, line, column)), reason_(reason), line_(line), column_(column) {}

Json::Value ReadDocument(std::string_view text, const ReadLimits& limits) { return Read(text, false, limits); }

Json::Value ReadDocumentFile(const std::string& path, const ReadLimits& limits) {
  const Descriptor file(path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (file.number() < 0) {
    throw DocumentError(std::strerror(errno), 0, 0);
  }
  std::string text;
  struct stat status {};
  if (fstat(file.number(), &status) == 0 && S_ISREG(status.st_mode)) {
    text.reserve(std::min(static_cast<std::size_t>(status.st_size), limits.size) + simdjson::SIMDJSON_PADDING);
  }
  std::array<char, 65536> block;
  while (true) {
    const ssize_t count = read(file.number(), block.data(), block.size());
    if (count < 0 && errno == EINTR) {
      continue;
    }
    if (count < 0) {
      throw DocumentError(std::strerror(errno), 0, 0);
    }
    if (count == 0) {
      break;
    }
    text.append(block.data(), static_cast<std::size_t>(count));
    if (text.size() > limits.size) {
      throw TooLarge(limits);
    }
  }
  return Read(text, text.capacity() - text.size() >= simdjson::SIMDJSON_PADDING, limits);
}

}  // namespace qv::json
