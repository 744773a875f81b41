/// The host as a program sees it that has nothing but its header.

#include <fcntl.h>
#include <qv/json.h>
#include <qv/outbox.h>
#include <sys/file.h>
#include <unistd.h>

#include <thread>

#include "scratchhost.h"

namespace {

using qv::Document;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
namespace fs = std::filesystem;

/// A snapshot with terminals 1 to `terminals` and speakers 1 to `speakers`.
Document Devices(int terminals, int speakers, const std::string& name = "hall") {
  Json::Value snapshot;
  for (const auto& [section, count] : {std::pair("POS_info", terminals), {"speaker_info", speakers}}) {
    snapshot[section] = Json::arrayValue;
    for (int id = 1; id <= count; ++id) {
      Json::Value& device = snapshot[section].append(Json::objectValue);
      device["id"] = id;
      device["name"] = name;
    }
  }
  return Document(snapshot);
}

Document Speakers(int count, const std::string& name = "hall") { return Devices(0, count, name); }

/// The changes of one kind as "added updated removed unchanged".
std::string Of(const std::string& kind, const qv::ChangeResult& result) {
  for (const qv::KindChanges& changes : result.changes) {
    if (changes.kind != kind) continue;
    return std::to_string(changes.added) + ' ' + std::to_string(changes.updated) + ' ' +
           std::to_string(changes.removed) + ' ' + (changes.unchanged ? std::to_string(*changes.unchanged) : "-");
  }
  return "";
}

std::vector<std::int64_t> Ids(const std::vector<qv::Row>& rows) {
  std::vector<std::int64_t> ids;
  for (const qv::Row& row : rows) ids.push_back(row.front().second.asInt64());
  return ids;
}

Json::Value Column(const qv::Row& row, const std::string& name) {
  for (const auto& [column, value] : row) {
    if (column == name) return value;
  }
  return {};
}

/// Runs `work(n)` in eight threads of their own, n from 0 to 7.
void FromEightThreads(const std::function<void(std::size_t)>& work) {
  std::vector<std::jthread> threads;
  for (std::size_t n = 0; n < 8; ++n) threads.emplace_back(work, n);
}

auto OpenFiles() { return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()); }

TEST_F(HostApiTest, FollowsTheDocuments) {
  qv::Host& host = Open();
  host.Pair(7, Speakers(3), {.model = "QVA-3216"});
  const auto state = [&] { return support::DumpDatabase(folder_ / "data"); };
  const std::vector<std::string> paired = state();
  const qv::ImportResult plan = host.Plan(7, Speakers(2, "yard"));
  EXPECT_EQ(Of("speaker", plan), "0 2 1 0");
  EXPECT_TRUE(plan.has_changes);
  EXPECT_EQ(state(), paired);
  EXPECT_EQ(Of("speaker", host.Update(7, Speakers(2, "yard"))), "0 2 1 0");
  const std::size_t messages = qv::Outbox(host).Read({}).size();
  const qv::ImportResult again = host.Update(7, Speakers(2, "yard"));
  EXPECT_EQ(Of("speaker", again), "0 0 0 2");
  EXPECT_EQ(Of("message", again), "3 0 0 -");
  EXPECT_EQ(qv::Outbox(host).Read({.limit = SIZE_MAX}).size(), messages + 3);
  EXPECT_FALSE(again.has_changes);
  EXPECT_GT(again.took.count(), 0);
}

TEST_F(HostApiTest, RefusesWithACodeFromEightThreadsAtOnceAndChangesNothing) {
  const auto files = OpenFiles();
  qv::Host& host = Open();
  host.Pair(7, Speakers(10));
  host.Pair(8, Speakers(1));
  support::ExecuteInFolder(folder_ / "data",
                           support::RefusingTrigger("refuse_going", "DELETE", "ipspeaker", "OLD.owner_zr_id=8"));
  support::ExecuteInFolder(folder_ / "data", support::RefusingTrigger("refuse_coming", "INSERT", "server", "NEW.id=9"));
  const Document empty(Json::objectValue);
  Json::Value not_utf8;
  not_utf8["name"] = "\xFF";
  const struct {
    const char* refusal;  ///< how it begins
    std::function<void()> call;
  } cases[] = {
      {"bad-argument: a server id", [&] { host.Update(0, Speakers(1)); }},
      {"bad-argument: there is no kind \"teapot\"", [&] { host.List({.kind = "teapot"}); }},
      {"bad-argument: the model cannot be kept", [&] { host.Pair(7, Speakers(1), {.model = "\xFF"}); }},
      {"unreadable-document: the document must be a JSON object", [] { Document(Json::Value(5)); }},
      {"unreadable-document: the document cannot be kept: a text", [&] { Document document(not_utf8); }},
      {"unknown-device: there is no camera", [&] { host.SetConfiguring("camera", 5, true); }},
      {"not-removed: server 8 is not removed: a step failed", [&] { host.Remove(8); }},
      {"failed: the record of server 9", [&] { host.Pair(9, Speakers(1)); }},
  };
  const std::vector<std::string> before = support::DumpDatabase(folder_ / "data");
  FromEightThreads([&](std::size_t first) {
    for (std::size_t i = 0; i < std::size(cases); ++i) {
      const auto& [refusal, call] = cases[(first + i) % std::size(cases)];
      EXPECT_THAT(RefusalOf(call), StartsWith(refusal));
    }
  });
  EXPECT_EQ(support::DumpDatabase(folder_ / "data"), before);
  EXPECT_EQ(Of("speaker", host.Update(7, empty, {.allow_removals = true})), "0 0 10 0");
  EXPECT_THROW(qv::Host second(Options()), std::logic_error);
  host_.reset();
  EXPECT_EQ(OpenFiles(), files);
}

