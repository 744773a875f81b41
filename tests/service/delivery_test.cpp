/// The built qvcmsd delivers to a real broker and to a socket, while they are killed.

#include <mosquitto.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <atomic>
#include <iostream>
#include <mutex>
#include <random>

#include "messages/outbox.h"
#include "tools/toolrunner.h"

namespace qv::test {
namespace {

using testing::HasSubstr;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// Messages that are on their way at most, and may come twice.
constexpr int kWindow = 2000;

bool IsLong() { return std::getenv("QV_LONG_TESTS") != nullptr; }

int FreePort() {
  const int tried = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address = {.sin_family = AF_INET, .sin_port = 0, .sin_addr = {htonl(INADDR_LOOPBACK)}, .sin_zero = {}};
  socklen_t size = sizeof address;
  static_cast<void>(bind(tried, reinterpret_cast<sockaddr*>(&address), size));
  getsockname(tried, reinterpret_cast<sockaddr*>(&address), &size);
  close(tried);
  return ntohs(address.sin_port);
}

bool Within(int seconds, const std::function<bool()>& condition) {
  const auto end = Clock::now() + std::chrono::seconds(seconds);
  while (!condition()) {
    if (Clock::now() > end) return false;
    std::this_thread::sleep_for(milliseconds(5));
  }
  return true;
}

/// Subscribes to all messages and checks what comes: for each slave the numbers 1, 2, 3 ... in order, and repeats only
/// of messages that may have been on their way.
class Subscriber {
 public:
  explicit Subscriber(int port) : port_(port), client_(mosquitto_new("receiver", false, this)) {
    mosquitto_int_option(client_, MOSQ_OPT_TCP_NODELAY, 1);
    mosquitto_connect_callback_set(
        client_, [](mosquitto* client, void*, int) { mosquitto_subscribe(client, nullptr, "qvcms/outbox/#", 1); });
    mosquitto_subscribe_callback_set(
        client_, [](mosquitto*, void* self, int, int, const int*) { static_cast<Subscriber*>(self)->ready_ = true; });
    mosquitto_message_callback_set(client_, [](mosquitto*, void* self, const mosquitto_message* message) {
      static_cast<Subscriber*>(self)->Take(
          {static_cast<const char*>(message->payload), static_cast<std::size_t>(message->payloadlen)});
    });
    thread_ = std::thread([this] { Run(); });
  }
  ~Subscriber() {
    stopping_ = true;
    thread_.join();
    mosquitto_destroy(client_);
  }
  bool is_ready() const { return ready_; }
  int received() const { return received_; }
  int repeated() const { return repeated_; }
  std::vector<std::string> faults() {
    const std::lock_guard lock(mutex_);
    return faults_;
  }
  /// Of the messages that came once, from their writing to here.
  std::vector<double> delays() {
    const std::lock_guard lock(mutex_);
    return delays_;
  }

 private:
  void Run() {
    bool connected = false;
    while (!stopping_) {
      if (!connected) connected = mosquitto_connect(client_, "127.0.0.1", port_, 60) == MOSQ_ERR_SUCCESS;
      if (connected) connected = mosquitto_loop(client_, 20, 100) == MOSQ_ERR_SUCCESS;
      if (!connected) std::this_thread::sleep_for(milliseconds(5));
    }
  }
  void Take(const std::string& text) {
    const auto now = std::chrono::duration<double, std::milli>(std::chrono::system_clock::now().time_since_epoch());
    const Json::Value message = json::ReadDocument(text, {});
    const int number = message["payload"]["n"].asInt();
    std::vector<int>& places = places_[message["zr"].asInt()];
    const std::lock_guard lock(mutex_);
    if (number == static_cast<int>(places.size()) + 1) {
      places.push_back(++received_);
      delays_.push_back(now.count() - message["payload"]["at"].asDouble());
    } else if (number > static_cast<int>(places.size())) {
      faults_.push_back("missing before " + text);
    } else {
      ++repeated_;
      if (received_ - places[static_cast<std::size_t>(number - 1)] > kWindow)
        faults_.push_back("long since delivered: " + text);
    }
  }

