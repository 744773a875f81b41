/// Slaves that have not reported for a while.
#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <vector>

namespace qvcmsd {

/// Thread-safe. Times of one kind only: `Clock` cannot be set back.
class Silence {
 public:
  using Clock = std::chrono::steady_clock;
  using WallTime = std::chrono::system_clock::time_point;

  /// @param after  how long a slave may be quiet
  explicit Silence(std::chrono::milliseconds after) : after_(after) {}

  /// Expects a slave's reports from now on, if they are not expected already: it is not silent before the time has
  /// passed.
  void Expect(int zr);
  /// A slave has reported. @return since when it had been silent; none: it had not
  std::optional<WallTime> Heard(int zr);
  /// A slave was removed.
  void Forget(int zr);

  struct Fallen {
    int zr;
    WallTime since;
  };
  /// Slaves that have fallen silent since the last call.
  std::vector<Fallen> Sweep(Clock::time_point now = Clock::now());

  struct Contact {
    int zr = 0;
    bool is_silent = false;
    std::optional<WallTime> last_heard;  ///< none: not by this process
  };
  /// All slaves.
  std::vector<Contact> contacts() const;

  /// Since when the slave is silent; none: it is not.
  std::optional<WallTime> SinceWhen(int zr) const;
  /// When the slave was last heard of; none: not by this process.
  std::optional<WallTime> LastHeard(int zr) const;

  struct Ages {
    std::vector<std::pair<std::chrono::seconds, std::size_t>> up_to;  ///< how many have reported within so many seconds
    std::size_t all = 0;
    std::size_t silent = 0;
  };
  Ages ages() const;

 private:
  struct Slave {
    Clock::time_point heard;  ///< or expected
    WallTime heard_at;
    bool was_heard = false;
    bool is_silent = false;
  };

  const std::chrono::milliseconds after_;
  mutable std::mutex mutex_;
  std::map<int, Slave> slaves_;
};

}  // namespace qvcmsd
