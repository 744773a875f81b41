/// The host's rows of one kind, found by their id on the slave in constant time.
#pragma once

#include <list>
#include <optional>
#include <unordered_map>
#include <utility>

/// Owns a list of rows from which rows are taken by id. Several rows with one id are taken in their order in the list.
/// The remaining rows keep their order.
template <class Row>
class RowsById {
 public:
  /// @param id  `int id(const Row&)`, the row's id on the slave
  template <class Id>
  RowsById(std::list<Row> rows, Id&& id) : rows_(std::move(rows)) {
    first_.reserve(rows_.size());
    // From the back, so that each row is chained before the later rows with its id.
    for (auto row = rows_.end(); row != rows_.begin();) {
      --row;
      const auto [first, is_new] = first_.try_emplace(id(*row), row);
      if (is_new) continue;
      next_.emplace(&*row, first->second);
      first->second = row;
    }
  }

  /// Removes the first row with this id from the list and returns it, if there is one.
  std::optional<Row> Take(int id) {
    const auto first = first_.find(id);
    if (first == first_.end()) return std::nullopt;
    const auto row = first->second;
    if (const auto next = next_.find(&*row); next != next_.end()) {
      first->second = next->second;
    } else {
      first_.erase(first);
    }
    std::optional<Row> taken(std::move(*row));
    rows_.erase(row);
    return taken;
  }

  /// Returns the remaining rows. The object must not be used afterwards.
  std::list<Row> TakeRemaining() { return std::move(rows_); }

 private:
  using Iterator = typename std::list<Row>::iterator;
  std::list<Row> rows_;
  std::unordered_map<int, Iterator> first_;
  std::unordered_map<const Row*, Iterator> next_;  ///< the next row with the same id, for the rare row that has one
};