  const int port_;
  mosquitto* const client_;
  std::map<int, std::vector<int>> places_;  ///< of each slave's messages among all that came
  std::atomic<int> received_ = 0, repeated_ = 0;
  std::atomic<bool> ready_ = false, stopping_ = false;
  std::mutex mutex_;
  std::vector<std::string> faults_;
  std::vector<double> delays_;
  std::thread thread_;
};

struct DeliveryTest : ToolTest {
  DeliveryTest() { mosquitto_lib_init(); }
  ~DeliveryTest() override {
    End(service_, SIGKILL);
    End(broker_, SIGKILL);
    db::Close();
  }
  static int End(pid_t& process, int signal) {
    if (process <= 0) return 0;
    kill(process, signal);
    return support::EndOf(std::exchange(process, 0));
  }
  void StartBroker() {
    Write("broker.conf", "listener " + std::to_string(port_) +
                             " 127.0.0.1\nallow_anonymous true\nuser root\npersistence true\npersistence_location " +
                             folder_.string() +
                             "/\nautosave_interval 0\nmax_inflight_messages 0\nmax_queued_messages 0\n"
                             "set_tcp_nodelay true\nmessage_size_limit 5000\n");
    broker_ = support::StartChild([&] {
      const std::string line = "cd '" + folder_.string() + "' && exec mosquitto -c broker.conf >>broker.log 2>&1";
      return execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
    });
  }
  void StartService(const std::string& options) {
    const std::string line = "cd '" + folder_.string() + "' && exec '" QVCMSD_PATH +
                             "' --data-dir data --listen none --log-level 4 --log-file log " + options + " 2>errors";
    service_ = support::StartChild([&] { return execl("/bin/sh", "sh", "-c", line.c_str(), nullptr); });
  }
  std::string ToBroker() const { return "--deliver '*=mqtt://127.0.0.1:" + std::to_string(port_) + "'"; }
  std::string Log() const { return support::ReadWholeFile(folder_ / "log"); }

  void OpenOutbox() { db::Open(folder_ / "data", {.driver = {.durability = db::Durability::Process}, .factory = {}}); }
  /// Writes the next `count` messages about a slave with one commit.
  void Post(int zr, int count, const std::string& note = "") {
    const auto now = std::chrono::duration<double, std::milli>(std::chrono::system_clock::now().time_since_epoch());
    support::InUnit(
        true,
        [&] {
          for (int i = 0; i < count; ++i) {
            Json::Value payload;
            payload["n"] = ++written_[zr];
            payload["at"] = now.count();
            payload["note"] = note;
            messages::Post(zr, messages::kMessageDaemon, "changed", payload);
          }
        },
        zr);
  }
  int Waiting() const {
    return std::stoi(support::QueryFolder(folder_ / "data", "SELECT count(*) FROM message WHERE set_aside=''")[0]);
  }

  const int port_ = FreePort();
  std::map<int, int> written_;
  pid_t broker_ = 0;
  pid_t service_ = 0;
};

TEST_F(DeliveryTest, EachMessageComesInOrderAlthoughBrokerAndServiceAreKilled) {
  const int slaves = IsLong() ? 200 : 40;
  const int commits = IsLong() ? 10'000 : 400;
  const int broker_kills = IsLong() ? 10 : 2;
  const int service_kills = IsLong() ? 50 : 4;
  constexpr int kAtOnce = 10;  // messages
  std::mt19937 random(7);
  StartBroker();
  OpenOutbox();
  Subscriber subscriber(port_);
  ASSERT_TRUE(Within(10, [&] { return subscriber.is_ready(); })) << support::ReadWholeFile(folder_ / "broker.log");
  kill(broker_, SIGUSR1);  // it keeps the subscription, which a kill would cost otherwise
  ASSERT_TRUE(Within(10, [&] { return std::filesystem::exists(folder_ / "mosquitto.db"); }));
  StartService(ToBroker());
  for (int commit = 1; commit <= commits; ++commit) {
    Post(static_cast<int>(random() % static_cast<unsigned>(slaves)) + 1, kAtOnce);
    if (commit % (commits / service_kills) == 0) {
      End(service_, SIGKILL);
      StartService(ToBroker());
    }
    if (commit % (commits / broker_kills) == commits / broker_kills / 2) {
      End(broker_, SIGKILL);
      StartBroker();
    }
    std::this_thread::sleep_for(milliseconds(5));
  }
  EXPECT_TRUE(Within(60, [&] { return subscriber.received() == commits * kAtOnce && Waiting() == 0; }))
      << subscriber.received() << " came, " << Waiting() << " wait\n"
      << Log();
  EXPECT_THAT(subscriber.faults(), testing::IsEmpty());
  EXPECT_EQ(End(service_, SIGTERM), 0);
  std::cout << subscriber.received() << " messages, " << subscriber.repeated() << " repeats\n";
}

TEST_F(DeliveryTest, WhatTheBrokerRefusesIsSetAsideAndHoldsUpNothing) {
  OpenOutbox();
  Post(1, 1, std::string(6000, 'x'));  // larger than the broker takes
  Post(2, 1);
  StartService(ToBroker());
  ASSERT_TRUE(Within(10, [&] { return Log().find("cannot be delivered to mqtt://") != std::string::npos; })) << Log();
  StartBroker();
  Subscriber subscriber(port_);
  EXPECT_TRUE(Within(20, [&] { return Waiting() == 0; })) << Log();
  EXPECT_THAT(Log(), HasSubstr("messages for msgd are delivered again, after"));
  EXPECT_THAT(Run("messages --set-aside").out, HasSubstr("\"set_aside\":\"Packet too large\""));
  EXPECT_EQ(Run("messages --retry").status, 0);
  EXPECT_TRUE(Within(10, [&] { return Run("messages --set-aside").out.find("\"attempts\":2") != std::string::npos; }))
      << Log();
}

/// A program that listens on a socket, and answers each line as `answer` says until it is stopped.
class Listener {
 public:
  Listener(const std::string& path, std::function<std::string(const std::string&)> answer)
      : answer_(std::move(answer)), socket_(socket(AF_UNIX, SOCK_STREAM, 0)) {
    sockaddr_un address = {.sun_family = AF_UNIX, .sun_path = {}};
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    static_cast<void>(bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address));
    listen(socket_, 5);
    thread_ = std::thread([this] { Run(); });
  }
  ~Listener() {
    shutdown(socket_, SHUT_RDWR);
    thread_.join();
    close(socket_);
  }

