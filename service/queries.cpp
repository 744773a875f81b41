#include "queries.h"

namespace qvcmsd {
namespace {

constexpr std::size_t kWaiting = 256;

}  // namespace

Queries::Queries(unsigned threads) {
  for (unsigned i = 0; i < threads; ++i) threads_.emplace_back([this] { Run(); });
}

Queries::~Queries() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  changed_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

bool Queries::Take(std::function<void()> query) {
  const std::lock_guard lock(mutex_);
  if (waiting_.size() >= kWaiting) return false;
  waiting_.push_back(std::move(query));
  changed_.notify_one();
  return true;
}

void Queries::Run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [&] { return stopping_ || !waiting_.empty(); });
    if (waiting_.empty()) return;
    const std::function<void()> query = std::move(waiting_.front());
    waiting_.pop_front();
    lock.unlock();
    query();
    lock.lock();
  }
}

}  // namespace qvcmsd
