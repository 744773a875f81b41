/// Ids for the new rows of a transaction, taken from the server in blocks.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace qv::db {

class IdPool {
 public:
  /// The ids of a table that this transaction has taken, in one piece.
  struct Block {
    std::int64_t first = 0;
    std::int64_t next = 0;  ///< the first that no row has got
    std::int64_t end = 0;
  };
  using Blocks = std::map<std::string, Block>;

  /// How many to take when there are none: few for a few rows, and few times for many.
  std::int64_t AmountFor(const std::string& table) const {
    const auto block = blocks_.find(table);
    constexpr std::int64_t kFirst = 2;
    constexpr std::int64_t kGrowth = 4;
    return block == blocks_.end() ? kFirst : std::max(kFirst, kGrowth * (block->second.end - block->second.first));
  }
  bool HasSome(const std::string& table) const {
    const auto block = blocks_.find(table);
    return block != blocks_.end() && block->second.next < block->second.end;
  }
  /// Ids that lie apart from those before are a new piece; those are then lost if no row gets them.
  void Add(const std::string& table, std::int64_t first, std::int64_t amount) {
    Block& block = blocks_[table];
    if (block.end != first) block = {.first = first, .next = first, .end = first};
    block.end += amount;
  }
  std::int64_t Take(const std::string& table) { return blocks_.at(table).next++; }

  const Blocks& blocks() const { return blocks_; }
  /// Goes back to the ids that rows had got at the time of `before`.
  void GoBackTo(const Blocks& before) {
    for (auto& [table, block] : blocks_) {
      const auto then = before.find(table);
      const bool is_same = then != before.end() && then->second.first == block.first;
      block.next = is_same ? then->second.next : block.first;
    }
  }
  /// The next rows get ids that are taken from now on.
  void DropUnused() {
    for (auto& [table, block] : blocks_) block.end = block.next;
  }
  void Clear() { blocks_.clear(); }

 private:
  Blocks blocks_;
};

}  // namespace qv::db