 private:
  void Run() {
    for (int peer = 0; (peer = accept(socket_, nullptr, nullptr)) >= 0; close(peer)) {
      std::string line;
      for (char letter = 0; read(peer, &letter, 1) == 1;) {
        if (letter != '\n') {
          line += letter;
          continue;
        }
        const std::string answer = answer_(std::exchange(line, "")) + '\n';
        if (write(peer, answer.data(), answer.size()) < 0) break;
      }
    }
  }
  const std::function<std::string(const std::string&)> answer_;
  const int socket_;
  std::thread thread_;
};

TEST_F(DeliveryTest, AnotherProcessTakesOverWhenTheOneThatDeliversDies) {
  OpenOutbox();
  std::mutex mutex;
  std::string taken;
  const Listener listener(folder_ / "socket", [&](const std::string& line) {
    if (line.find("\"note\":\"bad\"") != std::string::npos) return "not understood";
    const std::lock_guard lock(mutex);
    taken += json::ReadDocument(line, {})["payload"]["n"].asString() + ' ';
    return "ok";
  });
  const auto is_taken = [&](const std::string& numbers) {
    const std::lock_guard lock(mutex);
    return taken == numbers && Waiting() == 0;
  };
  const std::string to_socket = "--deliver msgd=unix:socket";
  StartService(to_socket);
  Post(1, 3);
  EXPECT_TRUE(Within(10, [&] { return is_taken("1 2 3 "); })) << Log();
  pid_t first = std::exchange(service_, 0);
  StartService(to_socket);
  Post(1, 1, "bad");
  Post(1, 3);
  EXPECT_TRUE(Within(10, [&] { return is_taken("1 2 3 5 6 7 "); })) << Log();
  EXPECT_THAT(Run("messages --set-aside").out, HasSubstr("\"set_aside\":\"refused: not understood\""));
  End(first, SIGKILL);
  Post(1, 3);
  EXPECT_TRUE(Within(10, [&] { return is_taken("1 2 3 5 6 7 8 9 10 "); })) << Log();
  EXPECT_EQ(End(service_, SIGTERM), 0);
}

TEST_F(DeliveryTest, WhatNobodyTakesGoesWhenThereIsTooMuchOfIt) {
  OpenOutbox();
  Post(1, 5);
  StartService("--keep-messages 3");
  ASSERT_TRUE(Within(10, [&] { return Waiting() == 3; }));
  EXPECT_TRUE(Within(5, [&] {
    return Log().find("nobody takes the messages for msgd (--deliver, qvcms messages); the oldest 2 are deleted") !=
           std::string::npos;
  })) << Log();
}

TEST_F(DeliveryTest, AMessageIsThereSoonAfterItsCommit) {
  if (!IsLong()) GTEST_SKIP() << "measures: QV_LONG_TESTS";
  StartBroker();
  OpenOutbox();
  Subscriber subscriber(port_);
  StartService(ToBroker());
  ASSERT_TRUE(Within(10, [&] { return subscriber.is_ready(); }));
  Post(1, 1);
  ASSERT_TRUE(Within(10, [&] { return subscriber.received() == 1; })) << Log();
  constexpr int kMessages = 10'000;
  const auto start = Clock::now();
  for (int i = 1; i < kMessages; ++i) {
    std::this_thread::sleep_until(start + i * milliseconds(2));
    Post(i % 200 + 1, 1);
  }
  ASSERT_TRUE(Within(30, [&] { return subscriber.received() == kMessages; }));
  std::vector<double> delays = subscriber.delays();
  std::sort(delays.begin(), delays.end());
  const double p99 = delays[delays.size() * 99 / 100];
  std::cout << "from writing to receipt: p50 " << delays[delays.size() / 2] << " ms, p99 " << p99 << " ms, longest "
            << delays.back() << " ms\n";
  EXPECT_LT(p99, 50);
}

}  // namespace
}  // namespace qv::test
