#include <csignal>

#include "db/sqlite/sqlitedriver.h"
#include "support/wrappeddriver.h"
#include "tools/toolrunner.h"

namespace qv::db {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using Lines = std::vector<std::string>;

constexpr int kNewestVersion = 3;

/// What the fixtures hold: the slave 7 with everything that it reports, ...
constexpr const char* kSnapshot = R"({
  "camera_info":[{"id":1,"name":"Gate","password":"p","zoom":2,"edgeStorage":{"enabled":true,"size":64}},
                 {"id":2,"name":"Yard"}],
  "camCapList":[{"camVendor":"V","camModel":"M","capFileName":"7/V/M.cap","camCap":{"zoom":1}}],
  "camDetSetting":[{"id":1,"cam_id":1}], "camDeviceOutput":[{"id":1,"cam_id":1}], "recShare":[{"id":1}],
  "iomodule_info":[{"id":1,"name":"Relay"}], "iomoduleSetting":[{"id":1,"iomodule_id":1}],
  "iomoduleCamPairing":[{"id":1,"iomodule_id":1,"cam_id":2}],
  "POS_info":[{"id":1,"name":"Till","text_rules":[{"type":0,"pattern":"VOID"}]}],
  "POS_eventconf":[{"id":1,"pos_id":1}],
  "speaker_info":[{"id":1,"name":"Hall"}], "ctrler_info":[{"id":1,"name":"Lock","door":[{"id":1,"name":"Front"}]}],
  "iva_info":[{"id":1,"camera_id":1,"type":6,"enable":true,"confidence":0.1}], "face_info":[{"id":1,"camera_id":2}],
  "counting_widget_info":[{"id":1,"iva_setting_id":1,"type":2,"fence":[{"x":0.25,"y":0.5},{"x":0.75,"y":0.5}]}],
  "counting_task_group_info":[{"id":1,"widget_ids":[1]}]})";
constexpr const char* kReport = R"({"status":1,"cam_count":2,"volSpace":12.5,"cookie":"c",
  "camera_info":[{"id":1,"status":1},{"id":2,"status":3}],"iomodule_info":[{"id":1,"status":1}]})";
/// ... and what other services keep about its devices.
constexpr const char* kRowsOfOtherServices = R"(
  INSERT INTO setting (name,text) VALUES ('site','Depot');
  INSERT INTO emap_item (emap_id,camera_id,door_id) VALUES (1,1,1);
  INSERT INTO privilege_profile_server (profile_id,zr_id) VALUES (3,7);
  INSERT INTO camera_migration (source_zr_id,destination_zr_id,camera_id) VALUES (7,8,2);
  INSERT INTO event_mount (zr_id,camera_id,name) VALUES (7,1,'break-in');
  INSERT INTO event_export (zr_id,camera_id,name) VALUES (7,2,'theft');
  INSERT INTO door_layout_item (layout_id,zr_id,door_id) VALUES (1,7,1);
  INSERT INTO layout_item (layout_id,camera_id) VALUES (1,2);
  INSERT INTO camera_group_member (group_id,camera_id) VALUES (1,1);)";

/// Columns, references and indexes.
Lines Structure(const fs::path& folder) {
  return support::QueryFolder(folder, R"(
    SELECT t.name, c.* FROM sqlite_schema t, pragma_table_info(t.name) c WHERE t.type = 'table'
    UNION ALL
    SELECT t.name, r."from", r."table", r."to", r.on_delete, '', '' FROM sqlite_schema t, pragma_foreign_key_list(t.name) r
    UNION ALL
    SELECT i.tbl_name, i.name, c.seqno, c.name, '', '', '' FROM sqlite_schema i, pragma_index_info(i.name) c
     WHERE i.type = 'index'
    ORDER BY 1, 2, 3)");
}

struct SchemaTest : qv::test::ToolTest {
  ~SchemaTest() override { Close(); }

