#include "frame/speakerdata.h"

#include "support/hosttest.h"

namespace {

using support::Lines;
using support::Parse;
using testing::ElementsAre;
using testing::IsEmpty;

class SpeakerDataTest : public support::HostTest {
 protected:
  Lines Update(const std::string& speaker_info, int level = 7) {
    return Journal([&] { ReconcileSpeakers(7, Parse(speaker_info)); }, level);
  }
};

TEST_F(SpeakerDataTest, FollowsTheSnapshot) {
  EXPECT_THAT(Update(R"([{"id":1,"name":"A"},{"id":2,"name":"B","status":3},{"id":3,"volume":"loud"}])"),
              ElementsAre("insert ipspeaker 1", "log 4 UpdateSpeakerData Add Speaker [1] from ZR [7].",
                          "insert ipspeaker 2", "log 4 UpdateSpeakerData Add Speaker [2] from ZR [7].",
                          "The reported \"volume\" does not fit ipspeaker [0]"));
  // The state of a known speaker is left to the status reports.
  EXPECT_THAT(Update(R"([{"id":1,"name":"A"},{"id":2,"name":"B","status":4}])"), IsEmpty());
  EXPECT_THAT(Update(R"([{"id":2,"name":"BB"}])"),
              ElementsAre("log 4 UpdateSpeakerData Update Speaker [2] on ZR [7].", "update ipspeaker 2",
                          "log 3 RemoveExtraSpeakers Remove extra Speakers [1] on ZR [7].",
                          "log 4 RemoveExtraSpeakers Remove Speaker [1] on ZR [7].", "delete ipspeaker WHERE id=1"));
  EXPECT_THAT(Rows("SELECT id,owner_zr_id,id_on_rec_server,name,status_on_rec_server FROM ipspeaker"),
              ElementsAre("2|7|2|BB|3"));
}

TEST_F(SpeakerDataTest, GoesOnAfterFailures) {
  Update(R"([{"id":1},{"id":2}])");
  Refuse("DELETE", "ipspeaker", "OLD.id=1");
  Break("emap_item");
  EXPECT_THAT(Update("[]", 1), ElementsAre("failed to delete ipspeaker [1]",
                                           "log 1 RemoveExtraSpeakers Failed while delete Speaker [1].",
                                           "delete ipspeaker WHERE id=2", "failed to clean up after ipspeaker [2]",
                                           "log 1 RemoveExtraSpeakers Failed to sync related tables."));
  Break("ipspeaker");
  EXPECT_THAT(Update(R"([{"id":1}])", 4), ElementsAre("failed to list ipspeaker [0]", "failed to save ipspeaker [0]",
                                                      "log 4 UpdateSpeakerData Add Speaker [0] from ZR [7]."));
}

}  // namespace
