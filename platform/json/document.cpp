#include "json/document.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <new>
#include <optional>

#include "files/descriptor.h"
#include "json/convert.h"
#include "json/diagnose.h"

namespace qv::json {
namespace {

std::string Describe(const std::string& reason, std::size_t line, std::size_t column) {
  return line == 0 ? reason : "line " + std::to_string(line) + ", column " + std::to_string(column) + ": " + reason;
}

DocumentError TooLarge(const ReadLimits& limits) {
  return {"larger than " + std::to_string(limits.size) + " bytes", 0, 0, Limit::Size};
}

/// A parser whose buffers serve the next document too: the host's own rows hold many small ones, whose parsing costs
/// less than buffers do.
simdjson::dom::parser& ParserOfSmallDocuments() {
  thread_local simdjson::dom::parser parser;
  return parser;
}
constexpr std::size_t kSmallDocument = 4096;  ///< bytes

/// @param is_padded the parser may look at `SIMDJSON_PADDING` bytes behind the text; otherwise it copies the text
/// @return none if the text is refused
std::optional<Json::Value> Parse(std::string_view text, bool is_padded, const ReadLimits& limits) {
  simdjson::dom::parser parser_of_its_own;
  const bool is_small = text.size() <= kSmallDocument;
  simdjson::dom::parser& parser = is_small ? ParserOfSmallDocuments() : parser_of_its_own;
  static_assert(kMaxDepth < simdjson::DEFAULT_MAX_DEPTH, "what is too deep is refused when it is converted");
  simdjson::dom::element root;
  const simdjson::error_code error = parser.parse(text.data(), text.size(), !is_padded).get(root);
  if (error == simdjson::MEMALLOC) {
    throw std::bad_alloc();
  }
  if (error != simdjson::SUCCESS) {
    return std::nullopt;
  }
  return Convert(root, limits);
}

Json::Value Read(std::string_view text, bool is_padded, ReadLimits limits) {
  if (text.size() > limits.size) {
    throw TooLarge(limits);
  }
  limits.depth = std::min(limits.depth, kMaxDepth);
  if (!text.starts_with("\xEF\xBB\xBF")) {
    if (std::optional<Json::Value> value = Parse(text, is_padded, limits)) {
      return *std::move(value);
    }
  }
  if (std::optional<Json::Value> value = Parse(Diagnose(text, limits), true, limits)) {
    return *std::move(value);
  }
  throw DocumentError("the parser refuses it", 0, 0);
}

}  // namespace

DocumentError::DocumentError(const std::string& reason, std::size_t line, std::size_t column, Limit limit)
    : std::runtime_error(Describe(reason, line, column)),
      reason_(reason),
      line_(line),
      column_(column),
      limit_(limit) {}

Json::Value ReadDocument(std::string_view text, const ReadLimits& limits) { return Read(text, false, limits); }

Json::Value ReadDocumentFile(const std::string& path, const ReadLimits& limits) {
  const files::FileDescriptor file(path == "-" ? dup(STDIN_FILENO) : open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) {
    throw DocumentError(std::strerror(errno), 0, 0);
  }
  std::string text;
  struct stat status {};
  if (fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode)) {
    text.reserve(std::min(static_cast<std::size_t>(status.st_size), limits.size) + simdjson::SIMDJSON_PADDING);
  }
  std::array<char, 65536> block;
  while (true) {
    const ssize_t count = read(file.get(), block.data(), block.size());
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
