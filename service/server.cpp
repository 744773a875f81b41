#include "server.h"

#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <thread>

#include "exchange.h"

namespace qvcmsd {
namespace {

/// The first call for a request: its address, as it was sent.
void* TakeTarget(void* server, const char* target, MHD_Connection*) {
  return new Exchange(*static_cast<ServerState*>(server), target);
}

MHD_Result Handle(void*, MHD_Connection* connection, const char*, const char* method, const char*, const char* data,
                  std::size_t* size, void** context) {
  auto* const exchange = static_cast<Exchange*>(*context);
  if (exchange == nullptr) return MHD_NO;
  if (exchange->is_answered()) return exchange->Send();
  if (!exchange->has_begun()) return exchange->Begin(connection, method) ? MHD_YES : exchange->Send();
  if (*size > 0) {
    exchange->Receive(data, *size);
    *size = 0;
    return MHD_YES;
  }
  return exchange->Finish() ? exchange->Send() : MHD_YES;
}

void Complete(void* state, MHD_Connection* connection, void** context, MHD_RequestTerminationCode) {
  delete static_cast<Exchange*>(*context);
  *context = nullptr;
  const MHD_ConnectionInfo* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
  if (info == nullptr || info->socket_context == nullptr) return;
  static_cast<Connection*>(info->socket_context)->ReceiveFor(static_cast<ServerState*>(state)->idle_time);
}

}  // namespace

class Server::Impl {
 public:
  Impl(Service& service, const std::vector<Listener>& listeners, Tls* tls, const ServerLimits& limits)
      : limits_(limits),
        client_ca_(tls == nullptr ? "" : tls->client_ca()),
        state_{.service = service,
               .tls = tls,
               .most_body_bytes = limits.body_bytes,
               .body_time = limits.body_time,
               .idle_time = limits.idle_time,
               .connections = {},
               .body_bytes = 0,
               .exchanges = 0} {
    for (const Listener& listener : listeners) {
      MHD_Daemon* const daemon = Start(listener, tls);
      if (daemon == nullptr) {
        StopAll();
        throw std::runtime_error("cannot serve " + listener.name);
      }
      daemons_.push_back(daemon);
    }
  }
  ~Impl() { StopAll(); }
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  void StopListening() {
    for (MHD_Daemon* daemon : daemons_) {
      const MHD_socket socket = MHD_quiesce_daemon(daemon);
      if (socket != MHD_INVALID_SOCKET) close(socket);
    }
  }
  ServerState& state() { return state_; }
  const ServerState& state() const { return state_; }

 private:
  MHD_Daemon* Start(const Listener& listener, Tls* tls) {
    const unsigned threads = limits_.threads == 0 ? std::max(1U, std::thread::hardware_concurrency()) : limits_.threads;
    unsigned flags = MHD_USE_EPOLL_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME;
    std::vector<MHD_OptionItem> options = {
        {MHD_OPTION_LISTEN_SOCKET, listener.socket, nullptr},
        {MHD_OPTION_CONNECTION_LIMIT, std::max(threads, limits_.connections), nullptr},
        {MHD_OPTION_PER_IP_CONNECTION_LIMIT, limits_.connections_per_address, nullptr},
        {MHD_OPTION_CONNECTION_MEMORY_LIMIT, static_cast<intptr_t>(limits_.header_bytes), nullptr},
        {MHD_OPTION_URI_LOG_CALLBACK, reinterpret_cast<intptr_t>(&TakeTarget), &state_},
        {MHD_OPTION_NOTIFY_COMPLETED, reinterpret_cast<intptr_t>(&Complete), &state_},
        {MHD_OPTION_NOTIFY_CONNECTION, reinterpret_cast<intptr_t>(&Impl::Notify), this},
    };
    if (threads > 1) options.push_back({MHD_OPTION_THREAD_POOL_SIZE, threads, nullptr});
    static char priorities[] = "NORMAL:-VERS-ALL:+VERS-TLS1.3:+VERS-TLS1.2";
    if (tls != nullptr) {
      flags |= MHD_USE_TLS;
      options.push_back({MHD_OPTION_HTTPS_CERT_CALLBACK, 0, reinterpret_cast<void*>(&Tls::Retrieve)});
      options.push_back({MHD_OPTION_HTTPS_PRIORITIES, 0, priorities});
      // Without it the server would not ask for them. They are checked when a request comes: the file may change.
      if (tls->wants_client_certificates()) {
        options.push_back({MHD_OPTION_HTTPS_MEM_TRUST, 0, client_ca_.data()});
      }
    }
    options.push_back({MHD_OPTION_END, 0, nullptr});
    return MHD_start_daemon(flags, 0, nullptr, nullptr, &Handle, nullptr, MHD_OPTION_ARRAY, options.data(),
                            MHD_OPTION_END);
  }

  static void Notify(void* server, MHD_Connection* connection, void** context, MHD_ConnectionNotificationCode code) {
    auto& self = *static_cast<Impl*>(server);
    if (code == MHD_CONNECTION_NOTIFY_STARTED) {
      const MHD_ConnectionInfo* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
      Connection* const limits = self.state_.connections.Add(info->connect_fd);
      limits->ReceiveFor(self.limits_.header_time);
      *context = limits;
    } else if (*context != nullptr) {
      self.state_.connections.Remove(static_cast<Connection*>(*context));
      *context = nullptr;
    }
  }

  void StopAll() {
    for (MHD_Daemon* daemon : daemons_) MHD_stop_daemon(daemon);
    daemons_.clear();
  }

  const ServerLimits limits_;
  std::string client_ca_;
  ServerState state_;
  std::vector<MHD_Daemon*> daemons_;
};

Server::Server(Service& service, const std::vector<Listener>& listeners, Tls* tls, const ServerLimits& limits)
    : impl_(std::make_unique<Impl>(service, listeners, tls, limits)) {}

Server::~Server() = default;

void Server::StopListening() { impl_->StopListening(); }

void Server::EndSlowConnections() { impl_->state().connections.CutSlowOnes(Connection::Clock::now()); }

bool Server::WaitUntilSent(std::chrono::milliseconds limit) const {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (impl_->state().exchanges > 0) {
    if (std::chrono::steady_clock::now() >= end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

std::size_t Server::connections() const { return impl_->state().connections.size(); }

}  // namespace qvcmsd
