#include "fleetclient.h"

#include <curl/curl.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <memory>
#include <optional>
#include <queue>
#include <stdexcept>
#include <utility>

namespace qvload {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kBeginAtOnce = 32;
constexpr int kShare = 32;          ///< connections of a handle of libcurl
constexpr double kLivelyAway = 40;  ///< seconds, for which a lively slave is silent at least

std::size_t Ignore(char*, std::size_t size, std::size_t count, void*) { return size * count; }

/// What the service takes of memory, in MB; 0 when that is not known.
long MemoryOf(int pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmRSS:")) return std::stol(line.substr(6)) / 1024;
  }
  return 0;
}

/// How long answers took.
class Latencies {
 public:
  void Add(double seconds) { all_.push_back(static_cast<float>(seconds)); }
  void Print(const char* title, long errors, double seconds) {
    std::sort(all_.begin(), all_.end());
    std::printf(
        "%s: %zu answers in %.1f s (%.0f/s), %ld errors, p50 %.1f ms, p99 %.1f ms, p99.9 %.1f ms, most %.1f ms\n",
        title, all_.size(), seconds, static_cast<double>(all_.size()) / seconds, errors, At(0.5), At(0.99), At(0.999),
        At(1));
    std::fflush(stdout);
  }

 private:
  /// In milliseconds.
  double At(double part) const {
    if (all_.empty()) return 0;
    return 1000.0 * all_[std::min(all_.size() - 1, static_cast<std::size_t>(part * static_cast<double>(all_.size())))];
  }
  std::vector<float> all_;
};

/// Some of the connections. libcurl looks at every connection of a handle now and then, so that one handle for all of
/// them would take more time than the service.
struct Share {
  Share(std::size_t number, int epoll) : multi(curl_multi_init()), number(number), epoll(epoll) {}
  ~Share() { curl_multi_cleanup(multi); }
  Share(const Share&) = delete;
  Share& operator=(const Share&) = delete;
  CURLM* const multi;
  const std::size_t number;
  const int epoll;
  std::optional<Clock::time_point> timer;
};

/// A slave and its connection.
struct Client {
  Client(int zr, const SlaveOptions& options, Share& share) : slave(zr, options), share(share) {}
  Slave slave;
  Share& share;
  CURL* easy = nullptr;
  bool is_paired = false;
  bool has_begun = false;  ///< it has reported once: the host knows all of it
  std::string body;
  Clock::time_point sent;
};

/// All of them on one thread.
class Fleet {
 public:
  explicit Fleet(const FleetOptions& options) : options_(options), epoll_(epoll_create1(EPOLL_CLOEXEC)) {
    curl_global_init(CURL_GLOBAL_ALL);
    headers_ = curl_slist_append(headers_, "Expect:");
    headers_ = curl_slist_append(headers_, "Host: localhost");
    if (!options.token.empty()) {
      headers_ = curl_slist_append(headers_, ("Authorization: Bearer " + options.token).c_str());
    }
    const std::size_t name = options.url.find("://") + 3;
    connect_to_ = curl_slist_append(nullptr, ("::" + options.url.substr(name)).c_str());
    scheme_ = options.url.substr(0, name);
    for (int i = 0; i < options.slaves; ++i) {
      if (i % kShare == 0) AddShare();
      clients_.push_back(std::make_unique<Client>(options.first + i, options.slave, *shares_.back()));
    }
  }
  ~Fleet() {
    for (const auto& client : clients_) {
      if (client->easy == nullptr) continue;
      curl_multi_remove_handle(client->share.multi, client->easy);
      curl_easy_cleanup(client->easy);
    }
    shares_.clear();
    curl_slist_free_all(headers_);
    curl_slist_free_all(connect_to_);
    close(epoll_);
  }
  Fleet(const Fleet&) = delete;
  Fleet& operator=(const Fleet&) = delete;

