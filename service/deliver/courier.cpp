#include "deliver/courier.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <optional>

namespace qvcmsd {
namespace {

using std::chrono::milliseconds;

/// Messages that are on their way at most. More are read when half of them have gone.
constexpr std::size_t kWindow = 2000;
constexpr milliseconds kLook{1000};       ///< between looks without a bell
constexpr milliseconds kDeleteAfter{50};  ///< what was delivered, so that one commit serves many
constexpr milliseconds kStopTime{2000};
constexpr milliseconds kStopLook{10};
constexpr int kTries = 3;  ///< of a message that its receiver refuses
constexpr milliseconds kRetryAfter{10'000};
constexpr int kLosses = 4;  ///< of the connection, with the same message

std::unique_ptr<Receiver> Connect(const DeliveryRoute& route) {
  return route.scheme == DeliveryRoute::Scheme::Unix ? ConnectToSocket(route) : ConnectToBroker(route);
}

}  // namespace

Courier::Courier(qv::Host& host, Log& log, Metrics& metrics, std::string target, const DeliveryRoute& route)
    : host_(host),
      log_(log),
      metrics_(metrics),
      target_(std::move(target)),
      route_(route),
      outbox_(host),
      outage_(log, "messages for " + target_),
      stop_event_(eventfd(0, EFD_CLOEXEC)),
      thread_([this] { Run(); }) {}

void Courier::Stop() {
  stopping_ = true;
  eventfd_write(stop_event_, 1);
}

Courier::~Courier() {
  Stop();
  thread_.join();
  close(stop_event_);
}

void Courier::Run() {
  while (!stopping_) {
    try {
      const auto claim = outbox_.TryClaim(target_);
      if (!claim) {
        Rest(kLook);
        continue;
      }
      qv::OutboxBell bell(host_);
      try {
        Deliver(*claim, bell);
      } catch (const Away& away) {
        TellOutage(route_.Name() + ": " + away.what());
        Suspect(away.what());
      }
      DeleteDelivered();
    } catch (const qv::Refusal& refusal) {
      TellOutage(std::string("the outbox: ") + refusal.what());
    }
    delivered_.clear();
    sent_.clear();
    if (outage_.pause().count() > 0) Rest(outage_.pause());
  }
}

void Courier::Deliver(qv::OutboxClaim& claim, qv::OutboxBell& bell) {
  const std::unique_ptr<Receiver> receiver = Connect(route_);
  std::optional<Clock::time_point> stop_at;
  Clock::time_point look_at;
  bool may_be_more = true;
  for (;;) {
    const auto now = Clock::now();
    if (stopping_ && !stop_at) stop_at = now + kStopTime;
    if (stop_at && (sent_.size() == delivered_.size() || now >= *stop_at)) return;
    if (now >= look_at) {
      if (!claim.Holds()) return;
      look_at = now + kLook;
      may_be_more = true;
    }
    if (now >= retry_at_) {
      outbox_.Retry({.target = target_}, kTries);
      retry_at_ = now + kRetryAfter;
    }
    if (may_be_more && !stop_at && sent_.size() <= kWindow / 2) {
      may_be_more = SendNext(*receiver);
      if (sent_.empty()) outage_.End();
    }
    if (Wait(*receiver, bell, stop_at ? kStopLook : kLook)) may_be_more = true;
    receiver->Work();
    TakeReceipts(*receiver);
    if (!delivered_.empty() && (delivered_.size() >= kWindow / 2 || Clock::now() >= delete_at_)) DeleteDelivered();
  }
}

/// Sends the first messages that were not sent yet. Always from the beginning: those of another slave with smaller ids
/// may have appeared. @return whether there may be more
bool Courier::SendNext(Receiver& receiver) {
  const std::size_t limit = losses_ > 0 ? 1 : kWindow;
  const std::vector<qv::Message> messages = outbox_.Read({.target = target_, .limit = limit});
  for (const qv::Message& message : messages) {
    if (sent_.insert(message.id).second) receiver.Send(message);
  }
  return messages.size() == limit;
}

/// The connection is lost. A message that costs it again and again, though nothing else was sent, is set aside.
void Courier::Suspect(const std::string& reason) {
  const auto first = std::find_if(sent_.begin(), sent_.end(), [this](std::int64_t id) {
    return std::find(delivered_.begin(), delivered_.end(), id) == delivered_.end();
  });
  if (first == sent_.end()) return;
  losses_ = *first == suspect_ ? losses_ + 1 : 1;
  suspect_ = *first;
  if (losses_ < kLosses) return;
  losses_ = 0;
  SetAside({.id = suspect_, .refusal = "the connection is lost with it: " + reason});
}

void Courier::SetAside(const Receipt& receipt) {
  outbox_.SetAside(receipt.id, receipt.refusal);
  sent_.erase(receipt.id);
  metrics_.Refused(target_);
  log_.Write(Level::Warning,
             "message " + std::to_string(receipt.id) + " for " + target_ + " is set aside: " + receipt.refusal);
}

void Courier::TakeReceipts(Receiver& receiver) {
  for (const Receipt& receipt : receiver.TakeReceipts()) {
    losses_ = 0;
    outage_.End();
    if (!receipt.refusal.empty()) {
      SetAside(receipt);
      continue;
    }
    if (delivered_.empty()) delete_at_ = Clock::now() + kDeleteAfter;
    delivered_.push_back(receipt.id);
  }
}

void Courier::DeleteDelivered() {
  if (delivered_.empty()) return;
  outbox_.Delete(delivered_);
  metrics_.Delivered(target_, delivered_.size());
  for (const std::int64_t id : delivered_) sent_.erase(id);
  delivered_.clear();
}

/// Waits for receipts, messages, or what is due. @return whether messages may have come
bool Courier::Wait(const Receiver& receiver, qv::OutboxBell& bell, milliseconds limit) const {
  if (!delivered_.empty()) {
    limit = std::clamp(std::chrono::ceil<milliseconds>(delete_at_ - Clock::now()), milliseconds(0), limit);
  }
  pollfd events[] = {receiver.Awaits(), {bell.descriptor(), POLLIN, 0}, {stop_event_, POLLIN, 0}};
  const nfds_t count = stopping_ ? 2 : 3;
  if (poll(events, count, static_cast<int>(limit.count())) <= 0 || events[1].revents == 0) return false;
  bell.Clear();
  return true;
}

void Courier::Rest(milliseconds time) const {
  pollfd stop = {.fd = stop_event_, .events = POLLIN, .revents = 0};
  poll(&stop, 1, static_cast<int>(time.count()));
}

void Courier::TellOutage(const std::string& reason) {
  if (outage_.Tell(reason)) metrics_.DeliveryFailed(target_);
}

}  // namespace qvcmsd