  /// Makes the data folder `name` with a database as the released program of that version left it.
  fs::path MakeReleased(int version, const std::string& name = "released") const {
    fs::create_directories(folder_ / name);
    const std::string dump = QV_FIXTURES "/version" + std::to_string(version) + ".sql";
    support::ExecuteInFolder(folder_ / name, support::ReadWholeFile(dump));
    fs::create_directories(folder_ / name / "capability/7/V");
    Write(name + "/capability/7/V/M.cap", "{\n  \"zoom\": 1\n}\n");
    fs::permissions(folder_ / name / "capability/7/V/M.cap", fs::perms(0600));
    fs::create_directory(folder_ / name / "staging");
    Write(name + "/staging/4711-1", "left by a killed process");
    return folder_ / name;
  }
  /// Makes the data folder `name` with what the fixtures hold.
  fs::path MakeFresh(const std::string& name = "data") const {
    Write("snapshot.json", kSnapshot);
    Write("report.json", kReport);
    for (const std::string command :
         {"pair 7 snapshot.json --model QV-16", "update 7 snapshot.json", "status 7 report.json"}) {
      const auto run = Run("--data-dir " + name + " " + command);
      EXPECT_EQ(run.status, 0) << run.err;
    }
    support::ExecuteInFolder(folder_ / name, kRowsOfOtherServices);
    return folder_ / name;
  }
  static void Upgrade(const fs::path& folder) {
    Open(folder, {});
    Close();
  }
  /// Why the folder cannot be opened.
  static std::string Refusal(const fs::path& folder) {
    try {
      Upgrade(folder);
      return "it opens";
    } catch (const Error& error) {
      EXPECT_EQ(error.kind(), Error::Kind::Unusable);
      return error.what();
    }
  }
};

TEST_F(SchemaTest, AnUpgradedDatabaseEqualsAFreshOneWithTheSameDocuments) {
  const fs::path fresh = MakeFresh();
  for (int version = 1; version < kNewestVersion; ++version) {
    const fs::path upgraded = MakeReleased(version, "version" + std::to_string(version));
    Upgrade(upgraded);
    EXPECT_EQ(Structure(upgraded), Structure(fresh)) << version;
    EXPECT_EQ(support::DumpDatabase(upgraded), support::DumpDatabase(fresh)) << version;
    EXPECT_EQ(support::DumpFiles(upgraded), support::DumpFiles(fresh)) << version;
    EXPECT_THAT(support::FindDamage(upgraded), testing::IsEmpty()) << version;
  }
}

/// Kills its process before or after a call, after a number of others.
struct DeadlyConnection : support::WrappedConnection {
  DeadlyConnection(std::unique_ptr<Connection> inner, int moments)
      : WrappedConnection(std::move(inner)), moments_left_(moments) {}
  void Live() {
    if (moments_left_-- == 0) raise(SIGKILL);
  }
  std::unique_ptr<Statement> Prepare(const std::string& sql) override {
    Live();
    return WrappedConnection::Prepare(sql);
  }
  std::int64_t RunText(const std::string& text, TextRows* rows) override {
    Live();
    const std::int64_t changed = WrappedConnection::RunText(text, rows);
    Live();
    return changed;
  }
  void Commit() override {
    Live();
    WrappedConnection::Commit();
    Live();
  }
  int moments_left_;
};

TEST_F(SchemaTest, AKillInTheMiddleOfAnUpgradeLeavesTheOldVersionOrTheNew) {
  const Lines old_structure = Structure(MakeReleased(1));
  Upgrade(MakeReleased(1, "upgraded"));
  const Lines new_structure = Structure(folder_ / "upgraded");
  int old_ones = 0;
  int new_ones = 0;
  int moment = 0;
  for (int status = -SIGKILL; status != 0; ++moment) {
    const fs::path folder = folder_ / std::to_string(moment);
    fs::copy(folder_ / "released", folder);
    status = support::EndOf(support::StartChild([&] {
      const auto open = [=](const Place& place, const DriverOptions& driver) {
        return std::make_unique<DeadlyConnection>(OpenSqlite(place, driver), moment);
      };
      Open(folder, {.driver = {}, .factory = open});
      return 0;
    }));
    ASSERT_THAT(status, testing::AnyOf(0, -SIGKILL));
    const Lines structure = Structure(folder);
    ASSERT_THAT(structure, testing::AnyOf(old_structure, new_structure)) << moment;
    ++(structure == old_structure ? old_ones : new_ones);
    Upgrade(folder);
    EXPECT_EQ(Structure(folder), new_structure) << moment;
  }
  EXPECT_GT(old_ones, 2);
  EXPECT_GT(new_ones, 0);
}