  bool Run() {
    const auto start = Clock::now();
    for (std::size_t i = 0; i < kBeginAtOnce; ++i) BeginNext();
    while (begun_ < clients_.size()) Step();
    begin_ = Clock::now();
    std::printf("%zu slaves were paired and have reported once after %.1f s\n", clients_.size(),
                std::chrono::duration<double>(begin_ - start).count());
    for (const auto& client : clients_) Plan(*client, begin_ + Seconds(options_.interval * Random()));
    auto minute = begin_ + std::chrono::minutes(1);
    while (options_.slave.is_lively || Clock::now() < begin_ + Seconds(options_.seconds)) {
      Step();
      if (Clock::now() < minute) continue;
      Tell("so far");
      minute += std::chrono::minutes(1);
    }
    Tell("in all");
    return errors_ == 0;
  }

 private:
  static std::chrono::nanoseconds Seconds(double seconds) {
    return std::chrono::nanoseconds(static_cast<std::int64_t>(seconds * 1e9));
  }

  void Tell(const char* title) {
    if (options_.pid != 0) std::printf("memory of the service %ld MB; ", MemoryOf(options_.pid));
    const double seconds = std::chrono::duration<double>(Clock::now() - begin_).count();
    latencies_.Print(title, errors_, std::max(0.1, seconds));
  }

  void Plan(Client& client, Clock::time_point time) { due_.emplace(time, &client); }

  void AddShare() {
    Share& share = *shares_.emplace_back(std::make_unique<Share>(shares_.size(), epoll_));
    curl_multi_setopt(share.multi, CURLMOPT_SOCKETFUNCTION, &Fleet::Watch);
    curl_multi_setopt(share.multi, CURLMOPT_SOCKETDATA, &share);
    curl_multi_setopt(share.multi, CURLMOPT_TIMERFUNCTION, &Fleet::SetTimer);
    curl_multi_setopt(share.multi, CURLMOPT_TIMERDATA, &share);
    curl_multi_setopt(share.multi, CURLMOPT_MAXCONNECTS, static_cast<long>(2 * kShare));
  }

  void BeginNext() {
    if (next_to_begin_ < clients_.size()) Send(*clients_[next_to_begin_++]);
  }

  /// Sends what is due, and takes what has come.
  void Step() {
    const auto now = Clock::now();
    for (; !due_.empty() && due_.top().first <= now; due_.pop()) Send(*due_.top().second);
    std::array<epoll_event, 256> events{};
    const int count = epoll_wait(epoll_, events.data(), static_cast<int>(events.size()), 1);
    for (int i = 0; i < count; ++i) {
      const auto& event = events[static_cast<std::size_t>(i)];
      const int what = ((event.events & (EPOLLIN | EPOLLHUP | EPOLLERR)) != 0 ? CURL_CSELECT_IN : 0) |
                       ((event.events & EPOLLOUT) != 0 ? CURL_CSELECT_OUT : 0);
      const auto socket = static_cast<curl_socket_t>(event.data.u64 & UINT32_MAX);
      Act(*shares_[event.data.u64 >> 32U], socket, what);
    }
    const auto then = Clock::now();
    for (const auto& share : shares_) {
      if (!share->timer || then < *share->timer) continue;
      share->timer.reset();
      Act(*share, CURL_SOCKET_TIMEOUT, 0);
    }
  }

