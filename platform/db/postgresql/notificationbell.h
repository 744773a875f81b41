/// The bell of a PostgreSQL database: notifications, which reach every machine.
#pragma once

#include <chrono>

#include "db/postgresql/pipeline.h"

namespace qv::db {

/// Has a connection of its own, which never waits for a transaction.
class NotificationBell final : public Bell {
 public:
  /// Listens from now on. Throws `Error` (Unusable).
  NotificationBell(const std::string& url, const std::string& channel);

  /// Connects again after the connection was lost, once a second at most.
  int descriptor() override;
  void Clear() override;

 private:
  Pipeline pipeline_;
  std::chrono::steady_clock::time_point tried_at_;  ///< to connect again
};

}  // namespace qv::db
