/// qvcmsd as its clients see it.

#include "servicerunner.h"

namespace qv::test {
namespace {

using testing::HasSubstr;
using testing::Not;

const std::string kSnapshot = "--data-binary @" QV_EXAMPLES "/slave7-snapshot-1.json";
const std::string kStatus = "--data-binary @" QV_EXAMPLES "/slave7-status.json";

TEST_F(ServiceTest, AnswersEveryRouteThatItDescribes) {
  Start();
  struct {
    const char* route;  ///< as described
    std::string path, arguments;
    int status;
    const char* text;  ///< in the answer
  } const cases[] = {
      {"POST /v1/slaves/{zr}/pair", "/v1/slaves/7/pair?model=QVA%203216", kPair, 200,
       R"({"kind":"camera","added":10,"updated":0,"removed":0,"unchanged":0})"},
      {"POST /v1/slaves/{zr}/plan", "/v1/slaves/7/plan", kSnapshot, 200, R"("camera","added":1,"updated":2)"},
      {"POST /v1/slaves/{zr}/snapshot", "/v1/slaves/7/snapshot", "-d '{\"camera_info\":[]}'", 409,
       R"("code": "too-many-removals")"},
      {"POST /v1/slaves/{zr}/snapshot", "/v1/slaves/7/snapshot", kSnapshot, 200, R"("camera","added":1,"updated":2)"},
      {"POST /v1/slaves/{zr}/snapshot", "/v1/slaves/7/snapshot", "-d '{\"POS_info\":[{\"id\":{}}]}'", 422,
       R"("place": "POS_info[0].id")"},
      {"POST /v1/slaves/{zr}/snapshot", "/v1/slaves/7/snapshot", "-d '{\n]'", 400, R"("line": 2)"},
      {"POST /v1/slaves/{zr}/status", "/v1/slaves/7/status", kStatus, 200, R"("CamCnt": 9)"},
      {"POST /v1/slaves/{zr}/status", "/v1/slaves/8/status", kStatus, 404, R"("code": "unknown-server")"},
      {"GET /v1/slaves", "/v1/slaves", "", 200, R"("id":7,"model":"QVA 3216")"},
      {"GET /v1/slaves", "/v1/slaves?zr=x", "", 400, "no column"},
      {"GET /v1/slaves/{zr}", "/v1/slaves/7", "", 200, R"("silent": false)"},
      {"GET /v1/slaves/{zr}/{kind}", "/v1/slaves/7/pos", "", 200, R"("owner_zr_id":7)"},
      {"GET /v1/{kind}", "/v1/camera?zr=7&limit=1&after=1&vendor=Oculor", "", 200, R"({"id":2,)"},
      {"GET /v1/{kind}", "/v1/camera?password=x", "", 400, "no column"},
      {"PUT /v1/{kind}/{id}/configuring", "/v1/camera/2/configuring", "-X PUT -d '{\"configuring\":true}'", 200,
       R"({"kind":"camera","id":2,"configuring":true})"},
      {"GET /v1/messages", "/v1/messages?target=client", "", 200, R"("target":"client")"},
      {"GET /v1/events", "/v1/events", "--max-time 1", 200, ":\n"},
      {"GET /metrics", "/metrics", "", 200, R"(qvcms_documents_total{kind="status",result="applied"} 1)"},
      {"GET /healthz", "/healthz", "", 200, "ok"},
      {"GET /readyz", "/readyz", "", 200, "ready"},
      {"GET /v1/openapi.json", "/v1/openapi.json", "", 200, "3.1.0"},
      {"GET /v1/session", "/v1/session", "", 200, R"("wants_token": false)"},
      {"POST /v1/session", "/v1/session", "-d '{\"token\":\"qvt_0_0\"}'", 401, "not known"},
      {"DELETE /v1/session", "/v1/session", "-X DELETE", 200, R"("scope": [])"},
      {"GET /", "/", "--compressed", HasPage() ? 200 : 404, HasPage() ? "<!doctype html>" : "without its page"},
      {"GET /page/{file}", "/page/teapot.js", "", 404, R"("status": 404)"},
      {"DELETE /v1/slaves/{zr}", "/v1/slaves/7", "-X DELETE", 200, R"({"kind":"camera","removed":11,"updated":0})"},
  };
  const Json::Value description = Curl("/v1/openapi.json").json();
  std::set<std::string> tried;
  for (const auto& [route, path, arguments, status, text] : cases) {
    const Reply reply = Curl(path, arguments);
    EXPECT_EQ(reply.status, status) << route << ' ' << path << reply.body;
    EXPECT_THAT(reply.body, HasSubstr(text)) << route << ' ' << path;
    std::string method = route;
    method.resize(method.find(' '));
    for (char& letter : method) letter = static_cast<char>(std::tolower(letter));
    const Json::Value& described = description["paths"][route + method.size() + 1][method]["responses"];
    EXPECT_TRUE(described.isMember(std::to_string(status))) << route << " may answer " << status;
    tried.insert(route);
  }
  EXPECT_THAT(DescribedRoutes(), testing::UnorderedElementsAreArray(tried));
  const auto shows_devices = [&] { return Curl("/metrics").body.find("qvcms_devices{") != std::string::npos; };
  for (int attempt = 0; attempt < 100 && shows_devices(); ++attempt) usleep(100'000);  // counts may be kept for a while
  EXPECT_FALSE(shows_devices()) << "the slave was removed";
  EXPECT_EQ(Curl("/v1/slaves", "-X PATCH").status, 405);
  EXPECT_EQ(Curl("/v2").status, 404);
  EXPECT_EQ(Stop(), 0);
}

TEST_F(ServiceTest, LetsATokenDoWhatItIsForAndNothingElse) {
  const auto make = [&](const std::string& scope) {
    const std::string token = Run("token make --note '" + scope + "' --scope " + scope).out;
    return "-H 'Authorization: Bearer " + token.substr(0, token.find('\n')) + "' ";
  };
  const std::string slave = make("slave:7");
  const std::string read = make("read");
  const std::string operate = make("operate");
  const std::string metrics = make("metrics");
  Start();
  EXPECT_EQ(Curl("/v1/slaves/8/pair", operate + kPair).status, 200);
  const std::string before = Curl("/v1/slaves/8/camera", read).body;
  for (const std::string& route : DescribedRoutes()) {
    std::string path = route.substr(route.find(' ') + 1);
    const bool has_body = route.starts_with("P");
    const std::string method = "--max-time 2 -X " + route.substr(0, route.find(' ')) + (has_body ? " -d '{}' " : " ");
    const bool is_open = path == "/healthz" || path == "/readyz" || path == "/v1/openapi.json";
    const bool is_document = route.starts_with("POST");
    if (path == "/" || path.starts_with("/page/") || path == "/v1/session") continue;  // for everybody
    for (const auto& [name, value] : {std::pair("{zr}", "8"), {"{kind}", "camera"}, {"{id}", "1"}}) {
      if (const auto place = path.find(name); place != std::string::npos) path.replace(place, strlen(name), value);
    }
    EXPECT_EQ(Curl(path, method + slave).status, is_open ? 200 : 403) << "slave:7 at " << route;
    EXPECT_EQ(Curl(path, method).status, is_open ? 200 : 401) << "nobody at " << route;
    EXPECT_EQ(Curl(path, method + "-H 'Authorization: Bearer qvt_0_0'").status, is_open ? 200 : 401) << route;
    EXPECT_EQ(Curl(path, method + metrics).status == 403, !is_open && path != "/metrics") << "metrics at " << route;
    EXPECT_TRUE(!is_document || Curl(path, method + read).status == 403) << "read at " << route;
  }
  EXPECT_EQ(Curl("/v1/slaves/8/camera", read).body, before);
  EXPECT_EQ(Curl("/v1/slaves/7/pair", slave + kPair).status, 200);

  Shell("{ curl --silent " + read + "http://" + address_ + "/v1/events --output events; touch ended; } 2>&1 &");
  EXPECT_TRUE(
      Within(5, [&] { return Curl("/metrics", metrics).body.find("qvcms_event_watchers 1") != std::string::npos; }));
  const Json::Value tokens = RunJson("token list");
  EXPECT_EQ(tokens[0]["scope"], "slave:7");
  EXPECT_EQ(Run("token revoke " + tokens[0]["id"].asString()).status, 0);
  EXPECT_EQ(Run("token revoke " + tokens[1]["id"].asString()).status, 0);
  EXPECT_TRUE(Within(5, [&] { return std::filesystem::exists(folder_ / "ended"); })) << "the events of the revoked";
  EXPECT_TRUE(Within(5, [&] { return Curl("/v1/slaves/7/pair", slave + kPair).status == 401; })) << "revoked";
  const std::string secret = slave.substr(slave.find("qvt_") + 13, 64);
  for (const char* const file : {"log", "data/tokens.json"}) {
    EXPECT_THAT(support::ReadWholeFile(folder_ / file), Not(HasSubstr(secret))) << file;
  }
}

TEST_F(ServiceTest, RefusesAConfigurationFileWithAnOptionThatItDoesNotHave) {
  Write("conf", "log-level=2\nsilent-aftre=60\n");
  const Result result = Shell("'" QVCMSD_PATH "' --config conf --data-dir data --listen 127.0.0.1:0");
  EXPECT_EQ(result.status, 64);
  EXPECT_THAT(result.err, HasSubstr("has an option that is not known: silent-aftre\n"));
}

TEST_F(ServiceTest, WithoutTokensServesThisMachineAlone) {
  const Result result = Shell("'" QVCMSD_PATH "' --data-dir data --listen 0.0.0.0:0");
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, HasSubstr("Make a token first"));
  Start();
  EXPECT_EQ(Curl("/v1/slaves").status, 200);
  EXPECT_EQ(Curl("/v1/slaves", "-H 'Host: attacker.example'").status, 421) << "a name that was turned to this machine";
  EXPECT_EQ(Curl("/v1/slaves/7", "-X DELETE -H 'Origin: http://attacker.example'").status, 403) << "a foreign page";
}

TEST_F(ServiceTest, KeepsATokenInACookieThatOnlyItsOwnPageCanUse) {
  const std::string token = Run("token make --scope read --scope operate --note page").out;
  Start();
  const std::string text = token.substr(0, token.find('\n'));
  const Reply login = Curl("/v1/session", "-d '{\"token\":\"" + text + "\"}'");
  EXPECT_THAT(login.headers, HasSubstr("Set-Cookie: qvcmsd=" + text + "; Path=/; HttpOnly; SameSite=Strict"));
  const std::string cookie = "-H 'Cookie: theme=dark; qvcmsd=" + text + "' ";
  const std::string own = "-H 'Origin: http://" + address_ + "' ";
  const std::string foreign = "-H 'Origin: http://attacker.example' ";
  struct {
    std::string path, arguments;
    int status;
  } const cases[] = {
      {"/v1/slaves", cookie, 200},
      {"/v1/slaves", "-H 'Cookie: qvcmsd=qvt_0_0'", 401},
      {"/v1/slaves", cookie + foreign, 403},
      {"/v1/slaves", cookie + "-H 'Sec-Fetch-Site: cross-site'", 403},
      {"/v1/slaves/7", cookie + "-X DELETE " + own, 200},
      {"/v1/slaves/7", cookie + "-X DELETE -H 'Sec-Fetch-Site: same-origin'", 200},
      {"/v1/slaves/7", cookie + "-X DELETE", 403},
      {"/v1/session", "-d '{\"token\":\"" + text + "\"}' " + foreign, 403},
  };
  for (const auto& [path, arguments, status] : cases) EXPECT_EQ(Curl(path, arguments).status, status) << arguments;
  EXPECT_THAT(Curl("/v1/session", cookie).body, HasSubstr("\"operate\""));
  EXPECT_THAT(Curl("/v1/session", cookie + "-X DELETE " + own).headers, HasSubstr("qvcmsd=; Path=/; HttpOnly"));
}

TEST_F(ServiceTest, TakesGzipWithinItsLimitsAndAnswersWithIt) {
  Start("--max-body 20000 --max-document 100000");
  Write("bomb", "{\"POS_info\":[" + std::string(200'000, ' ') + "]}");
  Write("deep", "{\"POS_info\":" + std::string(100, '['));
  EXPECT_EQ(Shell("gzip -k bomb; gzip -c " QV_EXAMPLES "/slave7-pair.json >pair.gz; head -c 900 pair.gz >half.gz; "
                  "head -c 30000 /dev/zero >large")
                .status,
            0);
  struct {
    const char* file;
    const char* encoding;
    int status;
    const char* text;
  } const cases[] = {
      {"pair.gz", "gzip", 200, "camera"},
      {"bomb.gz", "gzip", 413, "document-too-large"},
      {"deep", "identity", 400, "document-too-deep"},
      {"half.gz", "gzip", 400, "no whole gzip"},
      {"large", "identity", 413, "too-large"},
      {"pair.gz", "br", 415, "unsupported-encoding"},
  };
  for (const auto& [file, encoding, status, text] : cases) {
    const Reply reply = Curl("/v1/slaves/7/pair", std::string("-H 'Expect:' -H 'Content-Encoding: ") + encoding +
                                                      "' --data-binary @" + file);
    EXPECT_EQ(reply.status, status) << file << ' ' << encoding;
    EXPECT_THAT(reply.body, HasSubstr(text)) << file << ' ' << encoding;
  }
  EXPECT_THAT(Curl("/v1/camera", "--compressed").headers, HasSubstr("Content-Encoding: gzip"));
}

TEST_F(ServiceTest, TellsHowManyOperationsFailed) {
  Start();
  EXPECT_EQ(Curl("/v1/slaves/7/pair", kPair).status, 200);
  support::ExecuteInFolder(folder_ / "data", support::RefusingTrigger("refuse", "UPDATE", "camera", "OLD.id=2"));
  EXPECT_THAT(Curl("/v1/slaves/7/snapshot", kSnapshot).headers, HasSubstr("Qv-Failed-Operations: 1\r\n"));
}

TEST_F(ServiceTest, TellsOfSilenceUntilTheNextReport) {
  Start("--silent-after 0.5");
  Shell("{ curl --silent --no-buffer http://" + address_ + "/v1/events --output events 2>/dev/null & }");
  EXPECT_EQ(Curl("/v1/slaves/7/pair", kPair).status, 200);
  EXPECT_FALSE(Curl("/v1/slaves").json()[0]["silent"].asBool());
  EXPECT_TRUE(Within(5, [&] { return Curl("/v1/slaves").json()[0]["silent"].asBool(); }));
  EXPECT_THAT(Curl("/metrics").body, HasSubstr("qvcms_slaves{state=\"silent\"} 1"));
  EXPECT_EQ(Curl("/v1/slaves/7/status", kStatus).status, 200);
  EXPECT_FALSE(Curl("/v1/slaves").json()[0]["silent"].asBool());
  EXPECT_EQ(Curl("/v1/camera/2/configuring", "-X PUT -d '{\"configuring\":true}'").status, 200);
  const auto told = [&](const std::string& text) {
    return Within(5, [&] { return support::ReadWholeFile(folder_ / "events").find(text) != std::string::npos; });
  };
  for (const char* event :
       {"event: pair\n", "event: silent\n", "event: well\n", "event: status\n", "event: configuring\n"}) {
    EXPECT_TRUE(told(event)) << event;
  }
  EXPECT_THAT(
      support::ReadWholeFile(folder_ / "events"),
      testing::ContainsRegex(
          R"("kind":"camera","removed":0,"updated":1\}\],"configuring":true,"id":2,"kind":"camera","time":"[^"]*","zr":7)"));
  EXPECT_TRUE(Within(5, [&] { return Curl("/v1/messages?command=slave-well").json().size() == 1; }));
  EXPECT_EQ(Curl("/v1/messages?command=slave-silent").json()[0]["payload"]["zr"], 7);
  EXPECT_EQ(Stop(), 0) << "with a watcher connected";
}

}  // namespace
}  // namespace qv::test
