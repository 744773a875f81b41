/// POS terminals, speakers and I/O modules follow the snapshot by one pattern, each with its own messages.

#include "devices/devicesteps.h"
#include "support/hosttest.h"

namespace {

using support::Lines;
using support::Without;

struct Kind {
  std::string table;
  std::function<void(int, const Json::Value&)> step;
  Lines followed;  ///< row 4 changed, row 5 is new, row 2 is no longer reported
  Lines failed;    ///< saving fails, row 2 cannot be deleted, nothing that refers
                   ///< to rows 3 and 4 can be cleaned up
};
void PrintTo(const Kind& kind, std::ostream* out) { *out << kind.table; }

const Kind kPos{
    "pos",
    ReconcilePOSs,
    {"log 4 UpdatePOSData Update POS [4] on ZR [7].", "update pos 4", "insert pos 5",
     "log 4 UpdatePOSData Add POS [5] from ZR [7].", "log 3 RemoveExtraPOSs Remove extra POSs [2] on ZR [7].",
     "log 4 RemoveExtraPOSs Remove POS [2] on ZR [7].", "delete pos 2"},
    {"log 4 UpdatePOSData Update POS [1] on ZR [7].", "log 4 UpdatePOSData Add POS [0] from ZR [7].",
     "log 3 RemoveExtraPOSs Remove extra POSs [2,3,4] on ZR [7].", "log 4 RemoveExtraPOSs Remove POS [2] on ZR [7].",
     "log 1 RemoveExtraPOSs Failed while delete POS [2].", "log 4 RemoveExtraPOSs Remove POS [3] on ZR [7].",
     "delete pos 3", "log 1 RemoveExtraPOSs Failed to sync related tables.",
     "log 4 RemoveExtraPOSs Remove POS [4] on ZR [7].", "delete pos 4",
     "log 1 RemoveExtraPOSs Failed to sync related tables."}};

const Kind kSpeaker{
    "ipspeaker",
    ReconcileSpeakers,
    {"log 4 UpdateSpeakerData Update Speaker [4] on ZR [7].", "update ipspeaker 4", "insert ipspeaker 5",
     "log 4 UpdateSpeakerData Add Speaker [5] from ZR [7].",
     "log 3 RemoveExtraSpeakers Remove extra Speakers [2] on ZR [7].",
     "log 4 RemoveExtraSpeakers Remove Speaker [2] on ZR [7].", "delete ipspeaker 2"},
    {"log 4 UpdateSpeakerData Update Speaker [1] on ZR [7].", "log 4 UpdateSpeakerData Add Speaker [0] from ZR [7].",
     "log 3 RemoveExtraSpeakers Remove extra Speakers [2,3,4] on ZR [7].",
     "log 4 RemoveExtraSpeakers Remove Speaker [2] on ZR [7].",
     "log 1 RemoveExtraSpeakers Failed while delete Speaker [2].",
     "log 4 RemoveExtraSpeakers Remove Speaker [3] on ZR [7].", "delete ipspeaker 3",
     "log 1 RemoveExtraSpeakers Failed to sync related tables.",
     "log 4 RemoveExtraSpeakers Remove Speaker [4] on ZR [7].", "delete ipspeaker 4",
     "log 1 RemoveExtraSpeakers Failed to sync related tables."}};

const Kind kIOModule{
    "iomodule",
    UpdateIOModuleData,
    {"log 4 UpdateIOModuleData Update IOMod [4] on ZR [7].", "update iomodule 4", "insert iomodule 5",
     "log 4 UpdateIOModuleData Add IO module [5] from ZR [7].",
     "log 3 RemoveExtraIOMods Remove extra IOMods [2] on ZR [7].",
     "log 4 RemoveExtraIOMods Remove IO mode [2] on ZR [7].", "delete iomodule 2"},
    {"log 4 UpdateIOModuleData Update IOMod [1] on ZR [7].", "log 4 UpdateIOModuleData Add IO module [0] from ZR [7].",
     "log 3 RemoveExtraIOMods Remove extra IOMods [2,3,4] on ZR [7].",
     "log 4 RemoveExtraIOMods Remove IO mode [2] on ZR [7].",
     "log 1 RemoveExtraIOMods Failed while delete IO module [2].",
     "log 4 RemoveExtraIOMods Remove IO mode [3] on ZR [7].", "delete iomodule 3",
     "log 1 RemoveExtraIOMods Failed to sync related tables.", "log 4 RemoveExtraIOMods Remove IO mode [4] on ZR [7].",
     "delete iomodule 4", "log 1 RemoveExtraIOMods Failed to sync related tables."}};

struct Reconcile : support::HostTest, testing::WithParamInterface<Kind> {
  static Lines Update(const std::string& section) {
    return Journal([&] { GetParam().step(7, Parse(section)); });
  }
  const std::string table_ = GetParam().table;
};
INSTANTIATE_TEST_SUITE_P(, Reconcile, testing::Values(kPos, kSpeaker, kIOModule),
                         [](const auto& kind) { return kind.param.table; });

TEST_P(Reconcile, UpdatesAddsAndRemoves) {
  Sql("INSERT INTO " + table_ + " (owner_zr_id,id_on_rec_server,name) VALUES (8,1,'of another slave')");
  Update(R"([{"id":1,"name":"A"},{"id":2,"name":"B"},{"id":3,"name":"C"}])");
  const std::string second = R"([{"id":2,"name":"B"},{"id":3,"name":"CC"},{"id":5,"zoom":[1]}])";
  EXPECT_EQ(Update(second), GetParam().followed);
  EXPECT_THAT(Rows("SELECT id,owner_zr_id,id_on_rec_server,name,extra FROM " + table_),
              ElementsAre("1|8|1|of another slave|", "3|7|2|B|", "4|7|3|CC|", R"(5|7|5||{"zoom":[1]})"));
  EXPECT_THAT(Update(second), IsEmpty()) << "nothing changed";
}

TEST_P(Reconcile, GoesOnAfterFailures) {
  Update(R"([{"id":1},{"id":2},{"id":3},{"id":4}])");
  Refuse("UPDATE", table_);
  Refuse("INSERT", table_);
  Refuse("DELETE", table_, "OLD.id=2");
  Break("emap_item");
  EXPECT_EQ(Without(Update(R"([{"id":1,"name":"A"},{"id":9}])"), "failed"), GetParam().failed);
}

TEST_P(Reconcile, AddsEverythingAndRemovesNothingWhenTheRowsCannotBeListed) {
  Update(R"([{"id":1},{"id":2}])");
  Break(table_);
  EXPECT_EQ(Without(Update(R"([{"id":1}])"), "failed"), Lines{GetParam().failed[1]});
}

TEST_P(Reconcile, OfTwoEntriesWithOneIdTheFirstTakesTheRow) {
  Update(R"([{"id":5,"name":"A"}])");
  Update(R"([{"id":5,"name":"first"},{"id":5,"name":"second"},{"name":"no id"}])");
  EXPECT_THAT(Rows("SELECT id,id_on_rec_server,name FROM " + table_),
              ElementsAre("1|5|first", "2|5|second", "3|0|no id"));
}

TEST_P(Reconcile, ASectionThatIsAbsentRemovesAll) {
  Update(R"([{"id":1},{"id":2}])");
  Update("null");
  EXPECT_THAT(Rows("SELECT id FROM " + table_), IsEmpty());
}

using IOModules = Reconcile;
INSTANTIATE_TEST_SUITE_P(, IOModules, testing::Values(kIOModule));
TEST_P(IOModules, TakeWhatTheyCanOfAnEntry) {
  Update(R"([{"id":1,"name":"A"}])");
  Update(R"([{"id":1,"name":"B","port":"no number"},null])");
  EXPECT_THAT(Rows("SELECT id_on_rec_server,owner_zr_id,name,port FROM iomodule"), ElementsAre("1|7|B|80", "0|7||80"));
}

TEST_P(IOModules, AreNotOverwrittenWhileTheyAreConfigured) {
  Sql("INSERT INTO iomodule (owner_zr_id,id_on_rec_server,name,device_status_flags) VALUES (7,1,'A',33),(7,2,'B',33)");
  const std::string section = R"([{"id":1,"name":"AA"},{"id":2,"name":"B"}])";
  EXPECT_THAT(Update(section),
              ElementsAre("log 4 UpdateIOModuleData Skip to update IOMod [1] on ZR [7] due configuring."));
  Sql("UPDATE iomodule SET device_status_flags=1");
  Update(section);
  EXPECT_THAT(Rows("SELECT name,device_status_flags FROM iomodule"), ElementsAre("AA|1", "B|1"));
}

}  // namespace
