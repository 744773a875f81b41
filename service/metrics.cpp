#include "metrics.h"

#include <prometheus/text_serializer.h>

#include <utility>

namespace qvcmsd {
namespace {

using prometheus::BuildCounter;
using prometheus::BuildGauge;
using prometheus::BuildHistogram;

auto& CounterFamily(prometheus::Registry& registry, const char* name, const char* help) {
  return BuildCounter().Name(name).Help(help).Register(registry);
}

auto& GaugeFamily(prometheus::Registry& registry, const char* name, const char* help) {
  return BuildGauge().Name(name).Help(help).Register(registry);
}

prometheus::Histogram::BucketBoundaries Seconds() {
  return {0.001, 0.0025, 0.005, 0.01, 0.025, 0.05, 0.1, 0.25, 0.5, 1, 2.5, 5, 10};
}

void Add(prometheus::Family<prometheus::Counter>& family, const prometheus::Labels& labels, int count) {
  if (count > 0) family.Add(labels).Increment(count);
}

}  // namespace

Metrics::Metrics()
    : documents_(CounterFamily(registry_, "qvcms_documents_total", "Documents by kind and what became of them.")),
      document_seconds_(BuildHistogram()
                            .Name("qvcms_document_seconds")
                            .Help("Time from the receipt of a document to its answer.")
                            .Register(registry_)),
      requests_(CounterFamily(registry_, "qvcms_http_requests_total", "Requests by route and status.")),
      changes_(CounterFamily(registry_, "qvcms_changes_total", "Rows added, updated and removed, by kind.")),
      delivered_(CounterFamily(registry_, "qvcms_messages_delivered_total", "Messages that their target has taken.")),
      refused_(CounterFamily(registry_, "qvcms_messages_refused_total", "Messages that their target has refused.")),
      outages_(CounterFamily(registry_, "qvcms_delivery_outages_total", "How often a target could not be reached.")),
      failed_operations_(CounterFamily(registry_, "qvcms_failed_operations_total",
                                       "Operations that failed while the rest of their document was applied.")
                             .Add({})),
      failed_files_(
          CounterFamily(registry_, "qvcms_failed_files_total", "Files that could not be written after a commit.")
              .Add({})),
      queue_(GaugeFamily(registry_, "qvcms_queue_documents", "Documents that wait or are under way.")),
      queue_bytes_(GaugeFamily(registry_, "qvcms_queue_bytes", "Size of the documents that wait.").Add({})),
      slaves_(GaugeFamily(registry_, "qvcms_slaves", "Slaves by whether they are silent.")),
      reported_within_(GaugeFamily(registry_, "qvcms_slaves_reported_within",
                                   "Slaves whose last report is at most so many seconds old.")),
      devices_(GaugeFamily(registry_, "qvcms_devices", "Devices by kind and reported state; 1 is well.")),
      messages_(GaugeFamily(registry_, "qvcms_messages_waiting", "Messages in the outbox by target.")),
      message_age_(
          GaugeFamily(registry_, "qvcms_oldest_message_seconds", "Age of the oldest message that waits for a target.")),
      set_aside_(GaugeFamily(registry_, "qvcms_messages_set_aside", "Messages that their target has refused.")),
      database_bytes_(GaugeFamily(registry_, "qvcms_database_bytes", "Size of the database.").Add({})),
      watchers_(GaugeFamily(registry_, "qvcms_event_watchers", "Open event streams.").Add({})),
      connections_(GaugeFamily(registry_, "qvcms_connections", "Open connections.").Add({})) {
  GaugeFamily(registry_, "qvcms_build_info", "The version that runs.").Add({{"version", QVCMS_VERSION}}).Set(1);
}

void Metrics::Document(std::string_view kind, std::string_view result, std::chrono::nanoseconds took) {
  documents_.Add({{"kind", std::string(kind)}, {"result", std::string(result)}}).Increment();
  document_seconds_.Add({{"kind", std::string(kind)}}, Seconds()).Observe(std::chrono::duration<double>(took).count());
}

void Metrics::Request(std::string_view method, std::string_view route, int status) {
  requests_
      .Add({{"method", route.empty() ? "" : std::string(method)},
            {"route", std::string(route)},
            {"status", std::to_string(status)}})
      .Increment();
}

void Metrics::Delivered(const std::string& target, std::size_t count) {
  delivered_.Add({{"target", target}}).Increment(static_cast<double>(count));
}

void Metrics::Refused(const std::string& target) { refused_.Add({{"target", target}}).Increment(); }

void Metrics::DeliveryFailed(const std::string& target) { outages_.Add({{"target", target}}).Increment(); }

void Metrics::Changes(const qv::ChangeResult& result) {
  for (const qv::KindChanges& kind : result.changes) {
    Add(changes_, {{"kind", kind.kind}, {"change", "added"}}, kind.added);
    Add(changes_, {{"kind", kind.kind}, {"change", "updated"}}, kind.updated);
    Add(changes_, {{"kind", kind.kind}, {"change", "removed"}}, kind.removed);
  }
  failed_operations_.Increment(result.failed_operations);
  failed_files_.Increment(result.failed_files);
}

std::string Metrics::Text(const Now& now) {
  const std::lock_guard lock(mutex_);
  queue_.Add({{"stage", "waiting"}}).Set(static_cast<double>(now.depth.waiting));
  queue_.Add({{"stage", "under way"}}).Set(static_cast<double>(now.depth.under_way));
  queue_bytes_.Set(static_cast<double>(now.depth.bytes));
  slaves_.Add({{"state", "silent"}}).Set(static_cast<double>(now.ages.silent));
  slaves_.Add({{"state", "reporting"}}).Set(static_cast<double>(now.ages.all - now.ages.silent));
  for (const auto& [bound, count] : now.ages.up_to) {
    reported_within_.Add({{"seconds", std::to_string(bound.count())}}).Set(static_cast<double>(count));
  }
  // A state in which no device is any more must not keep its last number.
  for (prometheus::Gauge* const gauge : std::exchange(device_gauges_, {})) devices_.Remove(gauge);
  for (const qv::Statistics::Devices& devices : now.host.devices) {
    prometheus::Gauge& gauge = devices_.Add({{"kind", devices.kind}, {"status", std::to_string(devices.status)}});
    gauge.Set(static_cast<double>(devices.count));
    device_gauges_.push_back(&gauge);
  }
  const auto set = [&](const qv::Statistics::Waiting& target) {
    const auto age = target.count == 0 ? std::chrono::system_clock::duration::zero()
                                       : std::chrono::system_clock::now() - target.oldest;
    messages_.Add({{"target", target.target}}).Set(static_cast<double>(target.count));
    message_age_.Add({{"target", target.target}}).Set(std::chrono::duration<double>(age).count());
    set_aside_.Add({{"target", target.target}}).Set(static_cast<double>(target.set_aside));
  };
  for (const std::string& target : targets_) set({.target = target, .oldest = {}});
  for (const qv::Statistics::Waiting& target : now.host.messages) {
    set(target);
    targets_.insert(target.target);
  }
  database_bytes_.Set(static_cast<double>(now.host.database_bytes));
  watchers_.Set(static_cast<double>(now.watchers));
  connections_.Set(static_cast<double>(now.connections));
  return prometheus::TextSerializer().Serialize(registry_.Collect());
}

}  // namespace qvcmsd
