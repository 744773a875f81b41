#include "connection.h"

#include <sys/socket.h>

namespace qvcmsd {

Connection* Connections::Add(int socket) {
  auto connection = std::make_unique<Connection>(socket);
  Connection* const added = connection.get();
  const std::lock_guard lock(mutex_);
  all_.emplace(added, std::move(connection));
  ++size_;
  return added;
}

void Connections::Remove(const Connection* connection) {
  const std::lock_guard lock(mutex_);
  size_ -= all_.erase(connection);
}

void Connections::CutSlowOnes(Connection::Clock::time_point now) {
  const std::lock_guard lock(mutex_);
  for (const auto& [key, connection] : all_) {
    if (!connection->IsOver(now)) continue;
    shutdown(connection->socket(), SHUT_RDWR);  // it is closed only after it was removed here
    connection->NeverEnd();
  }
}

}  // namespace qvcmsd
