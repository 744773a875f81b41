/// Takes the messages for one target to their receiver.
#pragma once

#include <qv/outbox.h>

#include <atomic>
#include <chrono>
#include <set>
#include <string>
#include <thread>

#include "deliver/outage.h"
#include "deliver/receiver.h"
#include "deliver/route.h"
#include "log.h"
#include "metrics.h"

namespace qvcmsd {

/// Works on a thread of its own until it is destroyed. At least once: what was sent without a receipt when the
/// connection or the process is lost is sent again, in order. Waits for ever for a receiver that is away, and for
/// another process that has the claim on the target.
class Courier {
 public:
  Courier(qv::Host& host, Log& log, Metrics& metrics, std::string target, const DeliveryRoute& route);
  ~Courier();   ///< Waits a little for receipts.
  void Stop();  ///< Has it end soon.
  Courier(const Courier&) = delete;
  Courier& operator=(const Courier&) = delete;

  const std::string& target() const { return target_; }

 private:
  using Clock = std::chrono::steady_clock;
  void Run();
  void Deliver(qv::OutboxClaim& claim, qv::OutboxBell& bell);
  bool SendNext(Receiver& receiver);
  void TakeReceipts(Receiver& receiver);
  void Suspect(const std::string& reason);
  void SetAside(const Receipt& receipt);
  void DeleteDelivered();
  bool Wait(const Receiver& receiver, qv::OutboxBell& bell, std::chrono::milliseconds limit) const;
  void Rest(std::chrono::milliseconds time) const;
  void TellOutage(const std::string& reason);

  qv::Host& host_;
  Log& log_;
  Metrics& metrics_;
  const std::string target_;
  const DeliveryRoute route_;
  qv::Outbox outbox_;

  std::set<std::int64_t> sent_;          ///< and still in the outbox
  std::vector<std::int64_t> delivered_;  ///< of these, with a receipt
  Clock::time_point delete_at_;          ///< if there are some
  Clock::time_point retry_at_;           ///< those that were refused
  std::int64_t suspect_ = 0;             ///< message that the connection was lost with
  int losses_ = 0;                       ///< in a row; until it is delivered, it is sent alone
  Outage outage_;

  std::atomic<bool> stopping_ = false;
  int stop_event_;  ///< becomes readable
  std::thread thread_;
};

}  // namespace qvcmsd
