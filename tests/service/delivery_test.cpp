/// The built qvcmsd delivers to a real broker and to a socket, while they are killed.

#include <sys/un.h>

#include <atomic>
#include <deque>
#include <iostream>
#include <mutex>
#include <random>
#include <set>

#include "deliveryrunner.h"

namespace qv::test {
namespace {

using testing::HasSubstr;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

bool IsLong() { return std::getenv("QV_LONG_TESTS") != nullptr; }

/// A receiver that must not act twice: it remembers the last messages by id and time, and skips those that it
/// remembers. Of the others, those about a slave must have the numbers 1, 2, 3 ... in order, and those about none each
/// number once.
class Received {
 public:
  void Take(const std::string& text) {
    constexpr int kWindow = 3000;  // messages that are on their way at most
    constexpr std::size_t kRemembered = 10'000;
    const double now = Now();
    const Json::Value message = json::ReadDocument(text, {});
    const std::lock_guard lock(mutex_);
    const std::string name = message["id"].asString() + ' ' + message["time"].asString();
    const auto [known, is_new] = places_.try_emplace(name, count_ + 1);
    if (!is_new) {
      ++repeated_;
      if (count_ - known->second > kWindow) faults_.push_back("long since delivered: " + text);
      return;
    }
    ++count_;
    names_.push_back(name);
    if (names_.size() > kRemembered) {
      places_.erase(names_.front());
      names_.pop_front();
    }
    const int zr = message["zr"].asInt();
    const int number = message["payload"]["n"].asInt();
    const bool is_next = zr == 0 ? about_none_.insert(number).second : number == ++last_[zr];
    if (!is_next) faults_.push_back("not the next one: " + text);
    delays_.push_back(now - message["payload"]["at"].asDouble());
  }
  int count() const { return count_; }
  int repeated() const { return repeated_; }
  std::vector<std::string> faults() {
    const std::lock_guard lock(mutex_);
    return faults_;
  }
  /// Of the messages that came once, from their writing to here, sorted.
  std::vector<double> delays() {
    const std::lock_guard lock(mutex_);
    std::sort(delays_.begin(), delays_.end());
    return delays_;
  }

 private:
  std::atomic<int> count_ = 0, repeated_ = 0;
  std::mutex mutex_;
  std::map<std::string, int> places_;  ///< of those that it remembers, among all that came
  std::deque<std::string> names_;
  std::map<int, int> last_;  ///< number about each slave
  std::set<int> about_none_;
  std::vector<std::string> faults_;
  std::vector<double> delays_;
};

/// Writes `count` messages from a process of its own, ten in a slave's turn; each fifth commit is about several.
int WriteAtRandom(DeliveryTest& test, unsigned seed, int count) {
  constexpr int kTogether = 10, kAboutSlave = 7;
  std::mt19937 random(seed);
  const auto any_slave = [&] { return static_cast<int>(random() % kSlaves) + 1; };
  test.OpenOutbox();
  for (int commit = 1; count > 0; ++commit) {
    if (commit % 5 > 0) {
      test.Post(any_slave(), kTogether, kAboutSlave);
      count -= kTogether;
    } else {
      db::Group group;
      for (int slave = 0; slave < 3 && count > 0; ++slave) {
        try {
          test.Post(any_slave(), kTogether, kAboutSlave);
          count -= kTogether;
        } catch (const db::Error& error) {
          if (error.kind() != db::Error::Kind::Busy) throw;  // another writer has that slave's turn
        }
      }
      group.Commit();
    }
    std::this_thread::sleep_for(milliseconds(5));
  }
  db::Close();
  return 0;
}

TEST_F(DeliveryTest, EachMessageComesInOrderAlthoughBrokerAndServiceAreKilled) {
  constexpr int kWriters = 4;
  const int messages = IsLong() ? 100'000 : 4'000;
  const int broker_kills = IsLong() ? 10 : 2;
  const int service_kills = IsLong() ? 50 : 4;
  OpenOutbox();
  db::Close();
  std::vector<pid_t> writers;
  for (unsigned writer = 0; writer < kWriters; ++writer) {
    writers.push_back(support::StartChild([&] { return WriteAtRandom(*this, writer, messages / kWriters); }));
  }
  StartBroker();
  Received received;
  Subscriber subscriber(port_, "qvcms/outbox/#", [&](const auto&, const auto& text) { received.Take(text); });
  ASSERT_TRUE(Within(10, [&] { return subscriber.is_ready(); })) << support::ReadWholeFile(folder_ / "broker.log");
  SaveBroker();
  StartDelivery(ToBroker());
  const int kills = broker_kills + service_kills;
  for (int next = 1; next <= kills; ++next) {
    ASSERT_TRUE(Within(60, [&] { return received.count() >= next * (messages / (kills + 1)); }))
        << received.count() << " came, " << Waiting() << " wait\n"
        << Log();
    const int broker_kill = next % (kills / broker_kills) == 0 ? next / (kills / broker_kills) : 0;
    if (broker_kill % 2 == 1) {  // in the middle of it; it saves what it has acknowledged
      KillBroker(SIGTERM);
      StartBroker();
    } else if (broker_kill > 0) {
      // A broker that is killed forgets what it has acknowledged and not passed on, which is not what is tested.
      kill(service_, SIGSTOP);
      for (int before = -1; before != received.count();) {
        before = received.count();
        ASSERT_TRUE(subscriber.AwaitAll());
      }
      SaveBroker();
      KillBroker();
      StartBroker();
      kill(service_, SIGCONT);
    } else {
      Stop(SIGKILL);
      StartDelivery(ToBroker());
    }
  }
  for (const pid_t writer : writers) EXPECT_EQ(support::EndOf(writer), 0);
  OpenOutbox();
  Post(1, 1);  // only a service that is ready to be stopped delivers it
  EXPECT_TRUE(Within(60, [&] { return received.count() == messages + 1 && Waiting() == 0; }))
      << received.count() << " came, " << Waiting() << " wait\n"
      << Log();
  EXPECT_THAT(received.faults(), testing::IsEmpty());
  EXPECT_EQ(Stop(), 0);
  std::cout << received.count() << " messages, " << received.repeated() << " repeats\n";
}

/// A program that listens on a socket, and answers each line as `answer` says until it is stopped. Without an answer it
/// closes the connection.
class Listener {
 public:
  using Answer = std::function<std::string(const std::string&)>;
  /// @param answers_once  it closes each connection behind its first answer
  Listener(const std::string& path, Answer answer, bool answers_once = false)
      : answer_(std::move(answer)), answers_once_(answers_once), socket_(socket(AF_UNIX, SOCK_STREAM, 0)) {
    sockaddr_un address = {.sun_family = AF_UNIX, .sun_path = {}};
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    static_cast<void>(bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address));
    listen(socket_, 5);
    thread_ = std::thread([this] { Run(); });
  }
  ~Listener() {
    for (const int end : {socket_, peer_.load()}) shutdown(end, SHUT_RDWR);
    thread_.join();
    close(socket_);
  }

