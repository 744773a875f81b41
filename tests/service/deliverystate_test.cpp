/// What qvcmsd publishes of its slaves' state, on a real broker.

#include <mutex>

#include "brokerrunner.h"

namespace qv::test {
namespace {

struct DeliveryStateTest : BrokerTest {
  void StartPublishing() { Start("--silent-after 2 --publish-state mqtt://any:s3cret@" + Broker()); }
  void Report(const std::string& file = "slave7-status.json") {
    Curl("/v1/slaves/7/status", "--data-binary @" QV_EXAMPLES "/" + file);
  }
  /// Whether the topic soon says that; empty: it is cleared.
  bool Says(const std::string& topic, const std::string& payload) {
    return Within(10, [&] {
      const std::lock_guard lock(mutex_);
      const auto said = said_.find("homie/5/" + topic);
      return said != said_.end() && said->second == payload;
    });
  }
  std::string Said(const std::string& topic) {
    const std::lock_guard lock(mutex_);
    return said_["homie/5/" + topic];
  }
  std::size_t messages() {
    const std::lock_guard lock(mutex_);
    return messages_;
  }

  std::mutex mutex_;
  std::map<std::string, std::string> said_;
  std::size_t messages_ = 0;
  const Subscriber subscriber_{port_, "homie/#", [this](const std::string& topic, const std::string& payload) {
                                 const std::lock_guard lock(mutex_);
                                 said_[topic] = payload;
                                 ++messages_;
                               }};
};

TEST_F(DeliveryStateTest, ToolsSeeTheFleetWithoutAsking) {
  StartBroker();
  StartPublishing();
  EXPECT_TRUE(Says("qvcms/$state", "ready")) << Log();
  const std::string command = support::ReadWholeFile("/proc/" + std::to_string(service_) + "/cmdline");
  EXPECT_THAT(command, testing::Not(testing::HasSubstr("s3cret")));
  ASSERT_EQ(Curl("/v1/slaves/7/pair", kPair).status, 200);
  EXPECT_TRUE(Says("qvcms-7/$state", "ready")) << Log();
  EXPECT_TRUE(Says("qvcms-7/camera/total", "10")) << Said("qvcms-7/camera/total");
  const Json::Value host = support::Parse(Said("qvcms/$description"));
  EXPECT_EQ(host["homie"], "5.0");
  EXPECT_EQ(host["children"][0], "qvcms-7");
  const Json::Value slave = support::Parse(Said("qvcms-7/$description"));
  EXPECT_EQ(slave["root"], "qvcms");
  EXPECT_EQ(slave["nodes"]["camera"]["properties"]["not-well"]["datatype"], "integer");

  EXPECT_TRUE(Says("qvcms-7/$state", "lost")) << "it does not report";
  Report();
  EXPECT_TRUE(Says("qvcms-7/$state", "ready"));
  EXPECT_TRUE(Within(10, [&] {
    Report();  // else it falls silent again
    return Said("qvcms-7/camera/not-well") == "1";
  }));
  std::this_thread::sleep_for(std::chrono::milliseconds(300));  // the counts of the other kinds come with it
  const std::size_t before = messages();
  for (int i = 0; i < 7; ++i) {
    Report();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
  }
  EXPECT_LE(messages(), before + 1) << "reports that change nothing: the time of the last one at most";

  ASSERT_EQ(Curl("/v1/slaves/7", "--request DELETE").status, 200);
  for (const char* topic : {"$state", "$description", "report/last", "camera/total"}) {
    EXPECT_TRUE(Says(std::string("qvcms-7/") + topic, "")) << topic;
  }
  EXPECT_EQ(Stop(), 0);
  EXPECT_TRUE(Says("qvcms/$state", "disconnected"));
}

TEST_F(DeliveryStateTest, TheStateIsTrueAgainAfterKills) {
  StartBroker();
  StartPublishing();
  ASSERT_EQ(Curl("/v1/slaves/7/pair", kPair).status, 200);
  EXPECT_TRUE(Says("qvcms-7/camera/total", "10")) << Log();
  Stop(SIGKILL);
  EXPECT_TRUE(Says("qvcms/$state", "lost")) << "the broker tells of it";
  ASSERT_EQ(Run("remove 7").status, 0);
  StartPublishing();
  EXPECT_TRUE(Says("qvcms-7/$state", "")) << "it was removed while nobody told the broker";
  EXPECT_TRUE(Says("qvcms-7/camera/total", ""));
  ASSERT_EQ(Curl("/v1/slaves/7/pair", kPair).status, 200);
  EXPECT_TRUE(Says("qvcms-7/camera/total", "10"));
  KillBroker();
  {
    const std::lock_guard lock(mutex_);
    said_.clear();
  }
  StartBroker();
  EXPECT_TRUE(Says("qvcms-7/camera/total", "10")) << "the broker has forgotten it\n" << Log();
  EXPECT_TRUE(Says("qvcms/$state", "ready"));
}

}  // namespace
}  // namespace qv::test
