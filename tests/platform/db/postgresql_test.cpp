/// What a server may do to a connection: the platform goes on, or says that nothing was applied.

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

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

/// Stands between the host and the server, and cuts the connection at the next COMMIT.
class Proxy {
 public:
  /// Called with the connection to the server and the bytes that have the COMMIT in them.
  using AtCommit = std::function<void(int server, std::string_view bytes)>;

  explicit Proxy(AtCommit at_commit) : at_commit_(std::move(at_commit)) {
    bind(door_.get(), reinterpret_cast<const sockaddr*>(&own_), sizeof own_);
    listen(door_.get(), 8);
    thread_ = std::thread([this] {
      for (int client = 0; (client = accept4(door_.get(), nullptr, nullptr, SOCK_CLOEXEC)) >= 0;)
        Forward(FileDescriptor(client));
    });
  }
  ~Proxy() {
    shutdown(door_.get(), SHUT_RDWR);
    thread_.join();
  }
  Proxy(const Proxy&) = delete;
  Proxy& operator=(const Proxy&) = delete;

  /// The URI of the same database behind the proxy.
  std::string Uri(std::string uri) const {
    return uri.replace(uri.find(Server()), Server().size(), folder_.path().string());
  }
  static std::string Server() { return std::getenv("QVCMS_TEST_SERVER"); }

 private:
  using FileDescriptor = qv::files::FileDescriptor;

  static sockaddr_un AddressIn(const std::string& folder) {
    sockaddr_un address = {.sun_family = AF_UNIX, .sun_path = {}};
    (folder + "/.s.PGSQL.5432").copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
  }
  /// One connection after the other: the host has one.
  void Forward(const FileDescriptor& client) {
    const FileDescriptor server(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address = AddressIn(Server());
    connect(server.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    pollfd ends[] = {{.fd = client.get(), .events = POLLIN, .revents = 0},
                     {.fd = server.get(), .events = POLLIN, .revents = 0}};
    while (poll(ends, 2, -1) > 0) {
      for (const int from : {0, 1}) {
        if (ends[from].revents == 0) continue;
        char bytes[65536];
        const ssize_t size = read(ends[from].fd, bytes, sizeof bytes);
        if (size <= 0) return;
        const std::string_view text(bytes, static_cast<std::size_t>(size));
        if (from == 0 && at_commit_ && text.find("COMMIT") != std::string_view::npos) {
          return std::exchange(at_commit_, nullptr)(server.get(), text);
        }
        qv::files::WriteAll(ends[1 - from].fd, text);
      }
    }
  }

  AtCommit at_commit_;
  const support::ScratchFolder folder_;
  const sockaddr_un own_ = AddressIn(folder_.path().string());
  const FileDescriptor door_{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
  std::thread thread_;
};

TEST_F(PostgresqlTest, WhatBecameOfACommitWhoseAnswerIsLostIsFoundOut) {
  const std::string database = support::DatabaseOf(folder());
  qv::files::FileDescriptor late;
  std::string late_bytes;
  struct {
    const char* what;
    bool is_committed;
    Proxy::AtCommit at_commit;
  } const cases[] = {
      {"the server never got it", false, [](int, std::string_view) {}},
      {"the server has done it", true,
       [](int server, std::string_view bytes) {
         qv::files::WriteAll(server, bytes);
         char answer = 0;
         EXPECT_EQ(read(server, &answer, 1), 1);
       }},
      {"the server crashes, and others get the ids of the transactions that it lost", false,
       [&](int, std::string_view) {
         ASSERT_EQ(std::system((Proxy::Server() + "/control crash").c_str()), 0);
         for (int i = 0; i < 20; ++i) support::QueryPostgresql(database, "SELECT pg_current_xact_id()");
       }},
      {"the server gets it after it was asked about it", false,
       [&](int server, std::string_view bytes) {
         late = qv::files::FileDescriptor(dup(server));
         late_bytes = bytes;
       }},
  };
  for (const auto& [what, is_committed, at_commit] : cases) {
    SCOPED_TRACE(what);
    qv::db::Close();
    const Proxy proxy(at_commit);
    qv::db::Options options = support::OptionsFor(folder());
    options.driver.database = proxy.Uri(database);
    qv::db::Open(folder(), options);
    bool is_reported = true;
    {
      qv::db::UnitOfWork unit(7);
      Insert(what);
      try {
        unit.Commit();
      } catch (const Error& error) {
        EXPECT_EQ(error.kind(), Error::Kind::Lost) << error.what();
        EXPECT_TRUE(qv::db::MayBeDoneAgain());
        is_reported = false;
      }
    }
    EXPECT_EQ(is_reported, is_committed);
    if (late) {
      qv::files::WriteAll(late.get(), late_bytes);
      char answer = 0;
      EXPECT_EQ(read(late.get(), &answer, 1), 1);
    }
    const std::string found =
        support::QueryPostgresql(database, "SELECT count(*) FROM setting WHERE name = '" + std::string(what) + "'")[0];
    EXPECT_EQ(found, is_committed ? "1" : "0");
    qv::db::Close();
  }
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
