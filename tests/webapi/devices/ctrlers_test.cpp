#include "devices/devicesteps.h"
#include "support/hosttest.h"

namespace {

struct Ctrlers : support::HostTest {
  /// Cameras 1 and 2 of slave 7 are 41 and 42 on the host.
  Ctrlers() { Sql("INSERT INTO camera (id,owner_zr_id,id_on_rec_server) VALUES (40,8,1),(41,7,1),(42,7,2)"); }

  static Lines Update(const std::string& section, int result = 0) {
    return support::Without(Journal([&] { EXPECT_EQ(result, UpdateCtrlerData(7, Parse(section))); }), "failed");
  }
  static Lines Rows() {
    return HostTest::Rows("SELECT id,owner_zr_id,id_on_rec_server,name,status,extra FROM axis_acs_ctrler");
  }
  static Lines Doors() {
    return HostTest::Rows("SELECT id,ctrler_id,id_on_rec_server,name,cam_id,cam_zr_id FROM axis_door");
  }
};

TEST_F(Ctrlers, FollowTheSnapshot) {
  Sql("INSERT INTO axis_acs_ctrler (id,owner_zr_id,id_on_rec_server) VALUES (1,8,5)");
  Update(R"([{"id":5,"name":"A","status":1,"door":[{"id":11,"name":"N","cam_id":1},{"id":12}]},
             {"id":6,"name":"B","door":[{"id":13,"cam_id":77}]},{"id":8,"name":"C","door":[{"id":14}]}])");
  const std::string second = R"([{"id":6,"name":"B","door":[{"id":13,"cam_id":77}]},{"id":9,"speed":1},
      {"id":5,"name":"AA","status":3,"door":[{"id":11,"name":"N","cam_id":1},{"id":12,"cam_id":2}]}])";
  EXPECT_THAT(Update(second),
              ElementsAre("update axis_acs_ctrler 2", "update axis_door 2", "insert axis_acs_ctrler 5",
                          "delete axis_door 4", "delete axis_acs_ctrler 4",
                          R"(message 0 msgd 56 {"ids":[4],"origin":"","receivers":[],"settings":false,"type":1})"));
  EXPECT_THAT(Rows(), ElementsAre("1|8|5||0|", "2|7|5|AA|1|", "3|7|6|B|0|", R"(5|7|9||0|{"speed":1})"));
  EXPECT_THAT(Doors(), ElementsAre("1|2|11|N|41|7", "2|2|12||42|7", "3|3|13||null|0"));
  EXPECT_THAT(Update(second), IsEmpty()) << "nothing changed";
}

TEST_F(Ctrlers, DoorsArePairedByPosition) {
  Update(R"([{"id":5,"door":[{"id":11,"cam_id":1},{"id":12,"cam_id":2},{"id":13,"cam_id":2}]}])");
  // Other ids, an unknown camera, an id that is no integer, one door less than the host has.
  const std::string two = R"([{"id":5,"door":[{"id":12,"cam_id":9,"name":"X"},{"id":"11","cam_id":1.0}]}])";
  Update(two);
  EXPECT_THAT(Doors(), ElementsAre("1|1|12|X|null|0", "2|1|0||41|7", "3|1|0||null|0"));
  EXPECT_THAT(Update(two), IsEmpty());
  // A door more than the host has, with the id of a door of the host.
  Update(R"([{"id":5,"door":[{},{},{},{"id":1,"id_on_rec":0,"cam_id":2,"name":"new"},3]}])");
  EXPECT_THAT(Doors(), testing::Contains("4|1|1|new|42|7"));
}

TEST_F(Ctrlers, GoOnAfterFailures) {
  Update(R"([{"id":5,"door":[{"id":11}]},{"id":6},{"id":8}])");
  Refuse("UPDATE", "axis_door");
  Refuse("UPDATE", "axis_acs_ctrler", "NEW.id=2");
  Refuse("INSERT", "axis_door");
  Refuse("DELETE", "axis_acs_ctrler");
  EXPECT_THAT(
      Update(R"([{"id":5,"name":"A","door":[{"id":12}]},{"id":6,"name":"B"},{"id":9,"door":[{"id":1}]},{"id":10}])"),
      ElementsAre("insert axis_acs_ctrler 4", "log 3 RemoveExtraCtrlers Failed to delete extra Ctrlers [3] on Zr [7]"))
      << "a controller and its doors are written all or none";
}

TEST_F(Ctrlers, AreLeftAloneWhenTheyCannotBeListed) {
  Update(R"([{"id":5}])");
  Break("axis_door");
  EXPECT_THAT(Update(R"([{"id":6}])", -1), ElementsAre("log - UpdateCtrlerData Failed to get access ctrler list."));
}

}  // namespace
