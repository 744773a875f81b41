/// Runs the built qvcmsd beside a real broker.
#pragma once

#include <mosquitto.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "servicerunner.h"

namespace qv::test {

inline int FreePort() {
  const int tried = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address = {.sin_family = AF_INET, .sin_port = 0, .sin_addr = {htonl(INADDR_LOOPBACK)}, .sin_zero = {}};
  socklen_t size = sizeof address;
  static_cast<void>(bind(tried, reinterpret_cast<sockaddr*>(&address), size));
  getsockname(tried, reinterpret_cast<sockaddr*>(&address), &size);
  close(tried);
  return ntohs(address.sin_port);
}

/// Subscribes to topics on a thread of its own, again after each loss of the connection.
class Subscriber {
 public:
  using Take = std::function<void(const std::string& topic, const std::string& payload)>;

  /// @param take  called on that thread
  Subscriber(int port, std::string topics, Take take)
      : port_(port),
        topics_(std::move(topics)),
        take_(std::move(take)),
        client_(mosquitto_new("receiver", false, this)) {
    mosquitto_int_option(client_, MOSQ_OPT_TCP_NODELAY, 1);
    mosquitto_connect_callback_set(client_, [](mosquitto* client, void* self, int) {
      mosquitto_subscribe(client, nullptr, static_cast<Subscriber*>(self)->topics_.c_str(), 1);
    });
    mosquitto_subscribe_callback_set(
        client_, [](mosquitto*, void* self, int, int, const int*) { static_cast<Subscriber*>(self)->ready_ = true; });
    mosquitto_message_callback_set(client_, [](mosquitto*, void* self, const mosquitto_message* message) {
      auto& subscriber = *static_cast<Subscriber*>(self);
      if (std::string_view(message->topic) == kEcho) {
        ++subscriber.echoes_;
        return;
      }
      const auto* const text = static_cast<const char*>(message->payload);
      const auto size = static_cast<std::size_t>(message->payloadlen);
      subscriber.take_(message->topic, text == nullptr ? "" : std::string(text, size));
    });
    mosquitto_threaded_set(client_, true);
    thread_ = std::thread([this] { Run(); });
  }
  ~Subscriber() {
    stopping_ = true;
    thread_.join();
    mosquitto_destroy(client_);
  }
  Subscriber(const Subscriber&) = delete;
  Subscriber& operator=(const Subscriber&) = delete;
  bool is_ready() const { return ready_; }
  /// Waits until all has come that the broker has taken before, for ten seconds at most. @return whether it has
  bool AwaitAll() {
    const int before = echoes_;
    mosquitto_publish(client_, nullptr, kEcho, 0, nullptr, 1, false);
    return ServiceTest::Within(10, [&] { return echoes_ > before; });
  }

 private:
  static constexpr const char* kEcho = "qvcms/outbox/echo";
  void Run() {
    bool connected = false;
    while (!stopping_) {
      if (!connected) connected = mosquitto_connect(client_, "127.0.0.1", port_, 60) == MOSQ_ERR_SUCCESS;
      if (connected) connected = mosquitto_loop(client_, 20, 100) == MOSQ_ERR_SUCCESS;
      if (!connected) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  }

  const int port_;
  const std::string topics_;
  const Take take_;
  mosquitto* const client_;
  std::atomic<int> echoes_ = 0;
  std::atomic<bool> ready_ = false, stopping_ = false;
  std::thread thread_;
};

struct BrokerTest : ServiceTest {
  BrokerTest() { mosquitto_lib_init(); }
  ~BrokerTest() override { KillBroker(); }

  /// @param more  lines of its configuration
  void StartBroker(const std::string& more = "allow_anonymous true\n") {
    Write("broker.conf", "listener " + std::to_string(port_) + " 127.0.0.1\nuser root\npersistence true\n" +
                             "persistence_location " + folder_.string() +
                             "/\nautosave_interval 0\nmax_inflight_messages 500\nmax_queued_messages 0\n"
                             "set_tcp_nodelay true\nmessage_size_limit 5000\n" +
                             more);
    broker_ = support::StartChild([&] {
      const std::string line = "cd '" + folder_.string() + "' && exec mosquitto -c broker.conf >>broker.log 2>&1";
      return execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
    });
  }
  void KillBroker(int signal = SIGKILL) {
    if (broker_ <= 0) return;
    kill(broker_, signal);
    support::EndOf(std::exchange(broker_, 0));
  }
  /// Has the broker save its subscriptions and what it has not passed on, which a kill would cost otherwise.
  void SaveBroker() const {
    std::filesystem::remove(folder_ / "mosquitto.db");
    kill(broker_, SIGUSR1);
    EXPECT_TRUE(Within(10, [&] { return std::filesystem::exists(folder_ / "mosquitto.db"); }));
  }
  /// Starts the service, which delivers and does nothing else.
  void StartDelivery(const std::string& options) {
    Launch("'" QVCMSD_PATH "' --data-dir data --listen none --log-level 4 --log-file log " + options);
  }
  std::string Broker() const { return "127.0.0.1:" + std::to_string(port_); }

  const int port_ = FreePort();
  pid_t broker_ = 0;
};

}  // namespace qv::test
