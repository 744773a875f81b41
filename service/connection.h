/// One connection, and how long it may still take for what it is doing.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace qvcmsd {

/// A client that sends a byte now and then is never idle: so each part of its work has an end in time.
class Connection {
 public:
  using Clock = std::chrono::steady_clock;
  explicit Connection(int socket) : socket_(socket) {}

  /// The client is to send what comes next, and has until then.
  void ReceiveUntil(Clock::time_point time) { Set(time.time_since_epoch().count(), true); }
  void ReceiveFor(std::chrono::milliseconds limit) { ReceiveUntil(Clock::now() + limit); }
  /// The client is to take its answer, and has so long for it.
  void SendFor(std::chrono::milliseconds limit) { Set((Clock::now() + limit).time_since_epoch().count(), false); }
  /// It waits for us.
  void NeverEnd() { Set(kNever, false); }

  /// Whether its time is over, or its client has closed it and left a request unfinished. To be called about once a
  /// second.
  bool IsOver(Clock::time_point now);
  int socket() const { return socket_; }

 private:
  static constexpr Clock::rep kNever = Clock::duration::max().count();
  void Set(Clock::rep end, bool is_receiving) {
    is_receiving_ = is_receiving;
    end_ = end;
  }
  const int socket_;
  std::atomic<Clock::rep> end_ = kNever;
  std::atomic<bool> is_receiving_ = false;
  bool was_closed_ = false;  ///< when it was looked at last
};

/// All connections that are open.
class Connections {
 public:
  Connection* Add(int socket);
  void Remove(const Connection* connection);
  /// Cuts those that are over; the server finds them closed then.
  void CutSlowOnes(Connection::Clock::time_point now);
  std::size_t size() const { return size_; }

 private:
  std::mutex mutex_;
  std::unordered_map<const Connection*, std::unique_ptr<Connection>> all_;
  std::atomic<std::size_t> size_ = 0;
};

}  // namespace qvcmsd