TEST_F(SchemaTest, ADatabaseThatDoesNotFitIsRefusedByNameAndLeftAsItIs) {
  struct Case {
    const char* done_to_it;
    const char* refusal;
  };
  constexpr Case cases[] = {
      {"ALTER TABLE camera DROP COLUMN note", "table camera has no column note"},
      {"ALTER TABLE camera ADD COLUMN depth INTEGER", "table camera has an unknown column depth"},
      {"DROP TABLE layout_item", "there is no table layout_item"},
      {"ALTER TABLE pos DROP COLUMN baud_rate; ALTER TABLE pos ADD COLUMN baud_rate INTEGER NOT NULL DEFAULT 1",
       "column baud_rate of table pos is INTEGER NOT NULL DEFAULT 1, not INTEGER NOT NULL DEFAULT 9600"},
      {"DROP INDEX layout_item_by_camera_id; ALTER TABLE layout_item DROP COLUMN camera_id;"
       "ALTER TABLE layout_item ADD COLUMN camera_id INTEGER",
       "column camera_id of table layout_item is INTEGER, not INTEGER REFERENCES camera(id) ON DELETE CASCADE"},
      {"DELETE FROM schema_version", "has lost its schema version"},
      {"UPDATE schema_version SET version = 99", "has schema version 99, this program knows up to 3: use the newer"},
  };
  Upgrade(folder_ / "sound");
  for (const auto& [done_to_it, refusal] : cases) {
    const fs::path folder = folder_ / "changed";
    fs::copy(folder_ / "sound", folder);
    support::ExecuteInFolder(folder, done_to_it);
    const Lines before = Structure(folder);
    EXPECT_THAT(Refusal(folder), HasSubstr(refusal));
    EXPECT_EQ(Structure(folder), before) << refusal;
    fs::remove_all(folder);
  }
}

TEST_F(SchemaTest, ADatabaseOfAnotherProgramIsRefusedAndNotWrittenTo) {
  fs::create_directory(folder_ / "music");
  support::ExecuteInFolder(folder_ / "music", "CREATE TABLE song (title TEXT)");
  const std::string before = support::ReadWholeFile(folder_ / "music/qvcms.db");
  EXPECT_THAT(Refusal(folder_ / "music"), HasSubstr("belongs to another program (it has a table song)"));
  EXPECT_EQ(support::ReadWholeFile(folder_ / "music/qvcms.db"), before);
  EXPECT_FALSE(fs::exists(folder_ / "music/writer.lock"));
}

/// How the database finds the rows of a query.
Lines Plan(const fs::path& folder, const std::string& query) {
  Lines steps = support::QueryFolder(folder, "EXPLAIN QUERY PLAN SELECT * FROM " + query);
  for (std::string& step : steps) step.erase(0, step.rfind('|') + 1);
  return steps;
}

TEST_F(SchemaTest, RowsAreFoundWithoutAScanOrASort) {
  const fs::path folder = folder_ / "data";
  Upgrade(folder);
  const auto found_by = [](const std::string& table, const std::string& index, const std::string& columns) {
    return testing::ElementsAre("SEARCH " + table + " USING INDEX " + table + "_by_" + index + " (" + columns + ")");
  };
  for (const std::string table : {"iva_task", "counting_task_group", "counting_widget", "capability_file"}) {
    EXPECT_THAT(Plan(folder, table + " WHERE owner_zr_id=7 ORDER BY id"),
                found_by(table, "owner_zr_id", "owner_zr_id=?"));
    if (table == "capability_file") continue;
    const std::string other = table == "counting_widget" ? "iva_setting_id" : "owner_zr_id";
    EXPECT_THAT(Plan(folder, table + " WHERE id_on_rec_server=3 AND " + other + "=1 ORDER BY id"),
                found_by(table, "id_on_rec_server", "id_on_rec_server=? AND " + other + "=?"));
  }
  EXPECT_THAT(Plan(folder, "capability_file WHERE path='a' ORDER BY id"),
              found_by("capability_file", "path", "path=?"));
}

}  // namespace
}  // namespace qv::db
