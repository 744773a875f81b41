/// A server that is far away: what a client sends to a PostgreSQL server arrives later.
#pragma once

#include <chrono>
#include <string>
#include <thread>

#include "files/descriptor.h"

namespace bench {

/// Stands between one connection and the server, from construction to destruction.
class DelayingProxy {
 public:
  /// @param server  the folder of the server's socket  @param own  the folder for the proxy's
  DelayingProxy(const std::string& server, const std::string& own, std::chrono::milliseconds delay);
  ~DelayingProxy();
  DelayingProxy(const DelayingProxy&) = delete;
  DelayingProxy& operator=(const DelayingProxy&) = delete;

 private:
  void Forward();

  const std::string server_;
  const std::chrono::milliseconds delay_;
  const qv::files::FileDescriptor door_;
  std::thread thread_;
};

}  // namespace bench
