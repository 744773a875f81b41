#include "frame/posdata.h"

#include "recserversavers.h"
#include "support/hosttest.h"

namespace {

using support::Lines;
using support::Parse;
using testing::ElementsAre;

class PosDataTest : public support::HostTest {
 protected:
  Lines Update(const std::string& pos_info, int level = 7) {
    return Journal([&] { ReconcilePOSs(7, Parse(pos_info)); }, level);
  }
  Lines Stored() { return Rows("SELECT id,owner_zr_id,id_on_rec_server,name FROM pos ORDER BY id"); }
};

TEST_F(PosDataTest, FollowsTheSnapshot) {
  EXPECT_THAT(Update(R"([{"id":1,"name":"A"},{"id":2,"name":"B"},{"id":3,"name":"C"}])"),
              ElementsAre("insert pos 1", "log 4 UpdatePOSData Add POS [1] from ZR [7].",  //
                          "insert pos 2", "log 4 UpdatePOSData Add POS [2] from ZR [7].",  //
                          "insert pos 3", "log 4 UpdatePOSData Add POS [3] from ZR [7]."));
  // One is unchanged, one changed, one new, one gone.
  EXPECT_THAT(Update(R"([{"id":2,"name":"B"},{"id":3,"name":"CC"},{"id":4}])"),
              ElementsAre("log 4 UpdatePOSData Update POS [3] on ZR [7].", "update pos 3",  //
                          "insert pos 4", "log 4 UpdatePOSData Add POS [4] from ZR [7].",
                          "log 3 RemoveExtraPOSs Remove extra POSs [1] on ZR [7].",
                          "log 4 RemoveExtraPOSs Remove POS [1] on ZR [7].", "delete pos WHERE id=1"));
  EXPECT_THAT(Stored(), ElementsAre("2|7|2|B", "3|7|3|CC", "4|7|4|"));
}

TEST_F(PosDataTest, MatchesTheFirstRowAndTheFirstEntryOfAnId) {
  Sql("INSERT INTO pos (owner_zr_id,id_on_rec_server,name) VALUES (7,5,'first'),(7,5,'second'),(8,5,'other slave')");
  // The first entry has the first row, the second entry the second one, the third is new; nothing is left over.
  EXPECT_THAT(Update(R"([{"id":5,"name":"a"},{"id":5,"name":"b"},{"id":5,"name":"c"}])", 3),
              ElementsAre("update pos 1", "update pos 2", "insert pos 4"));
  EXPECT_THAT(Update(R"([{"id":5,"name":"a"}])", 3),
              ElementsAre("log 3 RemoveExtraPOSs Remove extra POSs [2,4] on ZR [7].", "delete pos WHERE id=2",
                          "delete pos WHERE id=4"));
  EXPECT_THAT(Stored(), ElementsAre("1|7|5|a", "3|8|5|other slave"));
}

TEST_F(PosDataTest, KeepsARowWhoseEntryIsRefused) {
  Update(R"([{"id":1,"name":"A"}])");
  // A port that is no number: the matched row stays as it is, and a new terminal is left out without a word.
  EXPECT_THAT(Update(R"([{"id":1,"name":"B","port":"x"},{"id":2,"port":"x"}])"),
              ElementsAre("log 4 UpdatePOSData Update POS [1] on ZR [7].", "The reported \"port\" does not fit pos [1]",
                          "The reported \"port\" does not fit pos [0]"));
  EXPECT_THAT(Update(R"([{"id":1,"text_rules":[{"type":1,"pattern":"TOTAL"},{"type":"x"}]}])", 3),
              ElementsAre("The reported \"type\" does not fit pos_text_rule [0]"));
  EXPECT_THAT(Stored(), ElementsAre("1|7|1|A"));
}

TEST_F(PosDataTest, PairingReadsIdsAsTheSnapshotDoes) {
  const Json::Value section = Parse(R"([{"id":"5"},{"id":5.5},{"id":true},{"id":[]},{"id":3000000000},{},7])");
  const auto pair = [&] { EXPECT_EQ(SavePOSFromRecServer(7, section, false), 0); };
  const testing::Matcher<std::string> refused = "Refused a device of ZR [7]";
  EXPECT_THAT(Journal(pair), ElementsAre(refused, "insert pos 1", "insert pos 2", refused, refused, "insert pos 3"));
  EXPECT_THAT(Journal(pair), ElementsAre(refused, refused, refused));
  EXPECT_THAT(Stored(), ElementsAre("1|7|5|", "2|7|1|", "3|7|0|"));
  EXPECT_THAT(Update(R"([{"id":5.5},{"id":true},{}])"), testing::IsEmpty());
}

TEST_F(PosDataTest, GoesOnAfterFailures) {
  Update(R"([{"id":1},{"id":2},{"id":3}])");
  Refuse("DELETE", "pos", "OLD.id=1");
  Break("emap_item");
  EXPECT_THAT(Update("[]", 1),
              ElementsAre("failed to delete pos [1]", "log 1 RemoveExtraPOSs Failed while delete POS [1].",
                          "delete pos WHERE id=2", "failed to clean up after pos [2]",
                          "log 1 RemoveExtraPOSs Failed to sync related tables.", "delete pos WHERE id=3",
                          "failed to clean up after pos [3]", "log 1 RemoveExtraPOSs Failed to sync related tables."));
  EXPECT_THAT(Stored(), ElementsAre("1|7|1|"));
  // Nothing can be listed: every entry is taken for a new one, and each fails to be saved.
  Break("pos");
  EXPECT_THAT(Update(R"([{"id":1}])", 4), ElementsAre("failed to list pos [0]", "failed to save pos [0]",
                                                      "log 4 UpdatePOSData Add POS [0] from ZR [7]."));
}

}  // namespace
