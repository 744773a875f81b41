/// Threads that look things up in the host, so that nobody who waits for a list holds up connections or documents.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace qvcmsd {

class Queries {
 public:
  explicit Queries(unsigned threads);
  /// Does what waits, then ends.
  ~Queries();
  Queries(const Queries&) = delete;
  Queries& operator=(const Queries&) = delete;

  /// @return false: too many wait
  bool Take(std::function<void()> query);

 private:
  void Run();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> waiting_;
  bool stopping_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace qvcmsd
