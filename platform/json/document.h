/// Reading a JSON document that somebody else wrote, strictly: UTF-8 without a byte order mark, one value and nothing
/// after it, no member twice, no number that a double cannot hold. Depth, size and number of values are limited. The
/// last two bound the memory: the most that reading and applying takes is four times the size and 400 bytes a value.
///
///     Json::Value document = qv::json::ReadDocumentFile("snapshot.json", {});
///
/// Integers of up to 64 bits stay integers; larger ones become doubles. The root may be any value.
#pragma once

#include <json/value.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace qv::json {

/// Deeper documents are refused whatever the limits say: values of this depth can be walked and destroyed recursively.
inline constexpr std::size_t kMaxDepth = 1000;

struct ReadLimits {
  std::size_t depth = 64;                             ///< arrays and objects open at a time, at most `kMaxDepth`
  std::size_t size = std::size_t{256} * 1024 * 1024;  ///< bytes
  std::size_t values = 10'000'000;                    ///< the document, and all elements and members in it
};

/// Which limit a document exceeds.
enum class Limit { None, Depth, Size, Values };

/// A document that cannot be read. `what()` is the reason with the place.
class DocumentError : public std::runtime_error {
 public:
  DocumentError(const std::string& reason, std::size_t line, std::size_t column, Limit limit = Limit::None);

  const std::string& reason() const { return reason_; }
  /// The limit that the document exceeds, if that is the reason.
  Limit limit() const { return limit_; }
  /// The place, counted from 1, the column in characters; 0: unknown.
  std::size_t line() const { return line_; }
  std::size_t column() const { return column_; }

 private:
  std::string reason_;
  std::size_t line_;
  std::size_t column_;
  Limit limit_;
};

/// @throws DocumentError
Json::Value ReadDocument(std::string_view text, const ReadLimits& limits);

/// @param path a file, or "-": standard input
/// @throws DocumentError also when the file cannot be read, with the system's reason
Json::Value ReadDocumentFile(const std::string& path, const ReadLimits& limits);

}  // namespace qv::json
