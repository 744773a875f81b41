#include "qvwebapicmssyncutils.h"
#include "slavezr.h"
#include "support/hosttest.h"

namespace {

using support::Lines;
using support::Parse;
using testing::ElementsAre;

class PosData : public support::HostTest {
 protected:
  Lines Update(const std::string& document, int level = 7) {
    return Journal([&] { SaveSlaveInfoUpdate(SlaveZR(), Parse(document), 7); }, level);
  }
};

TEST_F(PosData, FollowsTheSnapshot) {
  EXPECT_THAT(Update(R"({"POS_info":[{"id":1,"name":"A"},{"id":2,"name":"B"},{"id":3,"name":"C"}]})"),
              ElementsAre("insert pos 1", "log 4 UpdatePOSData Add POS [1] from ZR [7].",  //
                          "insert pos 2", "log 4 UpdatePOSData Add POS [2] from ZR [7].",  //
                          "insert pos 3", "log 4 UpdatePOSData Add POS [3] from ZR [7]."));
  // Unchanged, changed, gone, new.
  EXPECT_THAT(Update(R"({"POS_info":[{"id":2,"name":"B"},{"id":3,"name":"CC"},{"id":4}]})"),
              ElementsAre("log 4 UpdatePOSData Update POS [3] on ZR [7].", "update pos 3",  //
                          "insert pos 4", "log 4 UpdatePOSData Add POS [4] from ZR [7].",
                          "log 3 RemoveExtraPOSs Remove extra POSs [1] on ZR [7].",
                          "log 4 RemoveExtraPOSs Remove POS [1] on ZR [7].", "delete pos WHERE id=1"));
  EXPECT_THAT(Rows("SELECT id,owner_zr_id,id_on_rec_server,name FROM pos"),
              ElementsAre("2|7|2|B", "3|7|3|CC", "4|7|4|"));
}

}  // namespace
