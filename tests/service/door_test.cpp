/// qvcmsd among clients that mean no good, certificates, and kills.

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "servicerunner.h"

namespace qv::test {
namespace {

using testing::HasSubstr;

struct ServiceDoorTest : ServiceTest {
  /// A connection that has sent `text`.
  files::FileDescriptor Connect(const std::string& text) const {
    files::FileDescriptor descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(std::stoi(address_.substr(address_.find(':') + 1))));
    EXPECT_EQ(connect(descriptor.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    files::WriteAll(descriptor.get(), text);
    return descriptor;
  }
  /// What comes until the other side closes.
  static std::string ReadAll(const files::FileDescriptor& connection) {
    std::string text;
    char piece[4096];
    for (ssize_t got = 0; (got = read(connection.get(), piece, sizeof piece)) > 0;) {
      text.append(piece, static_cast<std::size_t>(got));
    }
    return text;
  }
  /// How many files the service has open, once its threads have opened theirs.
  std::size_t OpenFilesAtRest() const {
    for (int i = 0; i < 8; ++i) EXPECT_EQ(Curl("/v1/slaves").status, 200);
    std::size_t files = 0;
    EXPECT_TRUE(Within(5, [&] { return std::exchange(files, OpenFiles()) == OpenFiles(); }));
    return files;
  }
  std::size_t OpenFiles() const {
    const std::filesystem::directory_iterator files("/proc/" + std::to_string(service_) + "/fd");
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
  }
};

constexpr const char* kHeader = "POST /v1/slaves/7/pair HTTP/1.1\r\nHost: localhost\r\n";

TEST_F(ServiceDoorTest, ClientsThatGoSlowlyAreCutOffAndHoldUpNobody) {
  Start("--header-time 1 --body-time 1 --idle-time 1");
  EXPECT_EQ(Curl("/v1/slaves/7/pair", kPair).status, 200);
  const std::size_t files = OpenFilesAtRest();
  std::vector<files::FileDescriptor> slow;
  for (int i = 0; i < 300; ++i) {
    slow.push_back(Connect(i % 3 == 0   ? "GET /v1/sla"
                           : i % 3 == 1 ? ""
                                        : kHeader + std::string("Content-Length: 1000\r\n\r\n{")));
  }
  const auto begin = std::chrono::steady_clock::now();
  int sent = 0;
  EXPECT_TRUE(Within(20,
                     [&] {
                       for (const auto& connection : slow) send(connection.get(), " ", 1, MSG_NOSIGNAL);
                       ++sent;
                       EXPECT_EQ(Curl("/v1/slaves").status, 200);
                       return OpenFiles() <= files + 2;
                     }))
      << "a byte now and then keeps a connection open: " << OpenFiles();
  EXPECT_GE(sent, 2);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

TEST_F(ServiceDoorTest, WhatIsHalfGoneOrInOneGoIsAnsweredOrForgotten) {
  Start();
  EXPECT_EQ(Curl("/v1/slaves/7/pair", kPair).status, 200);
  const std::size_t files = OpenFilesAtRest();
  const std::string get = "GET /v1/slaves/7 HTTP/1.1\r\nHost: localhost\r\n";
  const std::string both = ReadAll(Connect(get + "\r\n" + get + "Connection: close\r\n\r\n"));
  EXPECT_NE(both.find("200 OK"), both.rfind("200 OK")) << "two requests at once: " << both;
  for (int i = 0; i < 200; ++i) Connect(get + "\r\n");  // gone before the answer
  for (const char* const half : {"", "Content-Length: 9\r\n\r\n", "Content-Length: 9\r\n\r\n{"}) {
    for (int i = 0; i < 100; ++i) Connect(kHeader + std::string(half));  // gone before its end
  }
  for (const char* const text : {"\r\n\r\n\r\n", "GET", "\x16\x03\x01\x02\x01", "GET / HTTP/9.9\r\n\r\n",
                                 "GET /%zz HTTP/1.1\r\nHost: a\r\n\r\n"}) {
    Connect(text);
  }
  EXPECT_EQ(Curl("/v1/slaves", "-H 'X-Large: " + std::string(40'000, 'x') + "'").status / 100, 4)
      << "a header too large";
  EXPECT_EQ(Curl("/v1/slaves/7").status, 200);
  EXPECT_TRUE(Within(20, [&] { return OpenFiles() <= files; })) << OpenFiles() << " files are open, not " << files;
  EXPECT_EQ(Stop(), 0);
}

TEST_F(ServiceDoorTest, OneSlaveFillsItsOwnQueueAlone) {
  Start("--queue-per-slave 2 --readers 1");
  Run("list camera");  // the folder is there
  const files::FileDescriptor lock(open((folder_ / "data/writer.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  ASSERT_EQ(flock(lock.get(), LOCK_EX), 0);  // nobody can write
  const std::string request = kHeader + std::string("Content-Length: 18\r\n\r\n{\"camera_info\":[]}");
  std::vector<files::FileDescriptor> waiting;
  for (int i = 0; i < 8; ++i) waiting.push_back(Connect(request));
  Reply full;
  EXPECT_TRUE(Within(8, [&] { return (full = Curl("/v1/slaves/7/pair", "--max-time 1 " + kPair)).status == 503; }));
  EXPECT_THAT(full.body, HasSubstr("slave-overloaded"));
  EXPECT_THAT(full.headers, HasSubstr("Retry-After: 1"));
  Shell("{ curl --silent --output other --write-out '%{http_code}' http://" + address_ + "/v1/slaves/8/pair " + kPair +
        " >code 2>/dev/null & }");
  flock(lock.get(), LOCK_UN);
  EXPECT_TRUE(Within(15, [&] { return support::ReadWholeFile(folder_ / "code") == "200"; })) << "another slave";
}

TEST_F(ServiceDoorTest, WhatWasAnsweredSurvivesKillsOnceAndWhole) {
  Write("document", R"({"camera_info":[{"id":1,"name":"A"},{"id":2,"name":"B"}],"POS_info":[{"id":1,"name":"T"}]})");
  for (int round = 0; round < 3; ++round) {
    Start();
    std::thread clients([&] {
      Shell("seq " + std::to_string(1 + 1000 * round) + " " + std::to_string(1000 * (round + 1)) +
            " | xargs -P 8 -I{} sh -c 'curl --silent --fail --output /dev/null --data-binary @document http://" +
            address_ + "/v1/slaves/{}/pair && echo {} >>answered || exit 255' 2>/dev/null");
    });
    const auto answered = [&] { return support::ReadWholeFile(folder_ / "answered").size(); };
    EXPECT_TRUE(Within(20, [&, before = answered()] { return answered() > before + 500; }));
    EXPECT_EQ(Stop(SIGKILL), -SIGKILL);
    clients.join();
  }
  std::map<int, int> rows;
  for (const char* const kind : {"camera", "pos"}) {
    for (const Json::Value& row : RunJson(std::string("list ") + kind)) ++rows[row["owner_zr_id"].asInt()];
  }
  for (const auto& [zr, count] : rows) EXPECT_EQ(count, 3) << "slave " << zr;
  std::istringstream answered(support::ReadWholeFile(folder_ / "answered"));
  for (int zr = 0; answered >> zr;) EXPECT_EQ(rows[zr], 3) << "slave " << zr << " was answered";
}

TEST_F(ServiceDoorTest, ClientsShowCertificatesAndTheServicesOwnIsRenewed) {
  const auto certificate = [&](const std::string& name, const std::string& subject, const std::string& more) {
    const Result made =
        Shell("openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 -keyout " + name +
              ".key -out " + name + ".pem -subj '/CN=" + subject + "' " + more);
    EXPECT_EQ(made.status, 0) << made.err;
  };
  certificate("ca", "authority", "");
  certificate("service", "localhost", "-CA ca.pem -CAkey ca.key -addext subjectAltName=DNS:localhost");
  certificate("slave", "slave:7", "-CA ca.pem -CAkey ca.key -addext extendedKeyUsage=clientAuth");
  certificate("stranger", "slave:7", "");
  Start("--tls-certificate service.pem --tls-key service.key --client-ca ca.pem");
  const auto curl = [&](const std::string& path, const std::string& arguments) {
    return Shell("curl --silent --cacert ca.pem --output body --write-out '%{http_code}' https://localhost" +
                 address_.substr(address_.find(':')) + path + " " + arguments)
        .out;
  };
  const std::string slave = "--cert slave.pem --key slave.key ";
  EXPECT_EQ(curl("/v1/slaves/7/pair", slave + kPair), "200");
  EXPECT_EQ(curl("/v1/slaves/8/pair", slave + kPair), "403");
  EXPECT_EQ(curl("/v1/slaves", slave), "403");
  EXPECT_EQ(curl("/v1/slaves/7/pair", "--cert stranger.pem --key stranger.key " + kPair), "401") << "of nobody we know";
  EXPECT_EQ(curl("/v1/slaves/7/pair", kPair), "401") << "shows none, and there are no tokens";
  EXPECT_EQ(curl("/v1/session", "-X DELETE --dump-header headers"), "200");
  EXPECT_THAT(support::ReadWholeFile(folder_ / "headers"), testing::HasSubstr("; Secure"));

  certificate("ca", "another authority", "");
  certificate("service", "localhost", "-CA ca.pem -CAkey ca.key -addext subjectAltName=DNS:localhost");
  EXPECT_EQ(curl("/healthz", ""), "000") << "the old certificate is in use";
  std::filesystem::rename(folder_ / "log", folder_ / "log.1");
  kill(service_, SIGHUP);
  EXPECT_TRUE(Within(5, [&] { return curl("/healthz", "") == "200"; }));
  EXPECT_EQ(curl("/v1/slaves/7/pair", slave + kPair), "401") << "the authority of this client is gone";
  EXPECT_TRUE(std::filesystem::exists(folder_ / "log"));
}

TEST_F(ServiceDoorTest, TakesItsSocketFromSystemdAndTellsItHowItIs) {
  Start();  // finds a free port
  Stop();
  const files::FileDescriptor told_by(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  sockaddr_un address = {.sun_family = AF_UNIX, .sun_path = {}};
  (folder_ / "notify").string().copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(bind(told_by.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  std::string told;
  const auto tells = [&](const std::string& text) {
    return Within(10, [&] {
      char message[256];
      const ssize_t size = recv(told_by.get(), message, sizeof message, MSG_DONTWAIT);
      if (size > 0) told.append(message, static_cast<std::size_t>(size)).append(" ");
      return told.ends_with(text);
    });
  };
  Launch("systemd-socket-activate --listen=" + address_ + " --setenv=NOTIFY_SOCKET='" + address.sun_path +
         "' '" QVCMSD_PATH "' --data-dir data --log-file log");
  EXPECT_TRUE(Within(10, [&] { return Curl("/healthz").status == 200; })) << Errors();
  EXPECT_TRUE(tells("WATCHDOG=1 ")) << told;
  EXPECT_TRUE(told.starts_with("READY=1 ")) << told;
  kill(service_, SIGHUP);
  EXPECT_TRUE(tells("RELOADING=1 READY=1 ")) << told;
  EXPECT_EQ(Stop(), 0);
  EXPECT_TRUE(tells("STOPPING=1 ")) << told;
}

TEST_F(ServiceDoorTest, WhatIsShippedBesideTheProgramIsAccepted) {
  const std::string sources = QV_EXAMPLES "/../service/";
  const Result rules = Shell("promtool check rules " + sources + "monitoring/alerts.yml && promtool test rules " +
                             sources + "monitoring/alerts_test.yml");
  EXPECT_EQ(rules.status, 0) << rules.out << rules.err;
  Start();
  EXPECT_EQ(Curl("/v1/slaves/7/pair", kPair).status, 200);
  EXPECT_EQ(Curl("/v1/slaves/7/status", "--data-binary @" QV_EXAMPLES "/slave7-status.json").status, 200);
  const std::string metrics = Curl("/metrics").body;
  const std::string asked = support::ReadWholeFile(sources + "monitoring/dashboard.json") +
                            support::ReadWholeFile(sources + "monitoring/alerts.yml");
  for (std::size_t at = asked.find("qvcms_"); at != std::string::npos; at = asked.find("qvcms_", at + 1)) {
    const std::size_t end = asked.find_first_not_of("abcdefghijklmnopqrstuvwxyz_", at);
    EXPECT_THAT(metrics, HasSubstr("\n" + asked.substr(at, end - at))) << "an alert or panel asks for it";
  }
}

}  // namespace
}  // namespace qv::test
