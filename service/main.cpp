/// The host as a service: slaves send documents over HTTP, and others look at what the host holds.

#include <signal.h>
#include <sys/resource.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <iostream>

#include "deliver/statepublisher.h"
#include "hidepasswords.h"
#include "listen.h"
#include "log.h"
#include "options.h"

namespace qvcmsd {
namespace {

constexpr int kFailed = 1;
constexpr std::chrono::seconds kTick{1};
constexpr std::chrono::seconds kSendTime{5};  ///< for the last answers, when the service stops

/// The signals that the main thread waits for. Blocked in all threads.
sigset_t BlockSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&signals, signal);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  struct sigaction ignore {};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &ignore, nullptr);
  return signals;
}

/// Allows as many open files as the system lets us have.
void RaiseFileLimit(Log& log, unsigned connections) {
  constexpr rlim_t kOthers = 200;  // than connections
  rlimit limit = {};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
  if (limit.rlim_cur >= connections + kOthers) return;
  log.Write(Level::Warning, "this process may have " + std::to_string(limit.rlim_cur) +
                                " open files, which is too few for " + std::to_string(connections) +
                                " connections (ulimit -n)");
}

bool ListensNowhere(const Options& options) { return options.listen == std::vector<std::string>{"none"}; }

std::vector<Listener> Listen(const Options& options) {
  std::vector<Listener> listeners;
  if (ListensNowhere(options)) return listeners;
  if (options.listen.empty()) listeners = HandedOverListeners();
  for (const std::string& address : options.listen) listeners.push_back(ListenOn(address));
  if (listeners.empty()) listeners.push_back(ListenOn("127.0.0.1:8480"));
  return listeners;
}

/// Throws unless clients must show who they are, or only this machine can reach the sockets.
void RequireProtection(const std::vector<Listener>& listeners, const Service& service, const Options& options) {
  if (service.wants_tokens() || !options.tls.client_ca.empty()) return;
  for (const Listener& listener : listeners) {
    if (IsLoopback(listener)) continue;
    throw std::runtime_error(
        "without tokens anybody who can reach " + listener.name +
        " could do anything, so only addresses of this machine (127.0.0.1, [::1]) are listened on. "
        "Make a token first (qvcms token make --scope operate), or give --client-ca");
  }
}

void Reread(Service& service, Tls* tls, Log& log) {
  log.Reopen();
  service.Reread();
  if (tls == nullptr) return;
  try {
    tls->Reread();
  } catch (const std::runtime_error& error) {
    log.Write(Level::Error, std::string("the certificates cannot be read again, the old ones hold: ") + error.what());
  }
}

/// Calls `tick` every second, and `reread` for a SIGHUP, until a signal ends it.
void RunUntilSignal(const sigset_t& signals, const std::function<void()>& reread, const std::function<void()>& tick) {
  for (;;) {
    const timespec time = {.tv_sec = kTick.count(), .tv_nsec = 0};
    const int signal = sigtimedwait(&signals, nullptr, &time);
    if (signal == SIGTERM || signal == SIGINT) return;
    if (signal == SIGHUP) {
      sd_notify(0, "RELOADING=1");
      reread();
      sd_notify(0, "READY=1");
    }
    tick();
    sd_notify(0, "WATCHDOG=1");
  }
}

/// Delivers messages, and nothing else.
int DeliverOnly(const Options& options, qv::Host& host, Log& log, const sigset_t& signals) {
  Metrics metrics;
  Delivery delivery(host, log, metrics, options.delivery);
  sd_notify(0, "READY=1");
  RunUntilSignal(
      signals, [&] { log.Reopen(); }, [] {});
  sd_notify(0, "STOPPING=1");
  return 0;
}

qv::HostOptions HostOptionsOf(const Options& options, Log& log) {
  return {.data_folder = options.data_dir,
          .database = options.database,
          .durability = options.durability,
          .log = {.level = options.log_level, .to_stderr = false, .sink = [&log](const qv::LogLine& line) {
                    log.Write(line);
                  }}};
}

int Run(const Options& options) {
  const sigset_t signals = BlockSignals();
  Log log(options.log_level, options.log_file);
  RaiseFileLimit(log, options.server.connections);
  const std::vector<Listener> listeners = Listen(options);
  std::unique_ptr<Tls> tls;
  if (!options.tls.certificate.empty()) tls = std::make_unique<Tls>(options.tls);
  qv::Host host(HostOptionsOf(options, log));
  if (host.IsOpenToOthers()) {
    log.Write(Level::Warning, "other users can enter the data folder " + options.data_dir.string() +
                                  ", which holds passwords: give it the mode 0700");
  }
  if (listeners.empty() && options.state) {
    throw std::runtime_error("with --listen none no slave reports here: there is no state to publish");
  }
  if (listeners.empty()) return DeliverOnly(options, host, log, signals);
  Service service(host, log, options.service);
  RequireProtection(listeners, service, options);
  Server server(service, listeners, tls.get(), options.server);
  for (const Listener& listener : listeners) {
    log.Write(Level::Notice, "listening on " + listener.name + (tls == nullptr ? "" : " with TLS"));
  }
  auto delivery = std::make_unique<Delivery>(host, log, service.metrics(), options.delivery);
  std::unique_ptr<StatePublisher> state;
  if (options.state) {
    state = std::make_unique<StatePublisher>(host, log, *options.state,
                                             FleetSource{.contacts = [&service] { return service.contacts(); },
                                                         .changes = [&service] { return service.changes(); },
                                                         .count = [&host] { return host.CountByServer(); }});
  }
  sd_notify(0, "READY=1");
  RunUntilSignal(
      signals, [&] { Reread(service, tls.get(), log); },
      [&] {
        server.EndSlowConnections();
        service.Tick(server.connections());
      });
  log.Write(Level::Notice, "stopping");
  sd_notify(0, "STOPPING=1");
  server.StopListening();
  const bool is_done = service.Stop(options.drain_time);
  delivery.reset();
  state.reset();
  if (is_done) {
    static_cast<void>(server.WaitUntilSent(kSendTime));  // not for clients that take no answer
    return 0;
  }
  log.Write(Level::Error, "what waited could not be done in time; it was not answered");
  _exit(kFailed);  // threads are at work on it
}

}  // namespace
}  // namespace qvcmsd

int main(int argc, char** argv) {
  try {
    const std::variant<qvcmsd::Options, int> parsed = qvcmsd::ParseOptions(argc, argv);
    qv::HidePasswords(argc, argv);
    if (const int* status = std::get_if<int>(&parsed)) return *status;
    return qvcmsd::Run(std::get<qvcmsd::Options>(parsed));
  } catch (const std::exception& error) {
    std::cerr << "qvcmsd: " << error.what() << '\n';
    return qvcmsd::kFailed;
  }
}
