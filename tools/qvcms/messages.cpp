/// messages: shows what waits in the outbox, and takes it out for scripts.

#include <poll.h>
#include <qv/outbox.h>

#include <set>
#include <thread>

#include "commands.h"
#include "exitcodes.h"
#include "openhost.h"
#include "output.h"

namespace qvcms {
namespace {

constexpr std::size_t kBatch = 100;

std::string LinesOf(const std::vector<qv::Message>& messages) {
  std::string lines;
  for (const qv::Message& message : messages) lines += ToJson(message) + '\n';
  return lines;
}

/// Waits until messages may have come, for a second at most.
void Wait(qv::OutboxBell& bell) {
  pollfd ring = {.fd = bell.descriptor(), .events = POLLIN, .revents = 0};
  if (poll(&ring, 1, 1000) > 0) bell.Clear();
}

std::unique_ptr<qv::OutboxClaim> Claim(qv::Outbox& outbox, const std::string& target) {
  // A service that deletes messages that nobody takes has the claim now and then for a moment.
  constexpr int kTries = 20;
  constexpr std::chrono::milliseconds kPause(50);
  for (int tried = 0; tried < kTries; ++tried) {
    if (auto claim = outbox.TryClaim(target)) return claim;
    std::this_thread::sleep_for(kPause);
  }
  throw Failure("another process delivers the messages for " + target);
}

/// Prints and deletes batch by batch, while `claim` holds if it is not null. @return whether somebody reads it
bool Take(qv::Outbox& outbox, const qv::MessageQuery& query, qv::OutboxClaim* claim) {
  for (;;) {
    if (claim != nullptr && !claim->Holds()) {
      throw Failure("another process delivers the messages for " + query.target + " by now");
    }
    const std::vector<qv::Message> batch = outbox.Read(query);
    if (batch.empty()) return true;
    if (!Print(LinesOf(batch))) return false;
    std::vector<std::int64_t> ids;
    ids.reserve(batch.size());
    for (const qv::Message& message : batch) ids.push_back(message.id);
    outbox.Delete(ids);
  }
}

/// What was printed already, as far as it may be read again.
class Printed {
 public:
  /// Leaves what is new.
  void Filter(std::vector<qv::Message>& messages) {
    std::erase_if(messages, [this](const qv::Message& message) { return !ids_.insert(message.id).second; });
    while (ids_.size() > kOverlap) ids_.erase(ids_.begin());
  }
  /// Where to read on. With a server of databases, messages with smaller ids than the last one's may still appear.
  std::int64_t from(bool is_in_order) const {
    if (is_in_order && !ids_.empty()) return *ids_.rbegin();
    return ids_.size() < kOverlap ? 0 : *ids_.begin() - 1;
  }

 private:
  static constexpr std::size_t kOverlap = 10'000;
  std::set<std::int64_t> ids_;
};

/// Prints what is new. @return whether somebody reads it
bool Show(const qv::Outbox& outbox, qv::MessageQuery query, Printed& printed, bool is_in_order) {
  query.after = printed.from(is_in_order);
  for (;;) {
    std::vector<qv::Message> page = outbox.Read(query);
    if (page.empty()) return true;
    query.after = page.back().id;
    printed.Filter(page);
    if (!Print(LinesOf(page))) return false;
  }
}

}  // namespace

int Run(const GlobalOptions& global, const MessagesOptions& options) {
  OpenHost host(HostToRead(global));
  qv::Outbox outbox(host);
  const qv::MessageQuery query{
      .target = options.target, .zr = options.zr, .set_aside = options.set_aside, .limit = kBatch};
  if (options.retry) {
    outbox.Retry(query);
    return kDone;
  }
  std::unique_ptr<qv::OutboxClaim> claim;
  if (options.ack && !options.set_aside) claim = Claim(outbox, options.target);
  std::optional<qv::OutboxBell> bell;
  if (options.follow) bell.emplace(host);
  for (Printed printed;;) {
    const bool is_read = options.ack ? Take(outbox, query, claim.get())
                                     : Show(outbox, query, printed, global.database.empty() && !options.set_aside);
    if (!is_read || !bell) return kDone;
    Wait(*bell);
  }
}

void TellOfUndelivered(qv::Host& host) {
  constexpr std::chrono::hours kLong(1);
  const auto now = std::chrono::system_clock::now();
  std::vector<qv::Message> all;
  try {
    all = qv::Outbox(host).Oldest();
  } catch (const qv::Refusal&) {
    return;  // the command is done, whatever this would have told
  }
  for (const qv::Message& oldest : all) {
    if (now - oldest.created < kLong) continue;
    Complain("note: messages for " + oldest.target + " have been waiting for " +
             std::to_string(std::chrono::duration_cast<std::chrono::hours>(now - oldest.created).count()) +
             " hours (qvcmsd --deliver and qvcms messages take them)");
  }
}

}  // namespace qvcms
