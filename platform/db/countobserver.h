/// Watching what a unit of work changes while it is under way.
#pragma once

#include <functional>

#include "db/database.h"

namespace qv::db {

/// Has a function called with each count of this thread's unit of work that changes, for as long as it lives. The
/// function must neither throw nor use the database. One at a time per thread.
class CountObserver {
 public:
  explicit CountObserver(std::function<void(const UnitOfWork::Count&)> observe);
  ~CountObserver();
  CountObserver(const CountObserver&) = delete;
  CountObserver& operator=(const CountObserver&) = delete;

  /// Calls this thread's observer, if there is one.
  static void Tell(const UnitOfWork::Count& count);

 private:
  const std::function<void(const UnitOfWork::Count&)> observe_;
};

}  // namespace qv::db
