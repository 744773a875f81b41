#include "connection.h"

#include <sys/socket.h>

#include <cerrno>
#include <utility>
#include <vector>

namespace qvcmsd {
namespace {

bool IsClosedByClient(int socket) {
  char next = 0;
  const ssize_t got = recv(socket, &next, 1, MSG_PEEK | MSG_DONTWAIT);
  return got == 0 || (got < 0 && errno != EAGAIN && errno != EINTR);
}

}  // namespace

bool Connection::IsOver(Clock::time_point now) {
  if (now.time_since_epoch().count() >= end_) return true;
  // The server does not see an end that came together with the last bytes. What it has read by now may be a whole
  // request, for which the client still waits: so it has until the next look.
  const bool is_closed = is_receiving_ && IsClosedByClient(socket_);
  return std::exchange(was_closed_, is_closed) && is_closed;
}

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
  std::vector<Connection*> over;
  for (const auto& [key, connection] : all_) {
    if (connection->IsOver(now)) over.push_back(connection.get());
  }
  // A thread of libmicrohttpd (0.9.75) that gets exactly 128 events at once handles them only when another one comes.
  // So of many connections some are cut a second later.
  constexpr std::size_t kMany = 100, kLater = 20;
  if (over.size() > kMany) over.resize(over.size() - kLater);
  for (Connection* const connection : over) {
    shutdown(connection->socket(), SHUT_RDWR);  // it is closed only after it was removed here
    connection->NeverEnd();
  }
}

}  // namespace qvcmsd
