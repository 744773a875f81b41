/// All deliveries of the service, and what becomes of messages that nobody takes.
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <vector>

#include "deliver/courier.h"
#include "deliver/stopsignal.h"

namespace qvcmsd {

struct DeliveryOptions {
  std::vector<DeliveryRoute> routes;
  /// Messages for targets without a route that are older, or more than that number, are deleted while no other process
  /// delivers them. 0: never.
  std::chrono::seconds keep_for{0};
  std::size_t keep_number = 0;
};

/// Works on threads of its own until it is destroyed.
class Delivery {
 public:
  Delivery(qv::Host& host, Log& log, Metrics& metrics, DeliveryOptions options);

  ~Delivery();
  Delivery(const Delivery&) = delete;
  Delivery& operator=(const Delivery&) = delete;

 private:
  void Run();
  void Look();
  void Wait(qv::OutboxBell* bell) const;
  const DeliveryRoute* RouteFor(const std::string& target) const;
  bool EnsureCourier(const std::string& target);
  void LookAtUntaken(const qv::Message& oldest);

  qv::Host& host_;
  Log& log_;
  Metrics& metrics_;
  const DeliveryOptions options_;
  qv::Outbox outbox_;
  Outage outbox_outage_;
  Outage bell_outage_;
  using Clock = std::chrono::steady_clock;
  std::map<std::string, Clock::time_point> told_;  ///< targets that nobody takes messages for, and when that was said
  std::map<std::string, std::size_t> discarded_;   ///< messages, since it was said
  std::map<std::string, std::unique_ptr<Courier>> couriers_;

  StopSignal stop_;
  std::thread thread_;  ///< watches over all this
};

}  // namespace qvcmsd
