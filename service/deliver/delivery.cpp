#include "deliver/delivery.h"

#include <algorithm>

namespace qvcmsd {
namespace {

constexpr std::chrono::minutes kUntaken{10};  ///< age of a message that probably nobody takes
constexpr std::chrono::hours kBetweenWarnings{24};
constexpr int kDiscardsInALook = 20;
constexpr std::chrono::milliseconds kLook{1000};      ///< between looks without a bell
constexpr std::chrono::milliseconds kAfterALook{50};  ///< no other one, however often the bell rings

}  // namespace

Delivery::Delivery(qv::Host& host, Log& log, Metrics& metrics, DeliveryOptions options)
    : host_(host),
      log_(log),
      metrics_(metrics),
      options_(std::move(options)),
      outbox_(host),
      outbox_outage_(log, "the outbox is read again"),
      bell_outage_(log, "messages for targets that had none before no longer wait for a second") {
  for (const DeliveryRoute& route : options_.routes) {
    if (route.target != DeliveryRoute::kRest) EnsureCourier(route.target);
  }
  thread_ = std::thread([this] { Run(); });
}

Delivery::~Delivery() {
  stop_.Set();
  thread_.join();
  for (const auto& [target, courier] : couriers_) courier->Stop();
}

const DeliveryRoute* Delivery::RouteFor(const std::string& target) const {
  const auto named = [&](const std::string& name) {
    const auto found = std::find_if(options_.routes.begin(), options_.routes.end(),
                                    [&](const DeliveryRoute& route) { return route.target == name; });
    return found == options_.routes.end() ? nullptr : &*found;
  };
  const DeliveryRoute* const route = named(target);
  return route != nullptr ? route : named(DeliveryRoute::kRest);
}

/// Starts the courier for a target, if it has a route and none yet. @return whether there is one
bool Delivery::EnsureCourier(const std::string& target) {
  if (couriers_.contains(target)) return true;
  const DeliveryRoute* const route = RouteFor(target);
  if (route == nullptr) return false;
  couriers_.emplace(target, std::make_unique<Courier>(host_, log_, metrics_, target, *route));
  return true;
}

void Delivery::Run() {
  const bool starts_couriers = RouteFor(DeliveryRoute::kRest) != nullptr;
  std::unique_ptr<qv::OutboxBell> bell;
  while (!stop_.is_set()) {
    try {
      Look();
      outbox_outage_.Succeeded();
    } catch (const qv::Refusal& refusal) {
      outbox_outage_.Failed(std::string("the outbox cannot be read: ") + refusal.what());
    }
    try {
      if (starts_couriers && !bell) bell = std::make_unique<qv::OutboxBell>(host_);
      Wait(bell.get());
      bell_outage_.Succeeded();
    } catch (const qv::Refusal& refusal) {
      bell_outage_.Failed(std::string("messages for targets that had none may wait for a second: ") + refusal.what());
      bell.reset();
      Wait(nullptr);
    }
  }
}

/// Starts couriers for targets that had no messages before, and tells of messages that nobody takes.
void Delivery::Look() {
  for (const std::string& target : outbox_.Targets(true)) EnsureCourier(target);  // which has them tried again
  for (const qv::Message& oldest : outbox_.Oldest()) {
    if (!EnsureCourier(oldest.target)) LookAtUntaken(oldest);
  }
}

void Delivery::Wait(qv::OutboxBell* bell) const {
  pollfd events[] = {stop_.Awaits(), {bell == nullptr ? -1 : bell->descriptor(), POLLIN, 0}};
  poll(events, 2, static_cast<int>(kLook.count()));
  if (bell == nullptr || events[1].revents == 0) return;
  bell->Clear();
  stop_.WaitFor(kAfterALook);
}

void Delivery::LookAtUntaken(const qv::Message& oldest) {
  std::size_t& discarded = discarded_[oldest.target];
  for (int i = 0; i < kDiscardsInALook; ++i) {
    const std::size_t count = outbox_.Discard(oldest.target, options_.keep_for, options_.keep_number);
    discarded += count;
    if (count == 0) break;
  }
  const bool waits_long = std::chrono::system_clock::now() - oldest.created >= kUntaken;
  if (discarded == 0 && !waits_long) return;
  const auto told = told_.find(oldest.target);
  if (told != told_.end() && Clock::now() - told->second < kBetweenWarnings) return;
  if (discarded == 0 && !outbox_.TryClaim(oldest.target)) return;  // another process takes them
  told_[oldest.target] = Clock::now();
  log_.Write(Level::Warning, "nobody takes the messages for " + oldest.target + " (--deliver, qvcms messages)" +
                                 (discarded > 0 ? "; deleted: the oldest " + std::to_string(discarded) : ""));
  discarded = 0;
}

}  // namespace qvcmsd
