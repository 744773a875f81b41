/// The host as a program sees it that has nothing but its header.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <qv/host.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <unistd.h>

#include <fstream>
#include <thread>

namespace {

using qv::Document;
using qv::RefusalCode;
using testing::ElementsAre;
using testing::IsEmpty;
namespace fs = std::filesystem;

/// A data folder of its own for each test, and a host in it.
struct HostApiTest : testing::Test {
  HostApiTest() {
    std::string name = (fs::temp_directory_path() / "qvhost-XXXXXX").string();
    folder_ = mkdtemp(name.data());
  }
  ~HostApiTest() override {
    host_.reset();
    fs::remove_all(folder_);
  }

  qv::HostOptions Options() const {
    return {
        .data_folder = folder_ / "data", .busy_timeout = std::chrono::milliseconds(5000), .log = {.to_stderr = false}};
  }
  qv::Host& Open() { return *(host_ = std::make_unique<qv::Host>(Options())); }
  /// Changes the database behind the host's back.
  void Sql(const std::string& script) const {
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open((folder_ / "data/qvcms.db").c_str(), &database), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(database, script.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(database);
    sqlite3_close(database);
  }

  fs::path folder_;
  std::unique_ptr<qv::Host> host_;
};

/// A snapshot with speakers 1 to `count`.
Document Speakers(int count, const std::string& name = "hall") {
  Json::Value snapshot;
  snapshot["speaker_info"] = Json::arrayValue;
  for (int id = 1; id <= count; ++id) {
    Json::Value& speaker = snapshot["speaker_info"].append(Json::objectValue);
    speaker["id"] = id;
    speaker["name"] = name;
  }
  return Document(snapshot);
}

std::string Text(const qv::Row& row) {
  std::string text;
  for (const auto& [name, value] : row) text += name + '=' + value.toStyledString();
  return text;
}

/// Everything that can be listed.
std::string Everything(const qv::Host& host) {
  std::string text;
  for (const qv::KindInfo& kind : qv::Host::Kinds()) {
    host.ForEachPage({.kind = std::string(kind.name)}, [&](const std::vector<qv::Row>& rows) {
      for (const qv::Row& row : rows) text += Text(row);
      return true;
    });
  }
  return text;
}

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

TEST_F(HostApiTest, FollowsTheDocuments) {
  qv::Host& host = Open();
  EXPECT_EQ(Of("speaker", host.Pair(7, Speakers(3), {.model = "QVA-3216"})), "3 0 0 0");
  const qv::ImportResult plan = host.Plan(7, Speakers(2, "yard"));
  EXPECT_EQ(Of("speaker", plan), "0 2 1 0");
  EXPECT_TRUE(plan.has_changes);
  EXPECT_EQ(Of("speaker", host.Update(7, Speakers(2, "yard"))), "0 2 1 0") << "the plan changed nothing";
  const qv::ImportResult again = host.Update(7, Speakers(2, "yard"));
  EXPECT_EQ(Of("speaker", again), "0 0 0 2");
  EXPECT_FALSE(again.has_changes);
  EXPECT_GT(again.took.count(), 0);

  const qv::StatusResult status = host.Status(
      7,
      Document::Parse(R"({"status":1,"cookie":"c00kie","speaker_info":[{"id":2,"status":3}],"face_info":[{"id":1}]})"));
  EXPECT_EQ(Of("speaker", status), "");
  EXPECT_THAT(status.record, testing::Contains(std::pair<std::string, Json::Value>("strCookie", "***")));
  ASSERT_EQ(status.unused.size(), 1U);
  EXPECT_EQ(status.unused[0].place + ": " + status.unused[0].reason,
            "face_info[0].camera_id: server 7 has no camera 0");

  EXPECT_EQ(host.Servers().size(), 1U);
  const qv::RemoveResult removed = host.Remove(7);
  EXPECT_EQ(Of("speaker", removed), "0 0 2 -");
  EXPECT_TRUE(removed.was_held);
  EXPECT_FALSE(host.Remove(7).was_held);
}

TEST_F(HostApiTest, RefusesWithACodeFromEightThreadsAtOnceAndChangesNothing) {
  qv::Host& host = Open();
  host.Pair(7, Speakers(10));
  host.Pair(8, Speakers(1));
  Sql("CREATE TRIGGER stay BEFORE DELETE ON ipspeaker WHEN OLD.owner_zr_id=8 BEGIN SELECT RAISE(ABORT, 'no'); END;"
      "CREATE TRIGGER away BEFORE INSERT ON server WHEN NEW.id=9 BEGIN SELECT RAISE(ABORT, 'no'); END");
  fs::create_directory(folder_ / "other");
  std::ofstream(folder_ / "other/notes") << "x";
  const Document empty(Json::objectValue);
  const Document report = Document::Parse(R"({"status":1})");
  struct Case {
    const char* what;
    RefusalCode code;
    std::function<void()> call;
  };
  const Case cases[] = {
      {"a server id below 1", RefusalCode::BadArgument, [&] { host.Update(0, Speakers(1)); }},
      {"an unknown kind", RefusalCode::BadArgument, [&] { host.List({.kind = "teapot"}); }},
      {"an empty page", RefusalCode::BadArgument, [&] { host.List({.kind = "pos", .limit = 0}); }},
      {"a kind without a flag", RefusalCode::BadArgument, [&] { host.SetConfiguring("pos", 1, true); }},
      {"broken text", RefusalCode::UnreadableDocument, [] { Document::Parse("{"); }},
      {"a missing file", RefusalCode::UnreadableDocument, [] { Document::ReadFile("/nowhere"); }},
      {"too many values", RefusalCode::TooManyValues, [] { Document::Parse("{\"a\":[1]}", {.values = 2}); }},
      {"a deep text", RefusalCode::DocumentTooDeep, [] { Document::Parse("{\"a\":[1]}", {.depth = 1}); }},
      {"a long text", RefusalCode::DocumentTooLarge, [] { Document::Parse("{\"a\":[1]}", {.size = 8}); }},
      {"a model that is no text", RefusalCode::BadArgument, [&] { host.Pair(7, Speakers(1), {.model = "\xFF"}); }},
      {"a value that is no object", RefusalCode::UnreadableDocument, [] { Document(Json::Value(5)); }},
      {"a value that no text gives", RefusalCode::UnreadableDocument,
       [] {
         Json::Value value;
         value["name"] = "\xFF";
         Document document(value);
       }},
      {"a report for a snapshot", RefusalCode::WrongDocumentKind, [&] { host.Pair(7, report); }},
      {"a snapshot for a report", RefusalCode::WrongDocumentKind, [&] { host.Status(7, Speakers(1)); }},
      {"nothing for a snapshot", RefusalCode::EmptyDocument, [&] { host.Update(7, empty); }},
      {"nothing for a report", RefusalCode::EmptyDocument, [&] { host.Status(7, empty); }},
      {"a text for an id", RefusalCode::WrongType,
       [&] { host.Plan(7, Document::Parse(R"({"camera_info":[{"id":"x"}]})")); }},
      {"most devices gone", RefusalCode::TooManyRemovals, [&] { host.Update(7, Speakers(4)); }},
      {"a report of a stranger", RefusalCode::UnknownServer, [&] { host.Status(6, report); }},
      {"no such camera", RefusalCode::UnknownDevice, [&] { host.SetConfiguring("camera", 5, true); }},
      {"a row that stays", RefusalCode::NotRemoved, [&] { host.Remove(8); }},
      {"a folder of somebody else", RefusalCode::NotAHost, [&] { qv::Host::IsIn(folder_ / "other"); }},
      {"a row that is refused", RefusalCode::Failed, [&] { host.Pair(9, Speakers(1)); }},
  };
  const std::string before = Everything(host);
  std::vector<std::jthread> threads;
  for (std::size_t first = 0; first < 8; ++first) {
    threads.emplace_back([&, first] {
      for (std::size_t i = 0; i < std::size(cases); ++i) {
        const Case& refused = cases[(first + i) % std::size(cases)];
        try {
          refused.call();
          ADD_FAILURE() << "not refused: " << refused.what;
        } catch (const qv::Refusal& refusal) {
          EXPECT_EQ(NameOf(refusal.code()), NameOf(refused.code)) << refused.what << ": " << refusal.what();
        }
      }
    });
  }
  threads.clear();
  EXPECT_EQ(Everything(host), before);
  EXPECT_EQ(Of("speaker", host.Update(7, Speakers(4), {.allow_removals = true})), "0 0 6 4");
  EXPECT_THROW(qv::Host second(Options()), std::logic_error);
}

TEST_F(HostApiTest, NamesThePlaceOfAFault) {
  try {
    Document::Parse("{\n  \"POS_info\": [,]}");
    FAIL();
  } catch (const qv::Refusal& refusal) {
    EXPECT_EQ(refusal.line(), 2U);
    EXPECT_EQ(refusal.column(), 16U);
  }
  try {
    Document::Parse(R"({"POS_info":[{},{"id":{}}]})").RequireSnapshot();
    FAIL();
  } catch (const qv::Refusal& refusal) {
    EXPECT_EQ(refusal.place(), "POS_info[1].id");
    EXPECT_STREQ(refusal.what(), "POS_info[1].id: an integer is expected; nothing was applied");
  }
}

TEST_F(HostApiTest, TellsOfAnotherWriterAndOfAnUnusableFolder) {
  qv::HostOptions options = Options();
  options.busy_timeout = std::chrono::milliseconds(20);
  host_ = std::make_unique<qv::Host>(options);
  const int lock = open((folder_ / "data/writer.lock").c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(flock(lock, LOCK_EX), 0);
  try {
    host_->Pair(7, Speakers(1));
    ADD_FAILURE() << "two writers at once";
  } catch (const qv::Refusal& refusal) {
    EXPECT_EQ(refusal.code(), RefusalCode::Busy);
  }
  close(lock);
  host_->Pair(7, Speakers(1));
  host_.reset();

  std::ofstream(folder_ / "file") << "x";
  for (const auto& [data, log] : {std::pair("file", ""), {"data", "nowhere/log"}}) {
    options.data_folder = folder_ / data;
    options.log.file = *log == '\0' ? "" : folder_ / log;
    try {
      qv::Host host(options);
      ADD_FAILURE() << data << log;
    } catch (const qv::Refusal& refusal) {
      EXPECT_EQ(refusal.code(), RefusalCode::Unusable) << refusal.what();
    }
  }
}

TEST_F(HostApiTest, PlansWhatUpdateWouldRefuse) {
  qv::Host& host = Open();
  host.Pair(7, Speakers(10));
  const qv::ImportResult plan = host.Plan(7, Document(Json::objectValue));
  ASSERT_EQ(plan.refusals.size(), 2U);
  EXPECT_EQ(plan.refusals[0].code(), RefusalCode::EmptyDocument);
  EXPECT_EQ(plan.refusals[1].code(), RefusalCode::TooManyRemovals);
  EXPECT_STREQ(plan.refusals[1].what(), "it removes 10 of 10 speaker, 10 of 10 devices in all");
}

TEST_F(HostApiTest, ListsPageByPageFromOneState) {
  qv::Host& host = Open();
  host.Pair(7, Speakers(5));
  host.Pair(8, Speakers(2));
  qv::ListQuery query{.kind = "speaker", .zr = 7, .limit = 2};
  std::vector<std::vector<std::int64_t>> pages;
  for (;;) {
    const qv::Page page = host.List(query);
    pages.push_back(Ids(page.rows));
    if (!page.after) break;
    query.after = *page.after;
  }
  EXPECT_THAT(pages, ElementsAre(ElementsAre(1, 2), ElementsAre(3, 4), ElementsAre(5)));

  pages.clear();
  host.ForEachPage({.kind = "speaker", .limit = 3}, [&](const std::vector<qv::Row>& rows) {
    if (pages.empty()) std::jthread([&] { host.Remove(7); });
    pages.push_back(Ids(rows));
    return true;
  });
  EXPECT_THAT(pages, ElementsAre(ElementsAre(1, 2, 3), ElementsAre(4, 5, 6), ElementsAre(7)))
      << "what was committed meanwhile shows";
  EXPECT_THAT(Ids(host.List({.kind = "speaker"}).rows), ElementsAre(6, 7));
}

TEST_F(HostApiTest, TakesAMissingHostForOneThatHoldsNothing) {
  qv::HostOptions options = Options();
  options.make_if_missing = false;
  qv::Host host(options);
  EXPECT_FALSE(qv::Host::IsIn(options.data_folder));
  EXPECT_EQ(Everything(host), "");
  EXPECT_FALSE(host.Remove(7).was_held);
  EXPECT_THAT(host.Messages(""), IsEmpty());
  EXPECT_EQ(host.DeleteMessages({}), 0U);
  for (const auto& [code, call] : std::initializer_list<std::pair<RefusalCode, std::function<void()>>>{
           {RefusalCode::NotAHost, [&] { host.Pair(7, Speakers(1)); }},
           {RefusalCode::NotAHost, [&] { host.Plan(7, Speakers(1)); }},
           {RefusalCode::UnknownServer, [&] { host.Status(7, Document::Parse(R"({"status":1})")); }},
           {RefusalCode::UnknownDevice, [&] { host.SetConfiguring("camera", 1, true); }}}) {
    try {
      call();
      ADD_FAILURE() << NameOf(code);
    } catch (const qv::Refusal& refusal) {
      EXPECT_EQ(NameOf(refusal.code()), NameOf(code));
    }
  }
  EXPECT_FALSE(fs::exists(options.data_folder));
}

TEST_F(HostApiTest, HandsOutMessagesUntilTheyAreDeleted) {
  qv::Host& host = Open();
  host.Pair(7, Speakers(1), {.model = "QVA-3216"});
  const std::vector<qv::Message> messages = host.Messages("hostd");
  ASSERT_FALSE(messages.empty());
  EXPECT_EQ(messages[0].zr, 7);
  EXPECT_EQ(messages[0].command, "sync-face-database");
  EXPECT_EQ(messages[0].payload["group_id"], 0);
  EXPECT_EQ(host.Messages("hostd", 1).size(), 1U);
  const std::size_t all = host.Messages("").size();
  const std::int64_t ids[] = {messages[0].id, 12345};
  EXPECT_EQ(host.DeleteMessages(ids), 1U);
  EXPECT_EQ(host.Messages("").size(), all - 1);
  EXPECT_TRUE(messages.size() == 1 || host.Messages("hostd")[0].id == messages[1].id);
}

TEST_F(HostApiTest, TellsHowFarItIsAndLogsWhereItIsTold) {
  qv::HostOptions options = Options();
  std::vector<std::string> lines;
  options.log.level = 3;
  options.log.sink = [&](const qv::LogLine& line) { lines.push_back(line.level + ' ' + line.function); };
  host_ = std::make_unique<qv::Host>(options);
  std::vector<std::string> told;
  host_->Pair(7, Speakers(30'000), {.progress = [&](const qv::Progress& progress) {
                EXPECT_LE(progress.done, progress.total);
                told.push_back(std::string(progress.kind) + " of " + std::to_string(progress.total));
              }});
  EXPECT_THAT(told, testing::AllOf(testing::Not(IsEmpty()), testing::Each("speaker of 30000")));
  EXPECT_LT(told.size(), 200U) << "more often than ten times a second";
  host_->Update(7, Speakers(20'000));
  EXPECT_THAT(lines, testing::Contains("NOTICE RemoveExtraSpeakers"));
}

}  // namespace