TEST_F(HostApiTest, RefusesEightThreadsBesideAnotherWriter) {
  if (support::OnPostgresql()) GTEST_SKIP() << "the folder is not the database there";
  qv::HostOptions options = Options();
  options.busy_timeout = std::chrono::milliseconds(20);
  qv::Host& host = Open(options);
  const int other_writer = open((folder_ / "data/writer.lock").c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(flock(other_writer, LOCK_EX), 0);
  const auto start = std::chrono::steady_clock::now();
  FromEightThreads(
      [&](std::size_t) { EXPECT_THAT(RefusalOf([&] { host.Pair(7, Speakers(1)); }), StartsWith("busy: ")); });
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
  close(other_writer);
  host.Pair(7, Speakers(1));
}

TEST_F(HostApiTest, DoesNotBeginAnewInTheFolderOfAHostWhoseRowsAreElsewhere) {
  if (!support::OnPostgresql()) GTEST_SKIP() << "they are in the folder";
  Open();
  host_.reset();
  qv::HostOptions options = Options();
  options.database.clear();
  for (const bool make_if_missing : {true, false}) {
    options.make_if_missing = make_if_missing;
    const std::string refusal = RefusalOf([&] { Open(options); });
    EXPECT_THAT(refusal, StartsWith("not-a-host: "));
    EXPECT_THAT(refusal, testing::HasSubstr("whose rows are in the database qv on "));
  }
  EXPECT_FALSE(fs::exists(folder_ / "data/qvcms.db"));
}

TEST_F(HostApiTest, RefusesToRemoveMostDevicesAndPlanSaysSo) {
  const struct {
    Document before, after;
    std::string removals;  ///< that are too many; empty: they are not
  } cases[] = {
      {Devices(9, 0), Devices(0, 0), ""},
      {Devices(10, 0), Devices(5, 0), ""},
      {Devices(10, 0), Devices(4, 0), "6 of 10 pos, 6 of 10 devices in all"},
      {Devices(9, 9), Devices(0, 9), ""},
      {Devices(9, 9), Devices(0, 8), "10 of 18 devices in all"},
      {Devices(0, 12), Devices(12, 0), "12 of 12 speaker, 12 of 12 devices in all"},
  };
  qv::Host& host = Open();
  int zr = 0;
  for (const auto& [before, after, removals] : cases) {
    host.Pair(++zr, before);
    std::string planned;
    for (const qv::Refusal& refusal : host.Plan(zr, after).refusals) planned += refusal.what();
    EXPECT_EQ(planned, removals.empty() ? "" : "it removes " + removals);
    const std::string refused =
        removals.empty() ? "" : "too-many-removals: the document would remove " + removals + "; nothing was changed";
    EXPECT_EQ(RefusalOf([&, &update = after] { host.Update(zr, update); }), refused);
    EXPECT_EQ(host.Plan(zr, removals.empty() ? after : before).has_changes, false);
  }
  const qv::ImportResult plan = host.Plan(zr, Document(Json::objectValue));
  EXPECT_EQ(NameOf(plan.refusals.at(0).code()), "empty-document");
  EXPECT_EQ(plan.refusals.size(), 2U);
}

TEST_F(HostApiTest, DeviceThatIsBeingConfiguredStaysAsItIs) {
  qv::Host& host = Open();
  host.Pair(7, Document::Parse(R"({"camera_info":[{"id":4}],"iomodule_info":[{"id":4}]})"));
  const Document renamed =
      Document::Parse(R"({"camera_info":[{"id":4,"name":"new"}],"iomodule_info":[{"id":4,"name":"new"}]})");
  for (const std::string_view each : qv::Host::ConfigurableKinds()) {
    const std::string kind(each);
    EXPECT_EQ(Of(kind, host.SetConfiguring(kind, 1, true)), "0 1 0 -");
    EXPECT_EQ(Of(kind, host.Plan(7, renamed)), "0 0 0 1");
    host.SetConfiguring(kind, 1, false);
    EXPECT_EQ(Of(kind, host.Plan(7, renamed)), "0 1 0 0");
  }
}

TEST_F(HostApiTest, ListsPageByPageFromOneState) {
  qv::Host& host = Open();
  host.Pair(7, Speakers(5));
  host.Pair(8, Speakers(2));
  const qv::Page page = host.List({.kind = "speaker", .zr = 7, .after = 2, .limit = 2});
  EXPECT_THAT(Ids(page.rows), ElementsAre(3, 4));
  EXPECT_EQ(page.after, 4);
  EXPECT_FALSE(host.List({.kind = "speaker", .zr = 7, .after = 2, .limit = 3}).after);

  std::vector<std::vector<std::int64_t>> pages;
  host.ForEachPage({.kind = "speaker", .limit = 3}, [&](const std::vector<qv::Row>& rows) {
    if (pages.empty()) std::jthread([&] { host.Remove(7); });
    pages.push_back(Ids(rows));
    return pages.size() < 3;
  });
  EXPECT_THAT(pages, ElementsAre(ElementsAre(1, 2, 3), ElementsAre(4, 5, 6), ElementsAre(7)))
      << "what was committed meanwhile shows";
  EXPECT_THAT(Ids(host.List({.kind = "speaker", .limit = SIZE_MAX}).rows), ElementsAre(6, 7));
}

TEST_F(HostApiTest, FindsDevicesByTextAndByState) {
  qv::Host& host = Open();
  host.Pair(7, Document::Parse(R"({"POS_info":[{"id":1,"name":"Bar 50%","vendor":"Tillworks","username":"otter"},
                                               {"id":2,"name":"BAR 500","host":"192.0.2.9","username":"otter"}]})"));
  host.Status(7, Document::Parse(R"({"status":1,"POS_info":[{"id":1,"status":1},{"id":2,"status":3}]})"));
  const struct {
    const char* text;
    std::vector<std::int64_t> ids;
  } cases[] = {{"bar", {1, 2}}, {"50%", {1}},  {"r_5", {}}, {"tillWORKS", {1}},
               {"0.2.9", {2}},  {"otter", {}}, {"!", {}}};
  for (const auto& [text, ids] : cases) {
    EXPECT_EQ(Ids(host.List({.kind = "pos", .search = text}).rows), ids) << text;
  }
  EXPECT_THAT(Ids(host.List({.kind = "pos", .not_well = true}).rows), ElementsAre(2));
  EXPECT_THAT(RefusalOf([&] { host.List({.kind = "message", .search = "x"}); }), StartsWith("bad-argument: "));
  EXPECT_THAT(RefusalOf([&] { host.List({.kind = "pos", .search = "\xff"}); }), StartsWith("bad-argument: "));
}

