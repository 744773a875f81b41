#include "deliver/courier.h"

#include <algorithm>

namespace qvcmsd {
namespace {

using std::chrono::milliseconds;

/// Messages that are read at a time. Others are read when half as many are left in the outbox of those that were sent.
constexpr std::size_t kBatch = 2000;
constexpr std::size_t kBatchBytes = 16'000'000;  ///< of their payloads, but one message at least
constexpr milliseconds kLook{1000};              ///< between looks without a bell
constexpr milliseconds kSettleAfter{50};         ///< the first receipt, so that one commit serves many
constexpr std::size_t kMany = 100;               ///< receipts, worth a commit if no more are to come
constexpr milliseconds kStopTime{2000};
constexpr milliseconds kStopLook{10};
constexpr std::chrono::seconds kPatience{30};  ///< with a receiver that does not answer
constexpr int kTries = 3;                      ///< of a message that its receiver refuses
constexpr milliseconds kRetryAfter{10'000};

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
      receiver_outage_(log, "messages for " + target_ + " are delivered again"),
      outbox_outage_(log, "the messages for " + target_ + " in the outbox can be used again"),
      thread_([this] { Run(); }) {}

void Courier::Stop() { stop_.Set(); }

Courier::~Courier() {
  Stop();
  thread_.join();
}

void Courier::Run() {
  std::unique_ptr<qv::OutboxClaim> claim;
  while (!stop_.is_set()) {
    milliseconds pause{0};
    try {
      if (claim && !claim->Holds()) claim.reset();
      if (!claim) claim = outbox_.TryClaim(target_);
      if (claim) {
        Deliver(*claim);
      } else {
        pause = kLook;
      }
    } catch (const Away& away) {
      ReceiverFailed(away.what());
      pause = receiver_outage_.pause();
    } catch (const qv::Refusal& refusal) {
      OutboxFailed(refusal.what());
      pause = outbox_outage_.pause();
    }
    Settle();
    sent_.clear();  // what has no receipt is sent again
    for (const Receipt& receipt : receipts_) sent_.insert(receipt.id);
    stop_.WaitFor(pause);
  }
}

void Courier::Deliver(qv::OutboxClaim& claim) {
  const std::unique_ptr<Receiver> receiver = Connect(route_);
  try {
    Exchange(claim, *receiver);
  } catch (const Away&) {
    TakeReceipts(*receiver);
    if (const auto message = FirstOnItsWay()) suspicion_.Lost(*message);
    throw;
  }
}

void Courier::Exchange(qv::OutboxClaim& claim, Receiver& receiver) {
  std::unique_ptr<qv::OutboxBell> bell = MakeBell();
  std::optional<Clock::time_point> stop_at;
  Clock::time_point look_at = Clock::now() + kLook;
  bool may_be_more = true;
  read_to_ = 0;
  read_again_at_ = kBatch / 2;
  for (;;) {
    const auto now = Clock::now();
    if (!stop_at && stop_.is_set()) stop_at = now + kStopTime;
    if (stop_at && (CountOnTheirWay() == 0 || now >= *stop_at)) return;
    if (now >= look_at) {
      if (!claim.Holds()) return;
      LookAtReceiver();
      if (!bell) bell = MakeBell();
      look_at = now + kLook;
      may_be_more = true;
      read_to_ = 0;
    }
    if (now >= retry_at_) Retry();
    if (may_be_more && !stop_at && sent_.size() <= read_again_at_) may_be_more = SendNext(receiver);
    if (Wait(receiver, bell, stop_at ? kStopLook : kLook)) {
      may_be_more = true;
      read_to_ = 0;  // those of another slave with smaller ids may have appeared
    }
    receiver.Work();
    TakeReceipts(receiver);
    if (Clock::now() >= settle_at_) Settle();
  }
}

/// Sends the first messages that were not sent yet. @return whether there may be more
bool Courier::SendNext(Receiver& receiver) {
  qv::MessageQuery query{
      .target = target_, .limit = suspicion_.SendsOne() ? 1 : kBatch, .max_payload_bytes = kBatchBytes};
  query.after = suspicion_.SendsOne() ? suspicion_.passed_over() : read_to_;
  std::vector<qv::Message> messages = outbox_.Read(query);
  if (messages.empty() && suspicion_.passed_over() != 0) {
    query.after = 0;
    messages = outbox_.Read(query);
  }
  if (CountOnTheirWay() == 0) answered_at_ = Clock::now();
  std::size_t bytes = 0;
  for (const qv::Message& message : messages) {
    bytes += message.payload.size();
    read_to_ = message.id;
    if (sent_.insert(message.id).second) receiver.Send(message);
  }
  const bool may_be_more = messages.size() == query.limit || bytes >= kBatchBytes;
  read_again_at_ = (may_be_more ? messages.size() : kBatch) / 2;
  return may_be_more;
}

void Courier::TakeReceipts(Receiver& receiver) {
  std::vector<Receipt> receipts = receiver.TakeReceipts();
  if (receipts.empty()) return;
  answered_at_ = Clock::now();
  receiver_outage_.Succeeded();
  if (receipts_.empty()) settle_at_ = answered_at_ + kSettleAfter;
  for (Receipt& receipt : receipts) {
    if (suspicion_.Taken(receipt.id) && sent_.insert(suspicion_.suspect()).second) {
      receipts_.push_back({.id = suspicion_.suspect(), .refusal = "the connection is lost whenever it is sent"});
    }
    receipts_.push_back(std::move(receipt));
  }
  const std::size_t enough = CountOnTheirWay() == 0 ? kMany : kBatch / 2;
  if (receipts_.size() >= enough && outbox_outage_.pause().count() == 0) settle_at_ = answered_at_;
}

/// Takes messages that have a receipt out of the way. When the outbox cannot be written, they are kept in mind, and not
/// sent again.
void Courier::Settle() {
  const bool has_just_failed = outbox_outage_.pause().count() > 0 && Clock::now() < settle_at_;
  if (receipts_.empty() || has_just_failed) return;
  try {
    std::vector<std::int64_t> delivered;
    for (const Receipt& receipt : receipts_) {
      if (receipt.refusal.empty()) {
        delivered.push_back(receipt.id);
      } else if (outbox_.SetAside(receipt.id, receipt.refusal)) {
        metrics_.Refused(target_);
        log_.Write(Level::Warning,
                   "message " + std::to_string(receipt.id) + " for " + target_ + " is set aside: " + receipt.refusal);
      }
    }
    outbox_.Delete(delivered);
    metrics_.Delivered(target_, delivered.size());
  } catch (const qv::Refusal& refusal) {
    OutboxFailed(refusal.what());
    settle_at_ = Clock::now() + outbox_outage_.pause();
    return;
  }
  outbox_outage_.Succeeded();
  for (const Receipt& receipt : receipts_) sent_.erase(receipt.id);
  receipts_.clear();
}

void Courier::Retry() {
  retry_at_ = Clock::now() + kRetryAfter;
  try {
    outbox_.Retry({.target = target_}, kTries);
  } catch (const qv::Refusal& refusal) {
    OutboxFailed(refusal.what());
  }
}

/// Once a second, while the connection lasts.
void Courier::LookAtReceiver() {
  if (receipts_.empty()) outbox_outage_.Succeeded();
  if (CountOnTheirWay() == 0) {
    receiver_outage_.Succeeded();
  } else if (Clock::now() - answered_at_ >= kPatience) {
    ReceiverFailed("it has not answered for " + std::to_string(kPatience.count()) + " s");
  }
}

std::optional<std::int64_t> Courier::FirstOnItsWay() const {
  const auto first = std::find_if(sent_.begin(), sent_.end(), [this](std::int64_t id) {
    return std::none_of(receipts_.begin(), receipts_.end(), [id](const Receipt& receipt) { return receipt.id == id; });
  });
  return first == sent_.end() ? std::nullopt : std::optional(*first);
}

/// @return null if there can be none now; then the looks find new messages
std::unique_ptr<qv::OutboxBell> Courier::MakeBell() {
  try {
    return std::make_unique<qv::OutboxBell>(host_);
  } catch (const qv::Refusal& refusal) {
    OutboxFailed(refusal.what());
    return nullptr;
  }
}

/// Waits for receipts, messages, or what is due. @return whether messages may have come
bool Courier::Wait(const Receiver& receiver, std::unique_ptr<qv::OutboxBell>& bell, milliseconds limit) const {
  if (!receipts_.empty()) {
    limit = std::clamp(std::chrono::ceil<milliseconds>(settle_at_ - Clock::now()), milliseconds(0), limit);
  }
  pollfd events[] = {receiver.Awaits(), {bell ? bell->descriptor() : -1, POLLIN, 0}, stop_.Awaits()};
  const nfds_t count = stop_.is_set() ? 2 : 3;
  if (poll(events, count, static_cast<int>(limit.count())) <= 0 || events[1].revents == 0) return false;
  try {
    bell->Clear();
  } catch (const qv::Refusal&) {
    bell.reset();
  }
  return true;
}

void Courier::ReceiverFailed(const std::string& reason) {
  const std::string line = "messages for " + target_ + " cannot be delivered to " + route_.Name() + ": " + reason;
  if (receiver_outage_.Failed(line)) metrics_.DeliveryFailed(target_);
}

void Courier::OutboxFailed(const std::string& reason) {
  outbox_outage_.Failed("the messages for " + target_ + " in the outbox cannot be used: " + reason);
}

}  // namespace qvcmsd
