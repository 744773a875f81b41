#include "delayingproxy.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <deque>

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

sockaddr_un AddressIn(const std::string& folder) {
  sockaddr_un address = {.sun_family = AF_UNIX, .sun_path = {}};
  (folder + "/.s.PGSQL.5432").copy(address.sun_path, sizeof address.sun_path - 1);
  return address;
}

}  // namespace

DelayingProxy::DelayingProxy(const std::string& server, const std::string& own, std::chrono::milliseconds delay)
    : server_(server), delay_(delay), door_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  const sockaddr_un address = AddressIn(own);
  bind(door_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
  listen(door_.get(), 1);
  thread_ = std::thread([this] { Forward(); });
}

DelayingProxy::~DelayingProxy() {
  shutdown(door_.get(), SHUT_RDWR);
  thread_.join();
}

void DelayingProxy::Forward() {
  struct Piece {
    Clock::time_point due;
    std::string bytes;
  };
  const qv::files::FileDescriptor client(accept(door_.get(), nullptr, nullptr));
  const qv::files::FileDescriptor server(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const sockaddr_un address = AddressIn(server_);
  if (connect(server.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return;
  std::deque<Piece> under_way;
  pollfd ends[] = {{.fd = client.get(), .events = POLLIN, .revents = 0},
                   {.fd = server.get(), .events = POLLIN, .revents = 0}};
  char bytes[65536];
  for (;;) {
    timespec rest{.tv_sec = 1, .tv_nsec = 0};
    if (!under_way.empty()) {
      const auto left = std::max(Clock::duration::zero(), under_way.front().due - Clock::now());
      rest = {.tv_sec = 0, .tv_nsec = std::chrono::nanoseconds(left).count()};
    }
    if (ppoll(ends, 2, &rest, nullptr) < 0) return;
    for (const int from : {0, 1}) {
      if (ends[from].revents == 0) continue;
      const ssize_t size = read(ends[from].fd, bytes, sizeof bytes);
      if (size <= 0) return;
      const std::string_view text(bytes, static_cast<std::size_t>(size));
      if (from == 0) {
        under_way.push_back({Clock::now() + delay_, std::string(text)});
      } else {
        qv::files::WriteAll(client.get(), text);
      }
    }
    for (; !under_way.empty() && under_way.front().due <= Clock::now(); under_way.pop_front()) {
      qv::files::WriteAll(server.get(), under_way.front().bytes);
    }
  }
}

}  // namespace bench