TEST_F(HostApiTest, ShowsUnknownMembersByNameUnlessAsked) {
  qv::Host& host = Open();
  host.Pair(7, Document::Parse(R"({"POS_info":[{"id":1,"name":"x","bandwidth":812,"session_token":"t0p"}]})"));
  qv::ListQuery query{.kind = "pos"};
  const Json::Value names = Column(host.List(query).rows.at(0), "extra");
  EXPECT_EQ(names.size(), 2U);
  EXPECT_EQ(names[0], "bandwidth");
  query.extra_values = true;
  EXPECT_EQ(Column(host.List(query).rows.at(0), "extra")["bandwidth"], 812);
  EXPECT_EQ(Column(host.List(query).rows.at(0), "extra")["session_token"], "***") << "a secret stays one";
}

TEST_F(HostApiTest, TakesAMissingHostForAnEmptyOne) {
  support::ReturnDatabasesBelow(folder_);
  qv::HostOptions options = Options();
  options.make_if_missing = false;
  qv::Host& host = Open(options);
  EXPECT_THAT(host.List({.kind = "camera"}).rows, IsEmpty());
  EXPECT_FALSE(host.Remove(7).was_held);
  EXPECT_THAT(qv::Outbox(host).Read({}), IsEmpty());
  EXPECT_THAT(RefusalOf([&] { host.Pair(7, Speakers(1)); }), StartsWith("not-a-host: there is no host in "));
  EXPECT_THAT(RefusalOf([&] { host.Status(7, Document::Parse(R"({"status":1})")); }), StartsWith("unknown-server: "));
  EXPECT_THAT(RefusalOf([&] { host.SetConfiguring("camera", 1, true); }), StartsWith("unknown-device: "));
  EXPECT_FALSE(fs::exists(options.data_folder));
  EXPECT_THROW(qv::Host second(options), std::logic_error) << "a host without data is one, too";
}

TEST_F(HostApiTest, TellsHowFarItIs) {
  qv::HostOptions options = Options();
  std::vector<std::string> told;
  qv::Host& host = Open(options);
  const auto start = std::chrono::steady_clock::now();
  host.Pair(7, Speakers(30'000), {.progress = [&](const qv::Progress& progress) {
              EXPECT_LE(progress.done, progress.total);
              told.push_back(std::string(progress.kind) + " of " + std::to_string(progress.total));
            }});
  EXPECT_THAT(told, testing::AllOf(testing::Not(IsEmpty()), testing::Each("speaker of 30000")));
  const auto tenths = (std::chrono::steady_clock::now() - start) / std::chrono::milliseconds(100);
  EXPECT_LE(told.size(), static_cast<std::size_t>(tenths)) << "more often than ten times a second";
}

}  // namespace
