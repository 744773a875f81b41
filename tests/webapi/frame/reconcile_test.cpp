/// Devices that follow the snapshot by one policy: terminals, speakers and I/O modules.
#include <regex>

#include "devices/devicesteps.h"
#include "recserversavers.h"
#include "support/hosttest.h"

namespace {

using support::Lines;
using support::LinesOf;

/// A kind with the words of its messages.
struct Kind {
  std::function<void(int zr_id, const Json::Value& section)> update;
  std::string table;
  Lines words;  ///< for `kWords`
};
const Lines kWords = {"@Update", "@Remove", "@updated", "@added", "@extra", "@removed", "@undeleted", "@noun"};
void PrintTo(const Kind& kind, std::ostream* out) { *out << kind.table; }

const Kind kPos{ReconcilePOSs, "pos",
                LinesOf("UpdatePOSData", "RemoveExtraPOSs", "POS", "POS", "POSs", "POS", "POS", "POS terminal")};
const Kind kSpeaker{ReconcileSpeakers, "ipspeaker",
                    LinesOf("UpdateSpeakerData", "RemoveExtraSpeakers", "Speaker", "Speaker", "Speakers", "Speaker",
                            "Speaker", "speaker")};
const Kind kIOModule{UpdateIOModuleData, "iomodule",
                     LinesOf("UpdateIOModuleData", "RemoveExtraIOMods", "IOMod", "IO module", "IOMods", "IO mode",
                             "IO module", "I/O module")};

struct Reconcile : support::HostTest, testing::WithParamInterface<Kind> {
  Lines Update(const std::string& section, int level = 7, const Kind& kind = GetParam()) {
    return Journal([&] { kind.update(7, Parse(section)); }, level);
  }
  /// Lines of the journal with the kind's words in them.
  static Lines Said(const auto&... lines) {
    Lines said = {lines...};
    for (std::string& line : said) {
      line = std::regex_replace(line, std::regex("@table"), GetParam().table);
      for (std::size_t i = 0; i < kWords.size(); ++i) {
        line = std::regex_replace(line, std::regex(kWords[i]), GetParam().words[i]);
      }
    }
    return said;
  }
};
INSTANTIATE_TEST_SUITE_P(, Reconcile, testing::Values(kPos, kSpeaker, kIOModule),
                         [](const auto& kind) { return kind.param.table; });

TEST_P(Reconcile, FollowsTheSnapshot) {
  const std::string table = GetParam().table;
  Sql("INSERT INTO " + table + " (owner_zr_id,id_on_rec_server,name) VALUES (8,1,'of another slave')");
  Update(R"([{"id":1,"name":"A"},{"id":2,"name":"B"},{"id":3,"name":"C"}])");
  // Unchanged, changed, new; the first one is gone.
  const std::string second = R"([{"id":2,"name":"B"},{"id":3,"name":"CC"},{"id":5,"zoom":[1]}])";
  EXPECT_EQ(Update(second),
            Said("log 4 @Update Update @updated [4] on ZR [7].", "update @table 4", "insert @table 5",
                 "log 4 @Update Add @added [5] from ZR [7].", "log 3 @Remove Remove extra @extra [2] on ZR [7].",
                 "log 4 @Remove Remove @removed [2] on ZR [7].", "delete @table 2"));
  EXPECT_THAT(Update(second), IsEmpty());
  EXPECT_THAT(Rows("SELECT id,owner_zr_id,id_on_rec_server,name,extra FROM " + table),
              ElementsAre("1|8|1|of another slave|", "3|7|2|B|", "4|7|3|CC|", R"(5|7|5||{"zoom":[1]})"));
}

TEST_P(Reconcile, GoesOnAfterFailures) {
  const std::string table = GetParam().table;
  Update(R"([{"id":1},{"id":2},{"id":3},{"id":4}])");
  Refuse("UPDATE", table);
  Refuse("INSERT", table);
  Refuse("DELETE", table, "OLD.id=2");
  Break("emap_item");
  EXPECT_EQ(
      Update(R"([{"id":1,"name":"A"},{"id":9}])"),
      Said("log 4 @Update Update @updated [1] on ZR [7].", "failed to save @noun [1]", "failed to save @noun [0]",
           "log 4 @Update Add @added [0] from ZR [7].", "log 3 @Remove Remove extra @extra [2,3,4] on ZR [7].",
           "log 4 @Remove Remove @removed [2] on ZR [7].", "failed to delete @noun [2]",
           "log 1 @Remove Failed while delete @undeleted [2].", "log 4 @Remove Remove @removed [3] on ZR [7].",
           "delete @table 3", "failed to clean up after @noun [3]", "log 1 @Remove Failed to sync related tables.",
           "log 4 @Remove Remove @removed [4] on ZR [7].", "delete @table 4", "failed to clean up after @noun [4]",
           "log 1 @Remove Failed to sync related tables."));
  EXPECT_THAT(Rows("SELECT id,name FROM " + table), ElementsAre("1|", "2|"));
  // Nothing can be listed: every entry is taken for a new one, and nothing is removed.
  Break(table);
  EXPECT_EQ(Update(R"([{"id":1}])"),
            Said("failed to list @nouns", "failed to save @noun [0]", "log 4 @Update Add @added [0] from ZR [7]."));
}

TEST_P(Reconcile, KeepsARowWhoseEntryIsRefused) {
  Update(R"([{"id":1,"name":"A"}])");
  // A port that is no number: a module keeps its port alone; others stay as they are, and a new one is left out
  // without a word.
  const Lines lines = Update(R"([{"id":1,"name":"B","port":"x"},{"id":2,"port":"x"}])");
  if (GetParam().table == "iomodule") {
    EXPECT_THAT(Rows("SELECT id_on_rec_server,name,port FROM iomodule"), ElementsAre("1|B|80", "2||80"));
  } else {
    EXPECT_EQ(lines,
              Said("log 4 @Update Update @updated [1] on ZR [7].", "The reported \"port\" does not fit @table [1]",
                   "The reported \"port\" does not fit @table [0]"));
    EXPECT_THAT(Rows("SELECT id,name FROM " + GetParam().table), ElementsAre("1|A"));
  }
}

TEST_F(Reconcile, TerminalsKeepTheirRulesUntilOthersAreReported) {
  const std::string rules = R"([{"id":1,"text_rules":[{"type":1,"pattern":"TOTAL","value":"SUM"},{"type":2}]}])";
  Update(rules, 3, kPos);
  EXPECT_THAT(Update(rules, 3, kPos), IsEmpty());
  EXPECT_THAT(Update(R"([{"id":1,"name":"renamed"}])", 3, kPos), ElementsAre("update pos 1"));
  EXPECT_THAT(Update(R"([{"id":1,"text_rules":[{"type":1,"pattern":"VOID"},{"type":"x"}]}])", 3, kPos),
              ElementsAre("The reported \"type\" does not fit pos_text_rule [0]"));
  EXPECT_THAT(Rows("SELECT pos_id,position,type,pattern,value FROM pos_text_rule ORDER BY id"),
              ElementsAre("1|0|1|TOTAL|SUM", "1|1|2||"));
  EXPECT_THAT(Update(R"([{"id":1,"text_rules":[]}])", 3, kPos),
              ElementsAre("delete pos_text_rule 1", "delete pos_text_rule 2"));
}

TEST_F(Reconcile, TheStateOfAKnownDeviceIsLeftToTheStatusReports) {
  for (const Kind& kind : {kSpeaker, kIOModule}) {
    Update(R"([{"id":1,"status":3}])", 3, kind);
    EXPECT_THAT(Update(R"([{"id":1,"status":4}])", 3, kind), IsEmpty());
    EXPECT_THAT(Rows("SELECT status_on_rec_server FROM " + kind.table), ElementsAre("3"));
  }
}

TEST_F(Reconcile, ModulesAreLeftAloneWhileTheyAreConfigured) {
  Sql("INSERT INTO iomodule (owner_zr_id,id_on_rec_server,name,device_status_flags) VALUES (7,1,'A',33),(7,2,'B',33)");
  const std::string section = R"([{"id":1,"name":"AA"},{"id":2,"name":"B"}])";
  EXPECT_THAT(Update(section, 7, kIOModule),
              ElementsAre("log 4 UpdateIOModuleData Skip to update IOMod [1] on ZR [7] due configuring."));
  Sql("UPDATE iomodule SET device_status_flags=1");
  EXPECT_THAT(Update(section, 7, kIOModule),
              ElementsAre("log 4 UpdateIOModuleData Update IOMod [1] on ZR [7].", "update iomodule 1"));
  EXPECT_THAT(Rows("SELECT name,device_status_flags FROM iomodule"), ElementsAre("AA|1", "B|1"));
}

TEST_F(Reconcile, PairingModulesTwiceChangesNothing) {
  const Json::Value section = Parse(R"([{"id":1,"name":"A"},{"id":2,"model":"M"},17])");
  const auto pair = [&] { EXPECT_EQ(0, SaveIOModuleFromRecServer(7, section, true)); };
  const std::string update = R"(message 0 msgd iomodule-update {"ids":[1,2],"settings":true,"type":0})";
  EXPECT_THAT(Journal(pair), ElementsAre("insert iomodule 1", "insert iomodule 2", update));
  EXPECT_THAT(Journal(pair), ElementsAre(update));
}

TEST_F(Reconcile, SettingsAndPairingsFollowModulesAndCameras) {
  Sql("INSERT INTO camera (id,owner_zr_id,id_on_rec_server) VALUES (40,7,3);"
      "INSERT INTO iomodule (id,owner_zr_id,id_on_rec_server) VALUES (1,8,2)");
  const Json::Value settings = Parse(R"([{"id":1,"iomodule_id":2,"debounce":50}])");
  const Json::Value pairings = Parse(R"([{"id":1,"iomodule_id":2,"cam_id":3},{"id":2,"iomodule_id":1,"cam_id":9},
                                         {"id":3,"iomodule_id":"2","cam_id":true}])");
  Update(R"([{"id":1},{"id":2}])", 7, kIOModule);
  const auto apply = [&] { SaveIOModuleSettingFromRec(7, settings), SaveIOModuleCamPairingFromRec(7, pairings); };
  EXPECT_THAT(Journal(apply), ElementsAre("insert iomodule_setting 1", "insert iomodule_cam_pairing 1",
                                          "insert iomodule_cam_pairing 2", "insert iomodule_cam_pairing 3"));
  EXPECT_THAT(Journal(apply), IsEmpty());
  EXPECT_THAT(Rows("SELECT iomodule_id,settings FROM iomodule_setting"),
              ElementsAre(R"(3|{"debounce":50,"id":1,"iomodule_id":3})"));
  EXPECT_THAT(
      Rows("SELECT iomodule_id,camera_id,settings FROM iomodule_cam_pairing"),
      ElementsAre(R"(3|40|{"cam_id":40,"id":1,"iomodule_id":3})", R"(2|null|{"cam_id":0,"id":2,"iomodule_id":2})",
                  R"(null|null|{"cam_id":0,"id":3,"iomodule_id":0})"));
  Sql("DELETE FROM camera");
  EXPECT_THAT(Rows("SELECT iomodule_id FROM iomodule_cam_pairing ORDER BY id"), ElementsAre("2", "null"));
  Sql("INSERT INTO emap_item (iomodule_id) VALUES (2),(3)");
  // A snapshot without the section.
  EXPECT_EQ(Update("null", 7, kIOModule)[0], "log 3 RemoveExtraIOMods Remove extra IOMods [2,3] on ZR [7].");
  for (const char* table : {"iomodule_setting", "iomodule_cam_pairing", "emap_item"}) {
    EXPECT_THAT(Rows(std::string("SELECT id FROM ") + table + " WHERE id<3"), IsEmpty()) << table;
  }
}

TEST_F(Reconcile, PairingReadsIdsAsTheSnapshotDoes) {
  const std::string section = R"([{"id":5.5},{"id":true},{}])";
  EXPECT_EQ(SavePOSFromRecServer(7, Parse(section), false), 0);
  EXPECT_THAT(Rows("SELECT id,id_on_rec_server FROM pos"), ElementsAre("1|5", "2|1", "3|0"));
  EXPECT_THAT(Update(section, 7, kPos), IsEmpty());
  for (const char* id : {R"("5")", "[]", "3000000000"}) {
    const Json::Value misfit = Parse(std::string(R"([{"id":)") + id + "}]");
    EXPECT_THROW(SavePOSFromRecServer(7, misfit, false), Json::Exception) << id;
    EXPECT_THROW(ReconcilePOSs(7, misfit), Json::Exception) << id;
  }
}

}  // namespace
