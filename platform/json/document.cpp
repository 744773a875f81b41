#include "document.h"

#include <fcntl.h>
#include <json/reader.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <optional>

#include "convert.h"
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

/// A value of two bytes becomes a node of a hundred: a text of such would take the host's memory many times over. What
/// reading takes may come to this many times the text, so that applying it has room too.
constexpr std::size_t kMaxMemoryPerByte = 17;
constexpr std::size_t kAlwaysAllowed = std::size_t{16} * 1024 * 1024;

/// What the parser and the values take, in bytes, estimated from the characters that begin or join values.
std::size_t EstimateMemory(std::string_view text) {
  constexpr std::size_t kValue = 116;
  constexpr std::size_t kName = 48;
  constexpr std::size_t kContainer = 72;
  const auto count = [&](char character) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), character));
  };
  const std::size_t containers = count('{') + count('[');
  return text.size() + (count(',') + containers) * kValue + count(':') * kName + containers * kContainer;
}

void CheckMemory(std::string_view text) {
  const std::size_t memory = EstimateMemory(text);
  if (memory <= kAlwaysAllowed || memory / kMaxMemoryPerByte <= text.size()) return;
  throw DocumentError("too many values for its size: it would take " + std::to_string(memory >> 20) + " MiB", 0, 0);
}

/// Reads what the fast parser refuses and is a document none the less: one with an integer of more than 64 bits.
Json::Value ReadWithLargeIntegers(std::string_view text) {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  builder["strictRoot"] = false;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value value;
  std::string errors;
  if (!reader->parse(text.data(), text.data() + text.size(), &value, &errors)) {
    throw DocumentError(errors, 0, 0);
  }
  return value;
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
Json::Value Read(std::string_view text, bool is_padded, const ReadLimits& limits) {
  if (text.size() > limits.size) {
    throw TooLarge(limits);
  }
  const std::size_t depth = std::min(limits.depth, kMaxDepth);
  if (!text.starts_with("\xEF\xBB\xBF")) {
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
    if (error == simdjson::SUCCESS) {
      CheckMemory(text);
    }
    Json::Value value;
    if (error == simdjson::SUCCESS && Converter().Convert(root, value, depth)) {
      return value;
    }
  }
  if (const std::optional<Problem> problem = FindProblem(text, depth)) {
    throw ErrorAt(text, *problem);
  }
  CheckMemory(text);
  return ReadWithLargeIntegers(text);
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
