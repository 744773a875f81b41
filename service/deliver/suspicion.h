/// Which message its receiver does not survive.
#pragma once

#include <cstdint>

namespace qvcmsd {

/// A connection may be lost for many reasons. A message is to blame if the connection is lost four times in a row with
/// it, the last three times with nothing else on its way, and the message behind it is taken.
class Suspicion {
 public:
  /// The connection is lost. @param message  the first on its way
  void Lost(std::int64_t message) {
    if (message == suspect_) {
      ++losses_;
    } else if (passed_over() != 0) {
      losses_ = 0;  // it is lost with others too
    } else {
      suspect_ = message;
      losses_ = 1;
    }
  }
  /// A message is taken. @return whether the one that was passed over is to blame
  bool Taken(std::int64_t message) {
    const bool is_to_blame = passed_over() != 0 && message != suspect_;
    losses_ = 0;
    return is_to_blame;
  }
  bool SendsOne() const { return losses_ > 0; }
  std::int64_t suspect() const { return suspect_; }
  /// The message behind this one is sent; 0: the first one is.
  std::int64_t passed_over() const { return losses_ >= kLosses ? suspect_ : 0; }

 private:
  static constexpr int kLosses = 4;
  std::int64_t suspect_ = 0;
  int losses_ = 0;  ///< in a row, with it
};

}  // namespace qvcmsd
