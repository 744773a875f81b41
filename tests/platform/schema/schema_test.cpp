#include <sys/stat.h>

#include "tools/toolrunner.h"

namespace qv::db {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using Lines = std::vector<std::string>;

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
  void SetUp() override { SKIP_ON_POSTGRESQL("about released versions, of which the other schema has none"); }
  ~SchemaTest() override { Close(); }

  /// Makes the data folder `name` with a database as the released program of that version left it.
  fs::path MakeReleased(int version, const std::string& name) const {
    fs::create_directories(folder_ / name / "capability/7/V");
    const std::string dump = QV_FIXTURES "/version" + std::to_string(version) + ".sql";
    support::ExecuteInFolder(folder_ / name, support::ReadWholeFile(dump));
    Write(name + "/capability/7/V/M.cap", "{\n  \"zoom\": 1\n}\n");
    fs::permissions(folder_ / name / "capability/7/V/M.cap", fs::perms(0600));
    fs::create_directory(folder_ / name / "staging");
    Write(name + "/staging/4711-1", "left by a killed process");
    return folder_ / name;
  }
  /// Makes the data folder `name` from the documents that the released ones were made from.
  fs::path MakeFresh(const std::string& name) const {
    for (const std::string command :
         {"pair 7 " QV_FIXTURES "/snapshot.json --model QV-16", "update 7 " QV_FIXTURES "/snapshot.json",
          "status 7 " QV_FIXTURES "/report.json"}) {
      EXPECT_EQ(Run("--data-dir " + name + " " + command).status, 0) << command;
    }
    support::ExecuteInFolder(folder_ / name, support::ReadWholeFile(QV_FIXTURES "/otherservices.sql"));
    return folder_ / name;
  }
  static void Upgrade(const fs::path& folder) {
    Open(folder, {.driver = {.durability = Durability::Process}, .factory = {}});
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
  const fs::path fresh = MakeFresh("fresh");
  for (const int version : {1, 2}) {
    const fs::path upgraded = MakeReleased(version, "version" + std::to_string(version));
    Upgrade(upgraded);
    EXPECT_EQ(Structure(upgraded), Structure(fresh)) << version;
    EXPECT_EQ(support::DumpDatabase(upgraded), support::DumpDatabase(fresh)) << version;
    EXPECT_EQ(support::DumpFiles(upgraded), support::DumpFiles(fresh)) << version;
    EXPECT_THAT(support::FindDamage(upgraded), testing::IsEmpty()) << version;
  }
}

TEST_F(SchemaTest, CapabilityFilesOfAFormerVersionAreTakenOneByOneAsSoonAsTheyCanBeRead) {
  const fs::path folder = MakeReleased(2, "released");
  const fs::path unreadable = folder / "capability/7/V/N.cap";
  mkfifo(unreadable.c_str(), 0600);
  Write("released/victim", "kept");
  support::ExecuteInFolder(folder,
                           "INSERT INTO capability_file (owner_zr_id,path) VALUES "
                           "(7,'7/V/N.cap'),(7,'../victim'),(8,'7/V/M.cap/x'),(8,'7/other'),(7,'7/V/gone.cap')");
  const char* const rows = "SELECT path,content FROM capability_file ORDER BY id";
  const std::string taken = "7/V/M.cap|{\n  \"zoom\": 1\n}\n";
  Upgrade(folder);
  EXPECT_THAT(support::QueryFolder(folder, rows), testing::ElementsAre(taken, "7/V/N.cap|"));
  EXPECT_TRUE(fs::exists(folder / "staging")) << "not all is taken yet";
  fs::remove(unreadable);
  Write("released/capability/7/V/N.cap", "1\n");
  Upgrade(folder);
  EXPECT_THAT(support::QueryFolder(folder, rows), testing::ElementsAre(taken, "7/V/N.cap|1\n"));
  EXPECT_FALSE(fs::exists(folder / "staging"));
  EXPECT_EQ(support::ReadWholeFile(folder / "victim"), "kept");
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
      {"DELETE FROM schema_version", "has lost its schema version"},
      {"UPDATE schema_version SET version = 99", "has schema version 99, this program knows up to 4: use the newer"},
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

}  // namespace
}  // namespace qv::db