 private:
  void Run() {
    for (; (peer_ = accept(socket_, nullptr, nullptr)) >= 0; close(peer_)) {
      std::string line;
      for (char letter = 0; read(peer_, &letter, 1) == 1;) {
        if (letter != '\n') {
          line += letter;
          continue;
        }
        const std::string answer = answer_(std::exchange(line, "")) + '\n';
        if (answer == "\n" || write(peer_, answer.data(), answer.size()) < 0 || answers_once_) break;
      }
    }
  }
  const Answer answer_;
  const bool answers_once_;
  const int socket_;
  std::atomic<int> peer_ = -1;
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
  StartDelivery(to_socket);
  Post(1, 3);
  EXPECT_TRUE(Within(10, [&] { return is_taken("1 2 3 "); })) << Log();
  pid_t first = std::exchange(service_, 0);
  StartDelivery(to_socket);
  Post(1, 1, "bad");
  Post(1, 3);
  EXPECT_TRUE(Within(10, [&] { return is_taken("1 2 3 5 6 7 "); })) << Log();
  EXPECT_THAT(Run("messages --set-aside").out, HasSubstr("\"set_aside\":\"refused: not understood\""));
  kill(first, SIGKILL);
  support::EndOf(first);
  Post(1, 3);
  EXPECT_TRUE(Within(10, [&] { return is_taken("1 2 3 5 6 7 8 9 10 "); })) << Log();
  EXPECT_EQ(Stop(), 0);
}

TEST_F(DeliveryTest, AMessageIsToBlameForALostConnectionOnlyIfOthersAreTaken) {
  OpenOutbox();
  const auto post = [&](const char* target, const std::vector<std::string>& notes) {
    for (const std::string& note : notes) {
      support::InUnit(true, [&] { messages::Post(1, target, "changed", Json::Value(note)); });
    }
  };
  std::mutex mutex;
  std::string taken, taken_once;
  std::atomic<int> lost = 0;
  const auto take = [&](std::string& all, const std::string& line) {
    const std::lock_guard lock(mutex);
    all += json::ReadDocument(line, {})["payload"].asString() + ' ';
    return "ok";
  };
  const Listener dies_of_one(folder_ / "dies-of-one", [&](const std::string& line) {
    return line.find("poison") != std::string::npos ? "" : take(taken, line);
  });
  const Listener dies_of_all(folder_ / "dies-of-all", [&](const std::string&) {
    ++lost;
    return "";
  });
  const Listener goes(
      folder_ / "goes", [&](const std::string& line) { return take(taken_once, line); }, true);
  post("msgd", {"a", "poison", "b", "c"});
  post("hostd", {"d", "e"});
  post("client", {"f", "g", "h"});
  StartDelivery("--deliver msgd=unix:dies-of-one --deliver hostd=unix:dies-of-all --deliver client=unix:goes");
  EXPECT_TRUE(Within(20, [&] { return Waiting() == 2 && lost >= 5; })) << Waiting() << " wait\n" << Log();
  EXPECT_EQ(Stop(), 0);
  EXPECT_LT(lost, 10) << "without pauses";
  const std::lock_guard lock(mutex);
  EXPECT_EQ(taken, "a b c ");
  EXPECT_EQ(taken_once, "f g h ");
  const std::string set_aside = Run("messages --set-aside").out;
  EXPECT_EQ(std::count(set_aside.begin(), set_aside.end(), '\n'), 1) << set_aside;
  EXPECT_THAT(set_aside, testing::AllOf(HasSubstr("poison"), HasSubstr("the connection is lost whenever it is sent")));
}

TEST_F(DeliveryTest, WhatCannotBeDeletedIsNotSentAgain) {
  OpenOutbox();
  Post(1, 3);
  std::atomic<int> taken = 0;
  const Listener listener(folder_ / "socket", [&](const std::string&) {
    ++taken;
    return "ok";
  });
  support::ExecuteInFolder(folder_ / "data",
                           support::RefusingTrigger("refuse", "DELETE", "message", "OLD.command='changed'"));
  StartDelivery("--deliver msgd=unix:socket");
  EXPECT_TRUE(Within(10, [&] { return Log().find("in the outbox cannot be used: ") != std::string::npos; })) << Log();
  std::this_thread::sleep_for(milliseconds(1000));
  EXPECT_EQ(Waiting(), 3);
  support::ExecuteInFolder(folder_ / "data", "UPDATE message SET command='may go'");
  EXPECT_TRUE(Within(10, [&] { return Waiting() == 0; })) << Log();
  EXPECT_EQ(Stop(), 0);
  EXPECT_EQ(taken, 3);
}

/// Measures, and is no part of the quick tests.
struct DeliveryLongTest : DeliveryTest {};

TEST_F(DeliveryLongTest, AMessageIsThereSoonAfterItsCommit) {
  constexpr int kMessages = 10'000;
  StartBroker();
  OpenOutbox();
  Received received;
  const Subscriber subscriber(port_, "qvcms/outbox/#", [&](const auto&, const auto& text) { received.Take(text); });
  StartDelivery(ToBroker());
  ASSERT_TRUE(Within(10, [&] { return subscriber.is_ready(); }));
  std::this_thread::sleep_for(milliseconds(1000));
  const auto start = Clock::now();
  for (int i = 0; i < kMessages; ++i) {
    std::this_thread::sleep_until(start + i * milliseconds(2));
    Post(i % kSlaves + 1, 1);
  }
  ASSERT_TRUE(Within(30, [&] { return received.count() == kMessages; })) << Log();
  const std::vector<double> delays = received.delays();
  const double p99 = delays[kMessages * 99 / 100];
  std::cout << "from writing to receipt: p50 " << delays[kMessages / 2] << " ms, p99 " << p99 << " ms, longest "
            << delays.back() << " ms\n";
  EXPECT_LT(p99, 50);
}

/// Until the broker has them; here also until they are deleted.
TEST_F(DeliveryLongTest, MessagesThatWaitGoAsFastAsLinesOfAFileThatMosquittoPubSends) {
  constexpr int kMessages = 60'000;  // mosquitto_pub loses some of more than 65,535
  constexpr int kRounds = 11;
  OpenOutbox();
  StartBroker("allow_anonymous true\nmax_inflight_messages 20\n");  // as it is installed
  const auto seconds = [&](const std::string& command, const std::function<void()>& wait) {
    const auto start = Clock::now();
    Launch(command);
    wait();
    return std::chrono::duration<double>(Clock::now() - start).count();
  };
  const auto is_empty = [&] { return support::QueryFolder(folder_ / "data", "SELECT 1 FROM message LIMIT 1").empty(); };
  std::vector<double> of_file, of_outbox, ratios;
  for (int round = 0; round < kRounds; ++round) {
    for (int i = 0; i < kMessages / 100; ++i) Post(i % kSlaves + 1, 100);
    ASSERT_EQ(Run("messages > lines").status, 0);
    of_file.push_back(
        seconds("mosquitto_pub -p " + std::to_string(port_) + " -q 1 -V 5 -t qvcms/outbox/msgd/1 -l < lines",
                [&] { EXPECT_EQ(support::EndOf(std::exchange(service_, 0)), 0); }));
    of_outbox.push_back(seconds("'" QVCMSD_PATH "' --data-dir data --listen none --log-file log " + ToBroker(),
                                [&] { EXPECT_TRUE(Within(60, is_empty)); }));
    EXPECT_EQ(Stop(), 0);
    ratios.push_back(of_outbox.back() / of_file.back());
  }
  for (auto* const all : {&of_file, &of_outbox, &ratios}) std::sort(all->begin(), all->end());
  std::cout << kMessages << " messages: " << of_outbox[kRounds / 2] << " s, by mosquitto_pub " << of_file[kRounds / 2]
            << " s; ratio " << ratios[kRounds / 2] << " (medians of " << kRounds << ")\n";
  // A tenth for the start of the service, for deleting, and for what else the machine does. A server of databases
  // shares the processors with both.
  if (!support::OnPostgresql()) {
    EXPECT_LE(ratios[kRounds / 2], 1.1);
  }
}

}  // namespace
}  // namespace qv::test
