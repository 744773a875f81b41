#include "comparison.h"

#include <benchmark/benchmark.h>
#include <time.h>

#include <cstdio>
#include <memory>
#include <stdexcept>

namespace bench {
namespace {

/// By the clock of a thread, what other programs do meanwhile does not count; what the kernel does for this thread
/// (reading and writing files) does.
double Seconds(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

std::string CounterOf(std::size_t contender) { return "time" + std::to_string(contender); }
std::string RatioOf(std::size_t goal) { return "ratio" + std::to_string(goal); }

/// The case whose turn it is.
struct Current {
  std::string name;
  Comparison comparison;
};
std::unique_ptr<Current> current;

double Turn(const Contender& contender, bool waits) {
  const clockid_t clock = waits ? CLOCK_MONOTONIC : CLOCK_THREAD_CPUTIME_ID;
  if (contender.prepare) contender.prepare();
  const double start = Seconds(clock);
  contender.run();
  const double taken = Seconds(clock) - start;
  if (contender.check) contender.check();
  return taken / contender.entries;
}

void Repeat(benchmark::State& state, const std::string& name, const std::function<Comparison()>& make) {
  if (!current || current->name != name) {
    current.reset();
    current = std::make_unique<Current>(Current{name, make()});
    for (const Contender& contender : current->comparison.contenders) Turn(contender, false);  // warms up
  }
  const Comparison& comparison = current->comparison;
  std::vector<double> times(comparison.contenders.size());
  for ([[maybe_unused]] auto iteration : state) {
    for (int round = 0; round < comparison.rounds; ++round) {
      for (std::size_t i = 0; i < times.size(); ++i)
        times[i] += Turn(comparison.contenders[i], comparison.waits) / comparison.rounds;
    }
    state.SetIterationTime(times[0]);
  }
  for (std::size_t i = 0; i < times.size(); ++i) state.counters[CounterOf(i)] = times[i];
  for (std::size_t i = 0; i < comparison.goals.size(); ++i) {
    state.counters[RatioOf(i)] = times[0] / times[comparison.goals[i].yardstick];
  }
}

std::string Format(const char* format, double value) {
  char text[32];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

std::string FormatTime(double seconds) {
  return seconds < 1e-3 ? Format("%.1f us", seconds * 1e6) : Format("%.2f ms", seconds * 1e3);
}

/// Prints a line for each case as soon as its repetitions are done.
class Table final : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& context) override {
    PrintBasicContext(&GetErrorStream(), context);
    std::printf("%-46s %-14s %10s   %-14s %10s %9s  %-12s\n", "case", "", "time", "beside", "time", "figure", "target");
    return true;
  }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      const std::string name = run.run_name.function_name;
      if (run.error_occurred) {
        std::printf("%-46s FAILED: %s\n", name.c_str(), run.error_message.c_str());
        all_well_ = false;
      } else if (!run.report_label.empty()) {
        std::printf("%-46s %s\n", name.c_str(), run.report_label.c_str());
      } else if (run.aggregate_name == "median" && current) {
        PrintCase(name, run);
      }
    }
    std::fflush(stdout);
  }

  bool all_well() const { return all_well_; }

 private:
  void PrintCase(const std::string& name, const Run& median) {
    const Comparison& comparison = current->comparison;
    for (std::size_t i = 0; i < comparison.goals.size(); ++i) {
      const Goal& goal = comparison.goals[i];
      const double ratio = median.counters.at(RatioOf(i));
      const bool by_speed = goal.limit < 0.5;
      const std::string figure = by_speed ? Format("%.1f x", 1 / ratio) : Format("%.2f", ratio);
      const std::string target =
          by_speed ? ">= " + Format("%.0f x", 1 / goal.limit) : "<= " + Format("%.2f", goal.limit);
      std::printf("%-46s %-14s %10s   %-14s %10s %9s  %-12s %s\n", i == 0 ? name.c_str() : "",
                  comparison.contenders[0].name.c_str(), FormatTime(median.counters.at(CounterOf(0))).c_str(),
                  comparison.contenders[goal.yardstick].name.c_str(),
                  FormatTime(median.counters.at(CounterOf(goal.yardstick))).c_str(), figure.c_str(), target.c_str(),
                  ratio <= goal.limit ? "" : "MISSED");
      if (ratio > goal.limit) all_well_ = false;
    }
    if (comparison.note) std::printf("%-46s %s\n", "", comparison.note().c_str());
  }

  bool all_well_ = true;
};

}  // namespace

void Compare(const std::string& name, int repetitions, std::function<Comparison()> make) {
  benchmark::RegisterBenchmark(name.c_str(),
                               [name, make = std::move(make)](benchmark::State& state) {
                                 try {
                                   Repeat(state, name, make);
                                 } catch (const std::exception& error) {
                                   state.SkipWithError(error.what());
                                 }
                               })
      ->Iterations(1)
      ->Repetitions(repetitions)
      ->UseManualTime();
}

void Report(const std::string& name, std::function<std::string()> measure) {
  benchmark::RegisterBenchmark(name.c_str(), [measure = std::move(measure)](benchmark::State& state) {
    current.reset();
    try {
      for ([[maybe_unused]] auto iteration : state) state.SetLabel(measure());
    } catch (const std::exception& error) {
      state.SkipWithError(error.what());
    }
  })->Iterations(1);
}

int RunAll(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  Table table;
  benchmark::RunSpecifiedBenchmarks(&table);
  current.reset();
  return table.all_well() ? 0 : 1;
}

}  // namespace bench