  void Act(Share& share, curl_socket_t socket, int what) {
    int running = 0;
    curl_multi_socket_action(share.multi, socket, what, &running);
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(share.multi, &left)) {
      if (message->msg == CURLMSG_DONE) Take(message->easy_handle, message->data.result);
    }
  }

  void Send(Client& client) {
    if (client.easy == nullptr) client.easy = MakeHandle(client);
    std::string route = client.is_paired ? "/status" : "/pair?model=" + std::string(client.slave.model());
    if (client.is_paired && client.slave.ChangesConfiguration()) route = "/snapshot";
    client.body = route == "/status" ? client.slave.Report() : client.slave.Snapshot();
    // A name of its own keeps the connection apart from those of the others.
    const std::string slave = std::to_string(client.slave.zr());
    curl_easy_setopt(client.easy, CURLOPT_URL, (scheme_ + "slave" + slave + "/v1/slaves/" + slave + route).c_str());
    curl_easy_setopt(client.easy, CURLOPT_POSTFIELDS, client.body.c_str());
    curl_easy_setopt(client.easy, CURLOPT_POSTFIELDSIZE, static_cast<long>(client.body.size()));
    client.sent = Clock::now();
    curl_multi_add_handle(client.share.multi, client.easy);
  }

  CURL* MakeHandle(Client& client) const {
    CURL* const easy = curl_easy_init();
    curl_easy_setopt(easy, CURLOPT_PRIVATE, &client);
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers_);
    curl_easy_setopt(easy, CURLOPT_CONNECT_TO, connect_to_);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &Ignore);
    curl_easy_setopt(easy, CURLOPT_BUFFERSIZE, 4096L);
    curl_easy_setopt(easy, CURLOPT_TIMEOUT, 30L);
    if (!options_.ca.empty()) {
      curl_easy_setopt(easy, CURLOPT_CAINFO, options_.ca.c_str());
      curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 0L);  // its names are made up
    }
    return easy;
  }

  void Take(CURL* easy, CURLcode result) {
    Client* client = nullptr;
    long status = 0;
    curl_easy_getinfo(easy, CURLINFO_PRIVATE, &client);
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    curl_multi_remove_handle(client->share.multi, easy);
    const auto now = Clock::now();
    if (result != CURLE_OK || status != 200) {
      ++errors_;
      if (errors_ <= 5) {
        std::fprintf(stderr, "slave %d: %s, status %ld\n", client->slave.zr(), curl_easy_strerror(result), status);
      }
      return Plan(*client, now + std::chrono::seconds(1));
    }
    if (!std::exchange(client->is_paired, true)) return Send(*client);
    if (!std::exchange(client->has_begun, true)) {
      ++begun_;
      return BeginNext();
    }
    latencies_.Add(std::chrono::duration<double>(now - client->sent).count());
    // As a clock would have it: a late answer does not make the slave report less often.
    auto next = std::max(now, client->sent + Seconds(options_.interval));
    if (options_.slave.is_lively && Random() < 0.005) next += Seconds(kLivelyAway * (1 + Random()));
    Plan(*client, next);
  }

  double Random() { return std::uniform_real_distribution<>(0, 1)(random_); }

  static int Watch(CURL*, curl_socket_t socket, int what, void* data, void*) {
    const auto& share = *static_cast<Share*>(data);
    epoll_event event = {};
    event.data.u64 = (std::uint64_t{share.number} << 32U) | static_cast<std::uint32_t>(socket);
    if ((what & CURL_POLL_IN) != 0) event.events |= EPOLLIN;
    if ((what & CURL_POLL_OUT) != 0) event.events |= EPOLLOUT;
    if (what == CURL_POLL_REMOVE) {
      epoll_ctl(share.epoll, EPOLL_CTL_DEL, socket, nullptr);
    } else if (epoll_ctl(share.epoll, EPOLL_CTL_MOD, socket, &event) != 0) {
      epoll_ctl(share.epoll, EPOLL_CTL_ADD, socket, &event);
    }
    return 0;
  }

  static int SetTimer(CURLM*, long milliseconds, void* data) {
    auto& timer = static_cast<Share*>(data)->timer;
    timer.reset();
    if (milliseconds >= 0) timer = Clock::now() + std::chrono::milliseconds(milliseconds);
    return 0;
  }

  const FleetOptions options_;
  const int epoll_;
  std::vector<std::unique_ptr<Share>> shares_;
  curl_slist* headers_ = nullptr;
  curl_slist* connect_to_ = nullptr;
  std::string scheme_;
  std::vector<std::unique_ptr<Client>> clients_;
  std::size_t next_to_begin_ = 0;
  std::size_t begun_ = 0;
  using Due = std::pair<Clock::time_point, Client*>;
  std::priority_queue<Due, std::vector<Due>, std::greater<>> due_;
  Clock::time_point begin_;
  Latencies latencies_;
  long errors_ = 0;
  std::minstd_rand random_{1};
};

}  // namespace

bool RunFleet(const FleetOptions& fleet) { return Fleet(fleet).Run(); }

}  // namespace qvload
