#include "support/hosttest.h"

namespace {

struct Schema : support::HostTest {
  static Lines Indexes() { return Rows("SELECT sql FROM sqlite_master WHERE type='index' AND sql<>'' ORDER BY name"); }
  /// How the database finds the rows of a query.
  static Lines Plan(const std::string& query) {
    Lines steps = Rows("EXPLAIN QUERY PLAN SELECT * FROM " + query);
    for (std::string& step : steps) step.erase(0, step.rfind('|') + 1);
    return steps;
  }
};

TEST_F(Schema, ADatabaseOfVersion1GetsTheIndexesToo) {
  const Lines indexes = Indexes();
  Sql("DROP INDEX iva_task_by_id_on_rec_server; DROP INDEX counting_widget_by_id_on_rec_server;"
      "DROP INDEX counting_task_group_by_id_on_rec_server; DROP INDEX capability_file_by_path;"
      "CREATE INDEX message_by_zr_id ON message (zr_id);"
      "INSERT INTO capability_file (owner_zr_id,path) VALUES (0,'7/a'),(7,'7/a'),(0,'7/b');"
      "UPDATE schema_version SET version=1");
  qv::db::Close();
  qv::db::Open(folder(), {});
  EXPECT_EQ(Indexes(), indexes);
  EXPECT_THAT(Rows("SELECT id,path FROM capability_file"), ElementsAre("2|7/a", "3|7/b"));
}

TEST_F(Schema, RowsAreFoundWithoutAScanOrASort) {
  const auto found_by = [](const std::string& table, const std::string& index, const std::string& columns) {
    return ElementsAre("SEARCH " + table + " USING INDEX " + table + "_by_" + index + " (" + columns + ")");
  };
  for (const std::string table : {"iva_task", "counting_task_group", "counting_widget", "capability_file"}) {
    EXPECT_THAT(Plan(table + " WHERE owner_zr_id=7 ORDER BY id"), found_by(table, "owner_zr_id", "owner_zr_id=?"));
    if (table == "capability_file") continue;
    const std::string other = table == "counting_widget" ? "iva_setting_id" : "owner_zr_id";
    EXPECT_THAT(Plan(table + " WHERE id_on_rec_server=3 AND " + other + "=1 ORDER BY id"),
                found_by(table, "id_on_rec_server", "id_on_rec_server=? AND " + other + "=?"));
  }
  EXPECT_THAT(Plan("capability_file WHERE path='a' ORDER BY id"), found_by("capability_file", "path", "path=?"));
}

}  // namespace
