/// The HTTP server: connections, their limits, and TLS. It knows nothing of hosts.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "service.h"
#include "tls.h"

namespace qvcmsd {

struct ServerLimits {
  unsigned connections = 10'000;
  unsigned connections_per_address = 0;           ///< 0: no limit of its own
  std::size_t header_bytes = 16'384;              ///< memory of a connection, which holds the header of a request
  std::size_t body_bytes = 512UL * 1024 * 1024;   ///< of all bodies that are being received
  std::chrono::milliseconds header_time{10'000};  ///< from the begin of a connection to the end of its first header
  std::chrono::milliseconds body_time{30'000};    ///< and a second for each 64 KiB
  std::chrono::milliseconds idle_time{120'000};   ///< from an answer to the end of the next header
  unsigned threads = 0;                           ///< for each address; 0: as many as there are cores
};

/// A socket that listens.
struct Listener {
  int socket = -1;
  std::string name;  ///< "127.0.0.1:8480"
};

/// Thread-safe.
class Server {
 public:
  /// Serves the listeners, which it closes in the end. @param tls  null: in plain text
  /// Throws `std::runtime_error`.
  Server(Service& service, const std::vector<Listener>& listeners, Tls* tls, const ServerLimits& limits);
  /// Ends all connections. Every request must have been answered.
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  /// Takes no more connections; those that are open go on.
  void StopListening();
  /// Ends connections that are too slow; to be called about once a second.
  void EndSlowConnections();
  std::size_t connections() const;
  /// Waits until all answers are sent. @return false: they were not in time
  bool WaitUntilSent(std::chrono::milliseconds limit) const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace qvcmsd
