/// The package's optional value: a present flag and a value. Reading the value of an empty one ends the process, so
/// test before reading.
#pragma once

#include <cstdlib>
#include <utility>

template <class T>
class Optional {
 public:
  Optional() = default;
  Optional(T value) : present_(true), value_(std::move(value)) {}  // NOLINT(google-explicit-constructor)

  explicit operator bool() const { return present_; }

  const T& Value() const {
    if (!present_) std::abort();
    return value_;
  }

 private:
  bool present_ = false;
  T value_{};
};
