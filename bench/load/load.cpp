/// A fleet of slaves that report to a running service: a load generator, and a simulator to look at.
///
///     qv_load --url http://127.0.0.1:8480 --slaves 5000 --seconds 600   # each reports every 5 s
///     qv_load --url http://127.0.0.1:8480 --slaves 200 --interval 0     # as fast as the answers come
///     qv_load --in-process DIR --slaves 200 --seconds 10                # the same documents without HTTP
///     qv_load --url http://127.0.0.1:8480 --slaves 40 --lively          # slaves fall silent and come back
///
/// Each slave has a connection of its own. It is paired first; then it sends status reports in which some of its
/// cameras have changed their state.

#include <qv/host.h>
#include <sys/resource.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <iostream>
#include <random>
#include <thread>

#include "fleetclient.h"

namespace {

using qvload::FleetOptions;
using qvload::Slave;

/// Documents for each second, made and applied in this process: one by one, or in groups with one commit.
double InProcess(qv::Host& host, const FleetOptions& fleet, std::size_t group) {
  std::vector<Slave> slaves;
  for (int zr = 1; zr <= fleet.slaves; ++zr) slaves.emplace_back(zr, fleet.slave);
  for (Slave& slave : slaves) host.Pair(slave.zr(), qv::Document::Parse(slave.Snapshot()));
  const auto begin = std::chrono::steady_clock::now();
  const auto end = begin + std::chrono::duration<double>(fleet.seconds);
  std::size_t done = 0;
  while (std::chrono::steady_clock::now() < end) {
    std::vector<std::function<void()>> calls;
    for (std::size_t i = 0; i < group; ++i) {
      Slave& slave = slaves[(done + i) % slaves.size()];
      calls.emplace_back(
          [&host, zr = slave.zr(), document = qv::Document::Parse(slave.Report())] { host.Status(zr, document); });
    }
    host.Together(calls);
    done += group;
  }
  return static_cast<double>(done) / std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

void RaiseFileLimit() {
  rlimit limit = {};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace

int main(int argc, char** argv) {
  FleetOptions fleet;
  std::string in_process;
  CLI::App app{"Simulates slaves that report to qvcmsd.", "qv_load"};
  app.add_option("--url", fleet.url, "Of the service")->capture_default_str();
  app.add_option("--token", fleet.token, "Of the scope operate");
  app.add_option("--ca", fleet.ca, "Certificate of the service's authority, PEM");
  app.add_option("--slaves", fleet.slaves, "How many slaves")->capture_default_str();
  app.add_option("--first", fleet.first, "Id of the first one")->capture_default_str();
  app.add_option("--cameras", fleet.slave.cameras, "Cameras of a slave")->capture_default_str();
  app.add_option("--interval", fleet.interval, "Seconds between the reports of a slave; 0: as fast as it goes")
      ->capture_default_str();
  app.add_option("--changed", fleet.slave.changed, "Part of the cameras that change with a report")
      ->capture_default_str();
  app.add_option("--seconds", fleet.seconds, "How long")->capture_default_str();
  app.add_option("--pid", fleet.pid, "Process of the service, whose memory is told");
  app.add_flag("--lively", fleet.slave.is_lively, "Slaves fall silent and come back; runs until it is stopped");
  app.add_option("--in-process", in_process, "Apply the documents in this process, to data below this folder");
  CLI11_PARSE(app, argc, argv);
  RaiseFileLimit();
  std::setvbuf(stdout, nullptr, _IOLBF, 0);  // also into a file: it tells how far it has come
  try {
    if (in_process.empty()) return qvload::RunFleet(fleet) ? 0 : 1;
    for (const std::size_t group : {std::size_t{1}, std::size_t{64}}) {
      qv::Host host({.data_folder = in_process + "/" + std::to_string(group), .log = {.level = 1}});
      std::printf("in one process, %zu documents a commit: %.0f documents/s\n", group, InProcess(host, fleet, group));
      std::fflush(stdout);
    }
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "qv_load: " << error.what() << '\n';
    return 1;
  }
}
