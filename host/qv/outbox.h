/// The outbox: messages to other services, each written in the transaction of the change that it is about. Somebody
/// takes them out: `qvcmsd --deliver`, `qvcms messages`, or a program of yours.
///
///     qv::Outbox outbox(host);
///     const auto claim = outbox.TryClaim("msgd");
///     qv::OutboxBell bell(host);  // before the first read, so that no message is missed
///     for (const qv::Message& message : outbox.Read({.target = "msgd"})) deliver(message);
///     outbox.Delete(ids_of_those_that_were_delivered);
///
/// Order: the messages about one server (`Message::zr`) have rising ids, and appear in that order. All others may
/// appear in any order, also those with zr 0 among themselves: with PostgreSQL the calls for two servers write beside
/// one another, and the one with the smaller ids may commit later. So never delete "up to" an id.
///
/// Repeats have the id and the time of the first delivery. A receiver that must not act twice remembers both of the
/// last 10,000 messages of its target; a smaller id than the last one's is no sign of a repeat.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host.h"

namespace qv {
namespace db {
class Bell;
}

/// A message to another service.
struct Message {
  std::int64_t id = 0;  ///< unique in the host, rising; a message that is tried again gets another one
  int zr = 0;           ///< the server that it is about; 0: several or none
  std::string target;   ///< "msgd", "qvactruled", "client", "hostd", "cms-host"
  std::string command;  ///< what the target must do
  std::string payload;  ///< JSON text
  std::chrono::system_clock::time_point created;  ///< when it was written, to the millisecond
  int attempts = 0;                               ///< how often it was set aside
  std::string set_aside;                          ///< why it is set aside; empty: it waits
};

/// The message as one JSON object on one line: id, zr, target, command, payload, time (when it was written). One that
/// was set aside has "attempts", and "set_aside" with the reason while it is.
QV_HOST_API std::string ToJson(const Message& message);

struct MessageQuery {
  std::string target = {};               ///< empty: every target
  std::optional<int> zr = std::nullopt;  ///< the server that the message is about
  bool set_aside = false;                ///< those that are set aside, in place of those that wait
  std::int64_t after = 0;                ///< only greater ids
  std::size_t limit = 100;
  std::size_t max_payload_bytes = SIZE_MAX;  ///< in all; the last message may exceed it
};

/// A claim on the messages of a target. Thread-safe, but for destruction.
class QV_HOST_API OutboxClaim {
 public:
  virtual ~OutboxClaim() = default;
  /// Whether the claim holds, still or again. One on PostgreSQL is lost with the connection of the thread that made it,
  /// and must be asked by that thread.
  virtual bool Holds() = 0;
};

/// All calls are thread-safe and throw `Refusal` (Busy, Unusable, Failed). The host must live longer.
class QV_HOST_API Outbox {
 public:
  explicit Outbox(Host& host);

  /// The first messages, in the order of their ids. The time that this takes does not depend on how many wait.
  std::vector<Message> Read(const MessageQuery& query) const;
  /// The targets for which messages wait, or those for which messages are set aside, sorted.
  std::vector<std::string> Targets(bool set_aside = false) const;
  /// The first message that waits for each target, in the order of the targets.
  std::vector<Message> Oldest() const;

  /// Deletes messages, after their delivery. A power cut may bring back up to 4,000 of those that this object has
  /// deleted. @return how many there were
  std::size_t Delete(std::span<const std::int64_t> ids);
  /// Takes a message that its receiver refuses out of the way of others. It stays until it is tried again or deleted.
  /// @return whether the message waited
  bool SetAside(std::int64_t id, const std::string& reason);
  /// Puts all messages that are set aside behind those that wait, with new ids. Takes the turn of each server that they
  /// are about, as the calls that change its data do.
  /// @param query         only `target` and `zr` have an effect
  /// @param max_attempts  only those that were set aside less often; 0: all
  /// @return how many
  std::size_t Retry(const MessageQuery& query, int max_attempts = 0);
  /// Deletes the oldest messages that wait for a target, at most 1,000 at a time, and none while another thread or
  /// process has the claim on the target. The caller must not have it.
  /// @param age     older ones are deleted; 0: none for its age
  /// @param number  of those that stay; 0: any number
  /// @return how many were deleted
  std::size_t Discard(const std::string& target, std::chrono::milliseconds age, std::size_t number);

  /// Claims the messages of a target, so that one process and thread at a time delivers them. The claim ends with its
  /// destruction or its process. @return null if somebody else has it
  std::unique_ptr<OutboxClaim> TryClaim(const std::string& target);

 private:
  Host& host_;
  std::atomic<std::size_t> at_risk_ = 0;  ///< messages that a power cut may bring back
};

/// Tells that messages may have come: from this process, another one that uses the same data folder, or, with
/// PostgreSQL, any. Belongs to one thread. It may ring for nothing, and should not be relied on alone: read every
/// second or so in any case.
class QV_HOST_API OutboxBell {
 public:
  /// Throws `Refusal` (Unusable).
  explicit OutboxBell(Host& host);
  ~OutboxBell();
  OutboxBell(const OutboxBell&) = delete;
  OutboxBell& operator=(const OutboxBell&) = delete;

  /// For the next poll(2): readable when the bell rings; -1, which poll passes over, while it cannot.
  int descriptor() const;
  /// To be called then, before reading messages. Throws `Refusal` (Unusable); make another one then.
  void Clear();

 private:
  std::unique_ptr<db::Bell> bell_;
};

}  // namespace qv
