/// A fleet at work: many slaves report to one host at the same time.
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <thread>

#include "cases.h"
#include "comparison.h"
#include "documents.h"
#include "host.h"

namespace bench {
namespace {

constexpr int kSlaves = 5'000;
constexpr int kCamerasEach = 100;
constexpr int kChangedEvery = 20;  // 5 %
constexpr int kThreads = 2;

/// One report of each of a thread's slaves. @return how long each took, in milliseconds
std::vector<double> ReportAll(const Json::Value& report, int thread) {
  std::vector<double> latencies;
  for (int zr = 1 + thread; zr <= kSlaves; zr += kThreads) {
    const auto start = std::chrono::steady_clock::now();
    Host::ApplyReport(report, zr);
    latencies.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
  }
  return latencies;
}

/// All slaves report once, from all threads. @return the latencies of all, sorted, and the seconds that it took
std::pair<std::vector<double>, double> Pass(const Json::Value& report) {
  std::vector<double> all[kThreads];
  std::exception_ptr failures[kThreads];
  const auto start = std::chrono::steady_clock::now();
  {
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
      threads.emplace_back([&, thread] {
        try {
          all[thread] = ReportAll(report, thread);
        } catch (...) {
          failures[thread] = std::current_exception();
        }
      });
    }
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  std::vector<double> latencies;
  for (int thread = 0; thread < kThreads; ++thread) {
    if (failures[thread]) std::rethrow_exception(failures[thread]);
    latencies.insert(latencies.end(), all[thread].begin(), all[thread].end());
  }
  std::sort(latencies.begin(), latencies.end());
  return {std::move(latencies), seconds};
}

std::int64_t CountChanged() {
  qv::db::Query count = qv::db::ThisThread().Prepare("SELECT COUNT(*) FROM camera WHERE status=2");
  count.Next();
  return count.Row().Int(0);
}

std::string MeasureFleet() {
  Host host(0, qv::db::Durability::Power);
  {
    const Document snapshot = Snapshot(kCamerasEach, 0);
    const Document first_report = StatusReport(kCamerasEach, 0);
    for (int zr = 1; zr <= kSlaves; ++zr) {
      host.Apply(snapshot.value, zr);
      Host::ApplyReport(first_report.value, zr);  // writes the keys of the streams, which later ones find unchanged
    }
  }
  const Document report = StatusReport(kCamerasEach, 1, kChangedEvery);
  const auto [latencies, seconds] = Pass(report.value);
  const std::int64_t expected = std::int64_t{kSlaves} * (kCamerasEach / kChangedEvery);
  if (CountChanged() != expected) throw std::logic_error("the reports have not all arrived");

  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  char text[256];
  std::snprintf(text, sizeof text,
                "%.0f reports/s, latency p50 %.2f ms, p99 %.2f ms; database %.0f MB, peak memory of the process %ld MB",
                static_cast<double>(latencies.size()) / seconds, latencies[latencies.size() / 2],
                latencies[latencies.size() * 99 / 100], static_cast<double>(host.DatabaseSize()) / 1e6,
                usage.ru_maxrss / 1024);
  return text;
}

}  // namespace

void RegisterFleet() { Report("fleet: 5000 slaves, 2 threads, 5 % changed", MeasureFleet); }

}  // namespace bench
