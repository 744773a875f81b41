/// What a server may do to a connection: the platform goes on, or says that nothing was applied.

#include <thread>

#include "support/hosttest.h"

namespace {

using qv::db::Error;

struct PostgresqlTest : support::HostTest {
  void SetUp() override {
    if (!support::OnPostgresql()) GTEST_SKIP() << "about a server";
  }

  static void Insert(const std::string& name) {
    qv::db::ThisThread().Prepare("INSERT INTO setting (name,text) VALUES ($1,'')").Bind(std::string_view(name)).Run();
  }
  /// The server ends this thread's connection.
  void Disconnect() const {
    qv::db::Query own = qv::db::ThisThread().Prepare("SELECT pg_backend_pid()");
    ASSERT_TRUE(own.Next());
    Rows("SELECT pg_terminate_backend(" + std::string(own.Row().Text(0)) + ",5000) AS ended");
  }
};

TEST_F(PostgresqlTest, AConnectionThatIsLostBetweenCallsIsMadeAgain) {
  Insert("before");
  Disconnect();
  EXPECT_EQ(qv::db::ThisThread().Prepare("SELECT name FROM setting").Next(), true);
  Disconnect();
  Insert("after");
  EXPECT_THAT(Rows("SELECT name FROM setting"), ElementsAre("before", "after"));
}

TEST_F(PostgresqlTest, OfAUnitOfWorkThatLosesItsConnectionNothingIsApplied) {
  {
    qv::db::UnitOfWork unit(7);
    Insert("lost");
    Disconnect();
    EXPECT_THAT([] { Insert("more"); }, testing::Throws<Error>(testing::Property(&Error::kind, Error::Kind::Lost)));
    EXPECT_THAT([&] { unit.Commit(); }, testing::Throws<Error>(testing::Property(&Error::kind, Error::Kind::Lost)));
  }
  EXPECT_THAT(Rows("SELECT name FROM setting"), IsEmpty());
  support::InUnit(
      true, [] { Insert("next"); }, 7);
  EXPECT_THAT(Rows("SELECT name FROM setting"), ElementsAre("next"));
}

TEST_F(PostgresqlTest, ACommitWhoseAnswerIsLostIsFoundOut) {
  qv::db::UnitOfWork unit(7);
  Insert("in doubt");
  Disconnect();
  EXPECT_THAT([&] { unit.Commit(); }, testing::Throws<Error>(testing::Property(&Error::kind, Error::Kind::Lost)))
      << "the server says that it was not done";
}

TEST_F(PostgresqlTest, UnitsOfTwoServersRunAtTheSameTimeAndThoseOfOneFollowOneAnother) {
  const auto opens = [](int zr) {
    bool is_open = false;
    std::thread([&] {
      try {
        const qv::db::UnitOfWork unit(zr);
        is_open = true;
      } catch (const Error& error) {
        EXPECT_EQ(error.kind(), Error::Kind::Busy);
      }
    }).join();
    return is_open;
  };
  qv::db::Close();
  qv::db::Options options = support::OptionsFor(folder());
  options.driver.busy_timeout = std::chrono::milliseconds(50);
  qv::db::Open(folder(), options);
  const qv::db::UnitOfWork unit(7);
  EXPECT_TRUE(opens(8));
  EXPECT_FALSE(opens(7));
  EXPECT_FALSE(opens(0)) << "one about the whole host waits for all";
}

}  // namespace
