/// What the service counts and measures, for Prometheus.
#pragma once

#include <prometheus/counter.h>
#include <prometheus/gauge.h>
#include <prometheus/histogram.h>
#include <prometheus/registry.h>
#include <qv/host.h>

#include <chrono>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "pipeline.h"
#include "silence.h"

namespace qvcmsd {

/// Thread-safe.
class Metrics {
 public:
  Metrics();

  /// A document was answered. @param result  "applied", or the code of the problem
  void Document(std::string_view kind, std::string_view result, std::chrono::nanoseconds took);
  /// A request was answered. @param route  its path in the table; empty: there is none
  void Request(std::string_view method, std::string_view route, int status);
  void Changes(const qv::ChangeResult& result);
  /// Messages for a target were taken by their receiver; one was refused; the receiver went away.
  void Delivered(const std::string& target, std::size_t count);
  void Refused(const std::string& target);
  void DeliveryFailed(const std::string& target);

  /// What is so right now.
  struct Now {
    Pipeline::Depth depth;
    Silence::Ages ages;
    qv::Statistics host;
    std::size_t watchers = 0;
    std::size_t connections = 0;
  };
  /// All of it as text.
  std::string Text(const Now& now);

 private:
  prometheus::Registry registry_;
  prometheus::Family<prometheus::Counter>& documents_;
  prometheus::Family<prometheus::Histogram>& document_seconds_;
  prometheus::Family<prometheus::Counter>& requests_;
  prometheus::Family<prometheus::Counter>& changes_;
  prometheus::Family<prometheus::Counter>& delivered_;
  prometheus::Family<prometheus::Counter>& refused_;
  prometheus::Family<prometheus::Counter>& outages_;
  prometheus::Counter& failed_operations_;
  prometheus::Counter& failed_files_;
  prometheus::Family<prometheus::Gauge>& queue_;
  prometheus::Gauge& queue_bytes_;
  prometheus::Family<prometheus::Gauge>& slaves_;
  prometheus::Family<prometheus::Gauge>& reported_within_;
  prometheus::Family<prometheus::Gauge>& devices_;
  prometheus::Family<prometheus::Gauge>& messages_;
  prometheus::Family<prometheus::Gauge>& message_age_;
  prometheus::Family<prometheus::Gauge>& set_aside_;
  prometheus::Gauge& database_bytes_;
  prometheus::Gauge& watchers_;
  prometheus::Gauge& connections_;

  std::mutex mutex_;
  std::vector<prometheus::Gauge*> device_gauges_;  ///< of the states that were counted last
  std::set<std::string> targets_;                  ///< for which messages have been seen
};

}  // namespace qvcmsd
