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

  void EndAt(Clock::time_point time) { end_ = time.time_since_epoch().count(); }
  void EndAfter(std::chrono::milliseconds limit) { EndAt(Clock::now() + limit); }
  /// It waits for us.
  void NeverEnd() { end_ = kNever; }

  bool IsOver(Clock::time_point now) const { return now.time_since_epoch().count() >= end_; }
  int socket() const { return socket_; }

 private:
  static constexpr Clock::rep kNever = Clock::duration::max().count();
  const int socket_;
  std::atomic<Clock::rep> end_ = kNever;
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
