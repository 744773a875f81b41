/// Takes the messages for one target to their receiver.
#pragma once

#include <qv/outbox.h>

#include <chrono>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>

#include "deliver/outage.h"
#include "deliver/receiver.h"
#include "deliver/route.h"
#include "deliver/stopsignal.h"
#include "deliver/suspicion.h"
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
  void Deliver(qv::OutboxClaim& claim);
  void Exchange(qv::OutboxClaim& claim, Receiver& receiver);
  bool SendNext(Receiver& receiver);
  void TakeReceipts(Receiver& receiver);
  void Settle();
  void Retry();
  void LookAtReceiver();
  std::unique_ptr<qv::OutboxBell> MakeBell();
  bool Wait(const Receiver& receiver, std::unique_ptr<qv::OutboxBell>& bell, std::chrono::milliseconds limit) const;
  std::size_t CountOnTheirWay() const { return sent_.size() - receipts_.size(); }
  std::optional<std::int64_t> FirstOnItsWay() const;
  void ReceiverFailed(const std::string& reason);
  void OutboxFailed(const std::string& reason);

  qv::Host& host_;
  Log& log_;
  Metrics& metrics_;
  const std::string target_;
  const DeliveryRoute route_;
  qv::Outbox outbox_;

  std::set<std::int64_t> sent_;    ///< and still in the outbox
  std::vector<Receipt> receipts_;  ///< for some of these
  Clock::time_point settle_at_;    ///< if there are some
  Clock::time_point answered_at_;  ///< last; or sent, if nothing was on its way before
  Clock::time_point retry_at_;     ///< those that were refused
  std::size_t read_again_at_ = 0;  ///< when no more were sent
  std::int64_t read_to_ = 0;       ///< id up to which all was sent; 0: read from the beginning
  Suspicion suspicion_;
  Outage receiver_outage_, outbox_outage_;

  StopSignal stop_;
  std::thread thread_;
};

}  // namespace qvcmsd
