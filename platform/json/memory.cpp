#include "memory.h"

#include <json/value.h>

#include <algorithm>

namespace qv::json {
namespace {

/// What the allocator makes of `bytes`.
constexpr std::size_t Block(std::size_t bytes) { return std::max<std::size_t>(32, (bytes + 8 + 15) / 16 * 16); }

// jsoncpp keeps the elements of arrays and objects alike in the nodes of a map.
constexpr std::size_t kNode = Block(32 + 16 + sizeof(Json::Value));  // the map's part, the name's, and the value
constexpr std::size_t kMap = Block(48);
constexpr std::size_t kTextHead = 5;  // a length and a NUL
// The parser has two places of text per value, of four bytes each, its own and that of the character behind it, and the
// words of its tape.
constexpr std::size_t kPlaces = 8;
constexpr std::size_t kWord = 8;
constexpr std::size_t kRecord = 768;  // of the host, for an entry

class Tally {
 public:
  void Add(const simdjson::dom::element& element, std::size_t level) {
    const std::size_t before = values_;
    values_ += kNode;
    parser_ += kPlaces + kWord;
    switch (element.type()) {
      case simdjson::dom::element_type::ARRAY:
        AddContainer();
        for (const simdjson::dom::element child : simdjson::dom::array(element)) Add(child, level + 1);
        break;
      case simdjson::dom::element_type::OBJECT:
        AddContainer();
        for (const auto& [name, child] : simdjson::dom::object(element)) {
          values_ += Block(name.size() + 1);
          parser_ += kPlaces + kWord + name.size() + kTextHead;
          Add(child, level + 1);
        }
        break;
      case simdjson::dom::element_type::STRING: {
        const std::size_t bytes = std::string_view(element).size() + kTextHead;
        values_ += Block(bytes);
        parser_ += bytes;
        break;
      }
      case simdjson::dom::element_type::INT64:
      case simdjson::dom::element_type::UINT64:
      case simdjson::dom::element_type::DOUBLE:
        parser_ += kWord;
        break;
      default:
        break;
    }
    if (level == kSection) largest_section_ = std::max(largest_section_, values_ - before);
    if (level == kEntry) {
      largest_entry_ = std::max(largest_entry_, values_ - before);
      records_ += kRecord;
    }
  }

  /// The parser is gone when a section is copied to be rewritten in the host's terms, and then an entry to be compared
  /// with what a row holds.
  std::size_t Total() const { return values_ + records_ + std::max(parser_, largest_section_ + largest_entry_); }

 private:
  static constexpr std::size_t kSection = 1;
  static constexpr std::size_t kEntry = 2;

  void AddContainer() {
    values_ += kMap;
    parser_ += kPlaces / 2 + kWord;
  }

  std::size_t values_ = 0;
  std::size_t records_ = 0;
  std::size_t parser_ = 0;
  std::size_t largest_section_ = 0;
  std::size_t largest_entry_ = 0;
};

}  // namespace

std::size_t MostMemory(std::size_t text_size) {
  // "[]," takes the most, as elements of one entry or as entries.
  constexpr std::size_t kEmptyArray = 3;
  return text_size + (text_size / kEmptyArray + 3) * std::max(4 * (kNode + kMap), 2 * (kNode + kMap) + kRecord);
}

std::size_t CountMemory(const simdjson::dom::element& root, std::size_t text_size) {
  Tally tally;
  tally.Add(root, 0);
  return text_size + tally.Total();
}

}  // namespace qv::json
