/// Holding back what a thread logs until it is known whether it holds good.
#pragma once

#include <vector>

namespace qv::log {

struct Line;

/// Holds back the lines that this thread logs, from `Begin` on. One at a time per thread.
class HeldLines {
 public:
  HeldLines();
  ~HeldLines();  ///< Writes them.
  HeldLines(const HeldLines&) = delete;
  HeldLines& operator=(const HeldLines&) = delete;

  void Begin();
  /// Forgets the lines so far.
  void Drop();

  /// Keeps the line if this thread holds lines back. @return whether it does
  static bool Take(const Line& line);

 private:
  std::vector<Line> lines_;
};

}  // namespace qv::log
