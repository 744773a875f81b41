/// Publishes the state of the fleet for tools that know MQTT: retained topics of the Homie convention
/// (docs/delivery.md).
#pragma once

#include <qv/outbox.h>

#include <chrono>
#include <functional>
#include <map>
#include <set>
#include <thread>
#include <vector>

#include "deliver/homie.h"
#include "deliver/mqttclient.h"
#include "deliver/outage.h"
#include "deliver/stopsignal.h"
#include "silence.h"

namespace qvcmsd {

/// Where the state comes from. Called on the publisher's thread.
struct FleetSource {
  std::function<std::vector<Silence::Contact>()> contacts;  ///< of all slaves; takes little time
  std::function<std::uint64_t()> changes;                   ///< another number when a device may have changed
  std::function<std::map<int, qv::ServerCounts>()> count;   ///< devices; takes time
};

/// Works on a thread of its own until it is destroyed. After each connection everything is published, and from then on
/// what changes. One process of a host does this at a time.
class StatePublisher {
 public:
  StatePublisher(qv::Host& host, Log& log, const DeliveryRoute& route, FleetSource source);
  /// Tells the broker that the host leaves, if that takes little time.
  ~StatePublisher();
  StatePublisher(const StatePublisher&) = delete;
  StatePublisher& operator=(const StatePublisher&) = delete;

 private:
  using Clock = std::chrono::steady_clock;
  /// What the broker has of a slave.
  struct Published {
    std::string state;
    std::string last_report;
    Clock::time_point report_due;  ///< the time of a further report
    std::vector<std::int64_t> counts;
  };

  void Run();
  void Publish(qv::OutboxClaim& claim);
  std::set<int> ReadSlaves();
  void Look();
  void Count(bool at_once);
  void PublishMembers(std::set<int> members);
  void PublishSlave(const Silence::Contact& contact);
  void PublishCounts(int zr, std::vector<std::int64_t>& published);
  void Clear(int zr);
  void Leave();
  void Send(const std::string& topic, const std::string& payload);
  void Work(std::chrono::milliseconds limit);

  const DeliveryRoute route_;
  const HomieTopics topics_;
  const FleetSource source_;
  qv::Outbox outbox_;
  Outage outage_;

  std::unique_ptr<MqttClient> client_;
  std::size_t unanswered_ = 0;     ///< messages
  Clock::time_point answered_at_;  ///< last; or sent, if none was unanswered before
  std::set<int> members_;          ///< slaves in the host's description
  std::map<int, Published> published_;
  std::vector<Silence::Contact> contacts_;
  std::size_t next_contact_ = 0;  ///< to be looked at
  bool is_ready_ = false;         ///< everything is published
  std::map<int, qv::ServerCounts> counts_;
  bool is_counted_anew_ = false;  ///< since the last look
  std::uint64_t counted_changes_ = 0;
  Clock::time_point counted_at_;
  Clock::time_point may_count_at_;  ///< again

  StopSignal stop_;
  std::thread thread_;
};

}  // namespace qvcmsd
