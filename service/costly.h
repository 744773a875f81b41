/// What takes a while to find out, and many ask for.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace qvcmsd {

/// Keeps the value until finding it again takes no more than a small part of the time. A value that is found quickly is
/// never kept. Thread-safe.
template <class Value>
class Costly {
 public:
  explicit Costly(std::function<Value()> find) : find_(std::move(find)) {}

  /// Throws what finding it throws.
  std::shared_ptr<const Value> Get() {
    constexpr int kShare = 20;
    constexpr std::chrono::milliseconds kQuick(5);
    const std::lock_guard lock(mutex_);
    const auto begin = Clock::now();
    if (value_ == nullptr || begin >= due_) {
      value_ = std::make_shared<const Value>(find_());
      const auto took = Clock::now() - begin;
      due_ = took < kQuick ? begin : begin + kShare * took;
    }
    return value_;
  }

 private:
  using Clock = std::chrono::steady_clock;
  const std::function<Value()> find_;
  std::mutex mutex_;
  std::shared_ptr<const Value> value_;
  Clock::time_point due_;
};

}  // namespace qvcmsd
