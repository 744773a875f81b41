/// Messages as those see them who deliver them.

#include <poll.h>
#include <qv/outbox.h>

#include <thread>

#include "scratchhost.h"

namespace {

using qv::Message;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

struct OutboxTest : HostApiTest {
  /// Puts a message about each of these servers into the outbox.
  void Write(std::initializer_list<int> servers) {
    std::vector<qv::SilenceChange> changes;
    for (const int zr : servers) changes.push_back({.zr = zr, .is_silent = true, .since = {}});
    host_->TellSilence(changes);
  }
  /// "ID:SERVER" for each; "+N" if it was set aside N times.
  std::vector<std::string> Read(const qv::MessageQuery& query = {}) {
    std::vector<std::string> texts;
    for (const Message& message : outbox_.Read(query)) {
      texts.push_back(std::to_string(message.id) + ':' + std::to_string(message.zr) +
                      (message.attempts > 0 ? "+" + std::to_string(message.attempts) : ""));
    }
    return texts;
  }

  qv::Outbox outbox_{Open()};
};

TEST_F(OutboxTest, ShowsWhatWaitsUntilItIsDeleted) {
  Write({7, 8, 7});
  host_->Pair(9, qv::Document::Parse(R"({"speaker_info":[{"id":1}]})"));
  EXPECT_THAT(Read({.target = "client"}), ElementsAre("1:7", "2:8", "3:7"));
  EXPECT_THAT(Read({.target = "client", .zr = 7}), ElementsAre("1:7", "3:7"));
  EXPECT_THAT(Read({.after = 1, .limit = 2}), ElementsAre("2:8", "3:7"));
  EXPECT_EQ(outbox_.Oldest().size(), outbox_.Targets().size());
  EXPECT_THAT(ToJson(outbox_.Read({.target = "client"})[0]),
              MatchesRegex(R"(\{"id":1,"zr":7,"target":"client","command":"slave-silent",)"
                           R"("payload":\{"since":0,"zr":7\},"time":"20[-0-9]+T[:0-9]+\.[0-9]{3}Z"\})"));
  Message from_elsewhere;
  from_elsewhere.payload = "{\"a\":\r\n\t1}";
  from_elsewhere.attempts = 1;
  EXPECT_THAT(ToJson(from_elsewhere), MatchesRegex(R"(.*"payload":\{"a":   1\},.*,"attempts":1\})")) << "one line";
  const std::int64_t delivered[] = {1, 3, 12345};
  EXPECT_EQ(outbox_.Delete(delivered), 2U);
  EXPECT_THAT(Read({.target = "client"}), ElementsAre("2:8"));
}

TEST_F(OutboxTest, OneThatIsRefusedIsSetAsideAndComesLastWhenItIsTriedAgain) {
  Write({7, 8, 9});
  EXPECT_TRUE(outbox_.SetAside(1, "too\nlong"));
  EXPECT_FALSE(outbox_.SetAside(1, "once more"));
  EXPECT_THAT(Read(), ElementsAre("2:8", "3:9"));
  EXPECT_EQ(outbox_.Read({.set_aside = true})[0].set_aside, "too\\nlong");
  EXPECT_THAT(outbox_.Targets(true), ElementsAre("client"));
  EXPECT_EQ(host_->Statistics().messages[0].count, 2);
  EXPECT_EQ(host_->Statistics().messages[0].set_aside, 1);
  EXPECT_FALSE(host_->CountByServer().contains(7)) << "nothing waits about it";
  EXPECT_EQ(outbox_.Retry({.target = "other"}), 0U);
  EXPECT_EQ(outbox_.Retry({.target = "client"}), 1U);
  EXPECT_THAT(Read(), ElementsAre("2:8", "3:9", "4:7+1"));
}

TEST_F(OutboxTest, OneThatIsTriedAgainComesBehindThoseThatACallForItsServerIsWriting) {
  if (!support::OnPostgresql()) GTEST_SKIP() << "calls follow one another";
  Write({7});
  outbox_.SetAside(1, "refused");
  const std::string lock = "advisory_xact_lock(current_schema()::regnamespace::oid::integer,7)";
  std::jthread call([&] {
    support::ExecuteInFolder(folder_ / "data",
                             "BEGIN; SELECT pg_" + lock +
                                 "; INSERT INTO message (zr_id,target,command,payload) VALUES (7,'client','','0');"
                                 "SELECT pg_sleep(0.3); COMMIT");
  });
  while (support::QueryFolder(folder_ / "data", "SELECT pg_try_" + lock)[0] == "t") continue;
  EXPECT_EQ(outbox_.Retry({}), 1U);
  EXPECT_THAT(Read(), ElementsAre("2:7", "3:7+1"));
}

TEST_F(OutboxTest, TheOldestGoWhenThereAreTooManyAndNobodyDelivers) {
  Write({1, 2, 3, 4});
  auto claim = outbox_.TryClaim("client");
  std::jthread([&] { EXPECT_EQ(outbox_.Discard("client", std::chrono::hours(1), 3), 0U) << "others deliver"; }).join();
  claim.reset();
  EXPECT_EQ(outbox_.Discard("client", std::chrono::hours(1), 4), 0U);
  EXPECT_EQ(outbox_.Discard("client", std::chrono::hours(1), 3), 1U);
  EXPECT_THAT(Read(), ElementsAre("2:2", "3:3", "4:4"));
  std::this_thread::sleep_for(std::chrono::milliseconds(600));
  Write({5});
  EXPECT_EQ(outbox_.Discard("client", std::chrono::milliseconds(500), 0), 3U);
  EXPECT_THAT(Read(), ElementsAre("5:5"));
}

TEST_F(OutboxTest, OneAtATimeHasTheClaimOnATarget) {
  auto first = outbox_.TryClaim("msgd");
  ASSERT_NE(first, nullptr);
  std::jthread([&] {
    EXPECT_EQ(outbox_.TryClaim("msgd"), nullptr);
    EXPECT_NE(outbox_.TryClaim("../hostd"), nullptr);
  }).join();
  EXPECT_TRUE(first->Holds());
  if (support::OnPostgresql()) {
    support::QueryPostgresql(Options().database,
                             "SELECT pg_terminate_backend(pid,5000) FROM pg_locks WHERE locktype='advisory' AND "
                             "database=(SELECT oid FROM pg_database WHERE datname=current_database())");
    EXPECT_TRUE(first->Holds()) << "got it again, in another session";
    std::jthread([&] { EXPECT_EQ(outbox_.TryClaim("msgd"), nullptr); }).join();
  }
  const std::string long_name(300, 'x');
  const auto long_one = outbox_.TryClaim(long_name + '1');
  EXPECT_NE(outbox_.TryClaim(long_name + '2'), nullptr);
  first.reset();
  std::jthread([&] { EXPECT_NE(outbox_.TryClaim("msgd"), nullptr); }).join();
}

TEST_F(OutboxTest, ACommitWithMessagesRingsTheBell) {
  qv::OutboxBell bell(*host_);
  const auto has_rung = [&](int milliseconds) {
    pollfd ring = {.fd = bell.descriptor(), .events = POLLIN, .revents = 0};
    return poll(&ring, 1, milliseconds) > 0;
  };
  for (int round = 0; round < 2; ++round) {
    EXPECT_FALSE(has_rung(0));
    std::jthread([&] { Write({7}); }).join();
    EXPECT_TRUE(has_rung(1000));
    bell.Clear();
  }
  if (support::OnPostgresql()) {
    support::QueryPostgresql(support::DatabaseOf(folder_ / "data"),
                             "SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE query LIKE 'LISTEN%'");
  } else {
    std::filesystem::remove(folder_ / "data/outbox.bell");
  }
  EXPECT_TRUE(has_rung(1000));
  while (has_rung(20)) bell.Clear();
  Write({8});
  EXPECT_TRUE(has_rung(1000)) << "it listens again";
}

}  // namespace
