/// Writes messages, and runs the built qvcmsd to deliver them.
#pragma once

#include <sys/mman.h>

#include <atomic>

#include "brokerrunner.h"
#include "messages/outbox.h"

namespace qv::test {

inline constexpr int kSlaves = 200;

inline double Now() {
  return std::chrono::duration<double, std::milli>(std::chrono::system_clock::now().time_since_epoch()).count();
}

struct DeliveryTest : BrokerTest {
  ~DeliveryTest() override {
    db::Close();
    munmap(last_, kSize);
  }
  std::string ToBroker() const { return "--deliver '*=mqtt://" + Broker() + "'"; }

  void OpenOutbox() const { db::Open(folder_ / "data", support::OptionsFor(folder_ / "data")); }
  /// Writes the next `count` messages in the turn of a slave, with one commit.
  /// @param about_it  the first of them; the others are about none
  void Post(int zr, int count, int about_it, const std::string& note = "") {
    const auto post = [&] {
      for (int i = 0; i < count; ++i) {
        const int about = i < about_it ? zr : 0;
        Json::Value payload;
        payload["n"] = ++std::atomic_ref(last_[about]);
        payload["at"] = Now();
        payload["note"] = note;
        messages::Post(about, messages::kMessageDaemon, "changed", payload);
      }
    };
    support::InUnit(true, post, zr);
  }
  void Post(int zr, int count, const std::string& note = "") { Post(zr, count, count, note); }
  int Waiting() const {
    return std::stoi(support::QueryFolder(folder_ / "data", "SELECT count(*) FROM message WHERE set_aside=''")[0]);
  }

  static constexpr std::size_t kSize = (kSlaves + 1) * sizeof(int);
  /// The number of the last message about each slave and about none, for all processes that write.
  int* const last_ = static_cast<int*>(mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
};

}  // namespace qv::test
