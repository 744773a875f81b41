/// POS terminals, speakers and I/O modules follow the snapshot by one pattern, each with its own messages.

#include "devices/devicesteps.h"
#include "support/hosttest.h"

namespace {

using support::Lines;
using support::Without;

struct Kind {
  std::string table;
  void (*step)(int, const Json::Value&);
  /// Row 4 has changed, row 6 is new, rows 2 and 3 are no longer reported. Row 2 cannot be deleted, and what refers to
  /// row 3 cannot be cleaned up.
  Lines followed;
};
void PrintTo(const Kind& kind, std::ostream* out) { *out << kind.table; }

const Kind kKinds[] = {
    {"pos",
     ReconcilePOSs,
     {"log 4 UpdatePOSData Update POS [4] on ZR [7].", "update pos 4", "insert pos 6",
      "log 4 UpdatePOSData Add POS [6] from ZR [7].", "log 3 RemoveExtraPOSs Remove extra POSs [2,3] on ZR [7].",
      "log 4 RemoveExtraPOSs Remove POS [2] on ZR [7].", "log 1 RemoveExtraPOSs Failed while delete POS [2].",
      "log 4 RemoveExtraPOSs Remove POS [3] on ZR [7].", "delete pos 3",
      "log 1 RemoveExtraPOSs Failed to sync related tables."}},
    {"ipspeaker",
     ReconcileSpeakers,
     {"log 4 UpdateSpeakerData Update Speaker [4] on ZR [7].", "update ipspeaker 4", "insert ipspeaker 6",
      "log 4 UpdateSpeakerData Add Speaker [6] from ZR [7].",
      "log 3 RemoveExtraSpeakers Remove extra Speakers [2,3] on ZR [7].",
      "log 4 RemoveExtraSpeakers Remove Speaker [2] on ZR [7].",
      "log 1 RemoveExtraSpeakers Failed while delete Speaker [2].",
      "log 4 RemoveExtraSpeakers Remove Speaker [3] on ZR [7].", "delete ipspeaker 3",
      "log 1 RemoveExtraSpeakers Failed to sync related tables."}},
    {"iomodule",
     [](int zr, const Json::Value& section) { EXPECT_EQ(UpdateIOModuleData(zr, section), 0); },
     {"log 4 UpdateIOModuleData Update IOMod [4] on ZR [7].", "update iomodule 4", "insert iomodule 6",
      "log 4 UpdateIOModuleData Add IO module [6] from ZR [7].",
      "log 3 RemoveExtraIOMods Remove extra IOMods [2,3] on ZR [7].",
      "log 4 RemoveExtraIOMods Remove IO mode [2] on ZR [7].",
      "log 1 RemoveExtraIOMods Failed while delete IO module [2].",
      "log 4 RemoveExtraIOMods Remove IO mode [3] on ZR [7].", "delete iomodule 3",
      "log 1 RemoveExtraIOMods Failed to sync related tables."}}};

struct Reconcile : support::HostTest, testing::WithParamInterface<Kind> {
  static Lines Update(const std::string& section) {
    return Without(Journal([&] { GetParam().step(7, Parse(section)); }), "failed");
  }
  static Lines Stored() { return Rows("SELECT id,owner_zr_id,id_on_rec_server,name,extra FROM " + GetParam().table); }
  const std::string table_ = GetParam().table;
};
INSTANTIATE_TEST_SUITE_P(, Reconcile, testing::ValuesIn(kKinds), [](const auto& kind) { return kind.param.table; });

TEST_P(Reconcile, UpdatesAddsAndRemoves) {
  Sql("INSERT INTO " + table_ + " (owner_zr_id,id_on_rec_server,name) VALUES (8,4,'of another slave')");
  Update(R"([{"id":2},{"id":3},{"id":4,"name":"D"},{"id":5,"name":"E"}])");
  Refuse("DELETE", table_, "OLD.id=2");
  Break("emap_item");
  const std::string second = R"([{"id":5,"name":"E"},{"id":4,"name":"DD"},{"id":6,"zoom":[1]}])";
  EXPECT_EQ(Update(second), GetParam().followed);
  EXPECT_THAT(Stored(),
              ElementsAre("1|8|4|of another slave|", "2|7|2||", "4|7|4|DD|", "5|7|5|E|", R"(6|7|6||{"zoom":[1]})"));
}

TEST_P(Reconcile, GoesOnAfterADeviceThatCannotBeSaved) {
  Update(R"([{"id":1},{"id":2}])");
  Refuse("UPDATE", table_, "NEW.id=1");
  Refuse("INSERT", table_, "NEW.id_on_rec_server=8");
  Update(R"([{"id":1,"name":"A"},{"id":2,"name":"B"},{"id":8},{"id":9}])");
  EXPECT_THAT(Stored(), ElementsAre("1|7|1||", "2|7|2|B|", "3|7|9||"));
}

TEST_P(Reconcile, EntriesTakeTheRowsOfTheirIdInOrder) {
  Sql("INSERT INTO " + table_ + " (owner_zr_id,id_on_rec_server,name) VALUES (7,5,'A'),(7,5,'B'),(7,5,'C')");
  EXPECT_THAT(Update(R"([{"id":5,"name":"first"},{"id":5,"name":"second"},{"name":"no id"}])"),
              testing::Each(testing::Not(testing::HasSubstr("Failed"))));
  EXPECT_THAT(Stored(), ElementsAre("1|7|5|first|", "2|7|5|second|", "4|7|0|no id|"));
  Update(R"([{"id":5},{"id":5},{"id":5,"name":"third"}])");
  EXPECT_THAT(Stored(), ElementsAre("1|7|5|first|", "2|7|5|second|", "5|7|5|third|"));
}

struct IOModules : support::HostTest {};

TEST_F(IOModules, TakeWhatTheyCanOfAnEntry) {
  UpdateIOModuleData(7, Parse(R"([{"id":1,"name":"A"}])"));
  UpdateIOModuleData(7, Parse(R"([{"id":1,"name":"B","port":"no number"},null])"));
  EXPECT_THAT(Rows("SELECT id_on_rec_server,owner_zr_id,name,port FROM iomodule"), ElementsAre("1|7|B|80", "0|7||80"));
}

TEST_F(IOModules, AreNotOverwrittenWhileTheyAreConfigured) {
  Sql("INSERT INTO iomodule (owner_zr_id,id_on_rec_server,name,device_status_flags) VALUES (7,1,'A',33),(7,2,'B',1)");
  EXPECT_THAT(Journal([] { UpdateIOModuleData(7, Parse(R"([{"id":1,"name":"AA"},{"id":2,"name":"BB"}])")); }),
              ElementsAre("log 4 UpdateIOModuleData Skip to update IOMod [1] on ZR [7] due configuring.",
                          "log 4 UpdateIOModuleData Update IOMod [2] on ZR [7].", "update iomodule 2"));
}

struct Terminals : support::HostTest {};

TEST_F(Terminals, AreAddedAndNotRemovedWhenTheyCannotBeListed) {
  ReconcilePOSs(7, Parse(R"([{"id":1},{"id":2}])"));
  Break("pos");
  EXPECT_THAT(Without(Journal([] { ReconcilePOSs(7, Parse(R"([{"id":1}])")); }), "failed"),
              ElementsAre("log 4 UpdatePOSData Add POS [0] from ZR [7]."));
}

}  // namespace
