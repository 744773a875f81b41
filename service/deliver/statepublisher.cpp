#include "deliver/statepublisher.h"

#include <algorithm>

#include "timestamp.h"

namespace qvcmsd {
namespace {

using std::chrono::milliseconds;

constexpr std::size_t kUnanswered = 1000;  ///< messages on their way at most
constexpr milliseconds kLook{1000};
constexpr std::chrono::seconds kBetweenCounts{5};
constexpr std::chrono::seconds kBetweenRecounts{60};  ///< what other processes change is found then
constexpr int kShareOfCounting = 20;                  ///< it takes no more than this part of the time
constexpr std::chrono::seconds kBetweenReports{60};   ///< times of a slave's last report
constexpr milliseconds kAnswerTime{10'000};
constexpr milliseconds kLeaveTime{2000};

constexpr const char* kState = "$state";
constexpr const char* kDescription = "$description";
constexpr const char* kLastReport = "report/last";
constexpr const char* kClaim = "$state";  ///< no target is called so

const qv::ServerCounts kNothing;

std::string StateOf(const Silence::Contact& contact) {
  if (contact.is_silent) return "lost";
  return contact.last_heard ? "ready" : "init";
}

}  // namespace

StatePublisher::StatePublisher(qv::Host& host, Log& log, const DeliveryRoute& route, FleetSource source)
    : route_(route),
      topics_(route.topics),
      source_(std::move(source)),
      outbox_(host),
      outage_(log, "the states of the slaves are delivered again"),
      thread_([this] { Run(); }) {}

StatePublisher::~StatePublisher() {
  stop_.Set();
  thread_.join();
}

void StatePublisher::Run() {
  while (!stop_.is_set()) {
    milliseconds pause = kLook;
    try {
      if (const auto claim = outbox_.TryClaim(kClaim)) Publish(*claim);
    } catch (const Away& away) {
      outage_.Failed("the states of the slaves cannot be delivered to " + route_.Name() + ": " + away.what());
      pause = outage_.pause();
    } catch (const qv::Refusal& refusal) {
      outage_.Failed(std::string("the states of the slaves cannot be read: ") + refusal.what());
      pause = outage_.pause();
    }
    client_.reset();  // unless it was left in order, the broker now tells that the host is gone
    stop_.WaitFor(pause);
  }
}

void StatePublisher::Publish(qv::OutboxClaim& claim) {
  unanswered_ = 0;
  is_ready_ = false;
  published_.clear();
  client_ = std::make_unique<MqttClient>(
      route_, MqttClient::Options{.id = "homie-" + topics_.device(), .will = {topics_.OfHost(kState), "lost"}});
  members_ = ReadSlaves();
  contacts_.clear();
  next_contact_ = 0;
  for (Clock::time_point look_at; !stop_.is_set();) {
    if (next_contact_ == contacts_.size() && Clock::now() >= look_at) {
      if (!claim.Holds()) return;
      if (is_ready_ && unanswered_ == 0) outage_.Succeeded();
      Look();
      look_at = Clock::now() + kLook;
    }
    while (next_contact_ < contacts_.size() && unanswered_ < kUnanswered) PublishSlave(contacts_[next_contact_++]);
    const bool is_done = next_contact_ == contacts_.size();
    if (is_done && !is_ready_) {
      Send(topics_.OfHost(kState), "ready");
      is_ready_ = true;
    }
    const auto rest = std::chrono::ceil<milliseconds>(look_at - Clock::now());
    Work(is_done ? std::clamp(rest, milliseconds(0), kLook) : kLook);
    if (unanswered_ > 0 && Clock::now() - answered_at_ > kAnswerTime) throw Away("it does not answer");
  }
  Leave();
}

/// The slaves that were published before, by whichever process. What the host sends comes back behind what the broker
/// had of it, so then all of that is there.
std::set<int> StatePublisher::ReadSlaves() {
  std::set<int> slaves;
  client_->Subscribe(topics_.OfHost(kDescription));
  client_->Subscribe(topics_.OfHost(kState));
  Send(topics_.OfHost(kState), "init");
  const auto deadline = Clock::now() + kAnswerTime;
  for (bool came_back = false; !came_back && !stop_.is_set();) {
    if (Clock::now() > deadline) throw Away("it does not send this user " + topics_.OfHost(kState));
    Work(kLook);
    for (const MqttClient::Received& received : client_->TakeReceived()) {
      if (received.topic == topics_.OfHost(kDescription)) slaves = topics_.SlavesIn(received.payload);
      if (received.topic == topics_.OfHost(kState) && received.payload == "init" && !received.was_retained)
        came_back = true;
    }
  }
  client_->Unsubscribe(topics_.OfHost(kDescription));
  client_->Unsubscribe(topics_.OfHost(kState));
  return slaves;
}

void StatePublisher::Look() {
  contacts_ = source_.contacts();
  next_contact_ = 0;
  std::set<int> members;
  for (const Silence::Contact& contact : contacts_) members.insert(contact.zr);
  const bool has_new = !std::includes(members_.begin(), members_.end(), members.begin(), members.end());
  Count(has_new || !is_ready_);
  PublishMembers(std::move(members));
}

/// Counts devices, if they may have changed and it is time.
void StatePublisher::Count(bool at_once) {
  is_counted_anew_ = false;
  const auto now = Clock::now();
  const std::uint64_t changes = source_.changes();
  const bool is_due = at_once || now >= counted_at_ + kBetweenRecounts ||
                      (changes != counted_changes_ && now >= counted_at_ + kBetweenCounts);
  if (!is_due || now < may_count_at_) return;
  counts_ = source_.count();
  is_counted_anew_ = true;
  counted_changes_ = changes;
  counted_at_ = now;
  may_count_at_ = now + kShareOfCounting * (Clock::now() - now);
}

/// A slave stays in the host's description until its topics are cleared, and is there before it has some: whenever this
/// process ends, the next one knows what there may be.
void StatePublisher::PublishMembers(std::set<int> members) {
  for (const int zr : members_) {
    if (!members.contains(zr)) Clear(zr);
  }
  if (members == members_ && is_ready_) return;
  members_ = std::move(members);
  Send(topics_.OfHost(kState), "init");
  Send(topics_.OfHost(kDescription), topics_.DescribeHost(members_));
  is_ready_ = false;
}

void StatePublisher::PublishSlave(const Silence::Contact& contact) {
  const int zr = contact.zr;
  const auto now = Clock::now();
  const auto [slave, is_new] = published_.try_emplace(zr);
  Published& published = slave->second;
  if (is_new) {
    Send(topics_.OfSlave(zr, kState), "init");
    Send(topics_.OfSlave(zr, kDescription), topics_.DescribeSlave(zr));
    published.report_due = now + std::chrono::seconds(zr % kBetweenReports.count());  // not all at once
  }
  if (is_new || is_counted_anew_) PublishCounts(zr, published.counts);
  const std::string state = StateOf(contact);
  const bool is_other_state = state != published.state;
  if (contact.last_heard && (is_other_state || now >= published.report_due)) {
    const std::string last_report = qv::Timestamp(*contact.last_heard);
    if (last_report != published.last_report) Send(topics_.OfSlave(zr, kLastReport), last_report);
    published.last_report = last_report;
    if (now >= published.report_due) published.report_due = now + kBetweenReports;
  }
  if (is_other_state) Send(topics_.OfSlave(zr, kState), state);
  published.state = state;
}

void StatePublisher::PublishCounts(int zr, std::vector<std::int64_t>& published) {
  const auto found = counts_.find(zr);
  std::vector<std::int64_t> counts = HomieTopics::CountsOf(found == counts_.end() ? kNothing : found->second);
  const std::vector<std::string>& topics = HomieTopics::CountTopics();
  for (std::size_t i = 0; i < topics.size(); ++i) {
    if (published.empty() || published[i] != counts[i]) Send(topics_.OfSlave(zr, topics[i]), std::to_string(counts[i]));
  }
  published = std::move(counts);
}

/// The state goes first: without it there is no device.
void StatePublisher::Clear(int zr) {
  Send(topics_.OfSlave(zr, kState), "");
  Send(topics_.OfSlave(zr, kDescription), "");
  Send(topics_.OfSlave(zr, kLastReport), "");
  for (const std::string& topic : HomieTopics::CountTopics()) Send(topics_.OfSlave(zr, topic), "");
  published_.erase(zr);
}

void StatePublisher::Leave() {
  for (const auto& [zr, published] : published_) Send(topics_.OfSlave(zr, kState), "disconnected");
  Send(topics_.OfHost(kState), "disconnected");
  const auto deadline = Clock::now() + kLeaveTime;
  while (unanswered_ > 0 && Clock::now() < deadline) Work(milliseconds(10));
  client_->End();
}

void StatePublisher::Send(const std::string& topic, const std::string& payload) {
  const MqttClient::Sent sent = client_->Publish(topic, payload, true);
  if (!sent.refusal.empty()) throw Away("it takes no " + topic + ": " + sent.refusal);
  if (unanswered_++ == 0) answered_at_ = Clock::now();
}

/// Waits for the broker, for `limit` at most.
void StatePublisher::Work(milliseconds limit) {
  pollfd events[] = {client_->Awaits(), stop_.Awaits()};
  poll(events, stop_.is_set() ? 1 : 2, static_cast<int>(limit.count()));
  client_->Work();
  for (const MqttClient::Taken& taken : client_->TakeAnswers()) {
    if (!taken.refusal.empty()) throw Away("it takes no state: " + taken.refusal);
    --unanswered_;
    answered_at_ = Clock::now();
  }
}

}  // namespace qvcmsd
