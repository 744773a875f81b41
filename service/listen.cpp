#include "listen.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <sys/socket.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace qvcmsd {
namespace {

constexpr int kBacklog = 4096;

/// "127.0.0.1:8480", as the system knows it.
std::string NameOf(int socket) {
  sockaddr_storage address = {};
  socklen_t size = sizeof address;
  std::array<char, NI_MAXHOST> host{};
  std::array<char, NI_MAXSERV> port{};
  if (getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0 ||
      getnameinfo(reinterpret_cast<const sockaddr*>(&address), size, host.data(), host.size(), port.data(), port.size(),
                  NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
    return "a socket";
  }
  const bool is_ipv6 = address.ss_family == AF_INET6;
  return (is_ipv6 ? "[" + std::string(host.data()) + "]" : host.data()) + std::string(":") + port.data();
}

std::runtime_error Failure(const std::string& address, const std::string& reason) {
  return std::runtime_error("cannot listen on " + address + ": " + reason);
}

}  // namespace

std::vector<Listener> HandedOverListeners() {
  std::vector<Listener> listeners;
  const int count = sd_listen_fds(1);
  for (int i = 0; i < count; ++i) {
    const int socket = SD_LISTEN_FDS_START + i;
    if (sd_is_socket(socket, AF_UNSPEC, SOCK_STREAM, 1) <= 0)
      throw Failure("a socket handed over", "it does not listen");
    listeners.push_back({.socket = socket, .name = NameOf(socket)});
  }
  return listeners;
}

Listener ListenOn(const std::string& address) {
  const std::size_t colon = address.rfind(':');
  if (colon == std::string::npos) throw Failure(address, "a port is missing, as in 127.0.0.1:8480");
  std::string host = address.substr(0, colon);
  if (host.starts_with('[') && host.ends_with(']')) host = host.substr(1, host.size() - 2);
  addrinfo hints = {};
  hints.ai_flags = AI_PASSIVE | AI_NUMERICHOST | AI_NUMERICSERV;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (const int error = getaddrinfo(host.c_str(), address.c_str() + colon + 1, &hints, &found); error != 0) {
    throw Failure(address, gai_strerror(error));
  }
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> info(found, &freeaddrinfo);
  const int listener = socket(info->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  const int on = 1;
  if (listener < 0 || setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
      bind(listener, info->ai_addr, info->ai_addrlen) != 0 || listen(listener, kBacklog) != 0) {
    const std::string reason = std::strerror(errno);
    if (listener >= 0) close(listener);
    throw Failure(address, reason);
  }
  return {.socket = listener, .name = NameOf(listener)};
}

bool IsLoopback(const Listener& listener) {
  return listener.name.starts_with("127.") || listener.name.starts_with("[::1]:");
}

}  // namespace qvcmsd
