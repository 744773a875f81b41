/// Counting widgets and counting task groups. The line of each message is part of its contract, so the journal shows
/// it.

#include "analytics/analyticssteps.h"
#include "camera.h"
#include "qvobjectcounting.h"
#include "support/hosttest.h"

namespace {

using support::Only;
using support::Without;

/// Host tasks 1 and 2 of slave 7 (tasks 31 and 32 there), host task 3 of slave 8 (task 31 there).
struct Counting : support::HostTest {
  Counting() {
    Sql("INSERT INTO camera (id,id_on_rec_server,owner_zr_id) VALUES (11,1,7),(21,1,8);INSERT INTO iva_task "
        "(owner_zr_id,id_on_rec_server,camera_id) VALUES (7,31,11),(7,32,11),(8,31,21)");
    support::journal_names_places = true;
  }
  ~Counting() override { support::journal_names_places = false; }

  static Lines Widgets(const std::string& section, int zr = 7) {
    const Json::Value document = Parse("{\"counting_widget_info\":" + section + "}");
    return Journal([&] { UpdateCountingWidgetInfo(document, zr); });
  }
  static Lines Groups(const std::string& section, int zr = 7) {
    const Json::Value document = Parse("{\"counting_task_group_info\":" + section + "}");
    return Journal([&] { UpdateCountingTaskGroupInfo(document, zr); });
  }
  static Lines StoredWidgets() {
    return Rows("SELECT id,owner_zr_id,id_on_rec_server,iva_setting_id,type,name FROM counting_widget ORDER BY id");
  }
  static Lines StoredGroups() {
    return Rows("SELECT id,owner_zr_id,id_on_rec_server,name FROM counting_task_group ORDER BY id");
  }
  static Lines Members() {
    return Rows("SELECT group_id,widget_id FROM counting_task_group_widget ORDER BY group_id,position");
  }
};

/// A widget's entry with what its type needs.
std::string Region(int id, int task, const std::string& name = "") {
  return "{\"id\":" + std::to_string(id) + ",\"iva_setting_id\":" + std::to_string(task) + ",\"name\":\"" + name +
         R"(","type":1,"region":[{"x":0.1,"y":0.1},{"x":0.9,"y":0.1},{"x":0.5,"y":0.75}]})";
}
std::string Fence(int id, int task, const std::string& name = "") {
  return "{\"id\":" + std::to_string(id) + ",\"iva_setting_id\":" + std::to_string(task) + ",\"name\":\"" + name +
         R"(","type":2,"fence":[{"x":0,"y":0.5},{"x":1,"y":0.5}]})";
}

TEST_F(Counting, WidgetsFollowTheSnapshot) {
  const std::string first = "[" + Region(5, 31, "Door") + "," + Fence(6, 31, "Gate") + "," + Region(7, 31) + "]";
  EXPECT_THAT(Widgets(first),
              ElementsAre("insert counting_widget 1", "insert counting_widget 2", "insert counting_widget 3"));
  EXPECT_THAT(Widgets(first), IsEmpty()) << "nothing changed";
  EXPECT_THAT(
      Widgets("[" + Fence(8, 32) + "," + Fence(6, 31, "South") + "]"),
      ElementsAre("insert counting_widget 4", "update counting_widget 2",
                  "log 5 UpdateCountingWidgetInfo:267 Delete counting widget [1] from db.", "delete counting_widget 1",
                  "log 5 UpdateCountingWidgetInfo:267 Delete counting widget [3] from db.",
                  "delete counting_widget 3"));
  EXPECT_THAT(StoredWidgets(), ElementsAre("2|7|6|1|2|South", "4|7|8|2|2|"));
}

TEST_F(Counting, AWidgetThatMovesToAnotherTaskKeepsItsOldRowToo) {
  Widgets("[" + Fence(6, 31) + "]");
  Widgets("[" + Fence(6, 32) + "]");
  EXPECT_THAT(StoredWidgets(), ElementsAre("1|7|6|1|2|", "2|7|6|2|2|"));
}

TEST_F(Counting, WidgetsOfOtherSlavesAreLeftAlone) {
  Widgets("[" + Fence(6, 31) + "]", 8);
  Widgets("[" + Fence(6, 31) + "]");
  Widgets("[]");
  EXPECT_THAT(StoredWidgets(), ElementsAre("1|8|6|3|2|"));
}

TEST_F(Counting, WidgetsAndGroupsStayWithoutAListAndGoWhenTheListIsNull) {
  Widgets("[" + Fence(6, 31) + "]");
  Groups(R"([{"id":1,"widget_ids":[6]}])");
  UpdateCountingWidgetInfo(Parse("{}"), 7);
  UpdateCountingTaskGroupInfo(Parse("{}"), 7);
  EXPECT_THAT(Members(), ElementsAre("1|1"));
  Groups("null");
  EXPECT_THAT(StoredGroups(), IsEmpty());
  Widgets("null");
  EXPECT_THAT(StoredWidgets(), IsEmpty());
}

TEST_F(Counting, AWidgetThatCannotBeSavedKeepsItsRow) {
  Widgets("[" + Region(5, 31) + "," + Fence(6, 31) + "," + Fence(7, 31) + "," + Fence(8, 31) + "]");
  EXPECT_THAT(Widgets(
                  R"([{"id":5,"iva_setting_id":31,"type":3},{"id":6,"iva_setting_id":39,"type":2},
                          {"id":7,"iva_setting_id":31,"type":2},{"id":8,"iva_setting_id":31,"type":1,"region":[{"x":0,"y":"a"}]}])"),
              ElementsAre("log 1 UpdateCountingWidgetInfo:243 Unknown widget type [3].",
                          "log 1 UpdateCountingWidgetInfo:211 Failed to load task[39] from rec server[7].",
                          "log 1 UpdateCountingWidgetInfo:238 Failed to convert json to fence widget.",
                          "log 1 UpdateCountingWidgetInfo:230 Failed to convert json to region widget."));
  EXPECT_EQ(StoredWidgets().size(), 4U);
}

TEST_F(Counting, WidgetsGoOnAfterAFailure) {
  Widgets("[" + Region(5, 31) + "," + Fence(6, 31) + "," + Fence(7, 31) + "]");
  Sql("INSERT INTO counting_widget (iva_setting_id,id_on_rec_server,type,owner_zr_id) VALUES (1,9,4,7)");
  Refuse("UPDATE", "counting_widget");
  Refuse("DELETE", "counting_widget", "OLD.id=2");
  EXPECT_THAT(
      Without(Widgets("[" + Region(5, 31, "renamed") + "]"), "failed"),
      ElementsAre("log 5 UpdateCountingWidgetInfo:267 Delete counting widget [2] from db.",
                  "log 5 UpdateCountingWidgetInfo:267 Delete counting widget [3] from db.", "delete counting_widget 3",
                  "log 5 UpdateCountingWidgetInfo:267 Delete counting widget [4] from db.",
                  "log 1 UpdateCountingWidgetInfo:273 Unknown widget type [4]."));
}

TEST_F(Counting, WidgetsAreNotDeletedWhenTheyCannotBeListed) {
  Break("counting_widget");
  EXPECT_THAT(Without(Widgets("[]"), "failed"),
              ElementsAre("log 1 UpdateCountingWidgetInfo:261 Failed to get counting widgets from db."));
  Break("iva_task");
  EXPECT_THAT(Without(Widgets("[]"), "failed"),
              ElementsAre("log 1 UpdateCountingWidgetInfo:252 Failed to get IvaTasks list of ZR [7]."));
}

TEST_F(Counting, GroupsFollowTheSnapshot) {
  Widgets("[" + Region(5, 31) + "," + Fence(6, 32) + "]");
  const std::string first = R"([{"id":3,"name":"Both","widget_ids":[5,6]},{"id":4,"widget_ids":[6]}])";
  Groups(first);
  EXPECT_THAT(Members(), ElementsAre("1|1", "1|2", "2|2"));
  EXPECT_THAT(Groups(first), IsEmpty()) << "nothing changed";
  EXPECT_THAT(Without(Groups(R"([{"id":3,"name":"Sum","widget_ids":[6,5]},{"id":7,"widget_ids":[5]}])"), "failed"),
              testing::IsSupersetOf({"update counting_task_group 1", "insert counting_task_group 3",
                                     "log 5 UpdateCountingTaskGroupInfo:333 Delete counting task group [2] from db.",
                                     "delete counting_task_group 2"}));
  EXPECT_THAT(StoredGroups(), ElementsAre("1|7|3|Sum", "3|7|7|"));
  EXPECT_THAT(Members(), ElementsAre("1|2", "1|1", "3|1"));
}

TEST_F(Counting, GroupsKnowOnlyTheWidgetsOfTheirSlave) {
  Widgets("[" + Region(9, 31) + "]", 8);
  Widgets("[" + Region(5, 31) + "]");
  EXPECT_THAT(Only(Groups(R"([{"id":3,"widget_ids":[9,5]},{"id":4,"widget_ids":[1]}])"), "log"),
              ElementsAre("log 1 UpdateCountingTaskGroupInfo:299 Failed to find widget id [9] on ZR id [7].",
                          "log 1 UpdateCountingTaskGroupInfo:299 Failed to find widget id [1] on ZR id [7]."));
  EXPECT_THAT(Members(), ElementsAre("1|2"));
  Groups("[]", 8);
  EXPECT_THAT(StoredGroups(), ElementsAre("1|7|3|", "2|7|4|"));
}

TEST_F(Counting, AGroupThatCannotBeSavedLosesItsCopy) {
  Groups(R"([{"id":1},{"id":2},{"id":3},{"id":4}])");
  Refuse("UPDATE", "counting_task_group", "NEW.name='no'");
  Refuse("INSERT", "counting_task_group", "NEW.name='no'");
  EXPECT_THAT(
      Only(Groups(R"([{"id":2,"name":"no"},{"id":9,"name":"no"},{"id":3,"widget_ids":{}},{"id":4}])"), "log"),
      ElementsAre("log 1 UpdateCountingTaskGroupInfo:318 Failed to save id [2] on zr id [7] counting task group to db.",
                  "log 1 UpdateCountingTaskGroupInfo:318 Failed to save id [0] on zr id [7] counting task group to db.",
                  "log 1 UpdateCountingTaskGroupInfo:291 Failed to convert json to counting task group.",
                  "log 5 UpdateCountingTaskGroupInfo:333 Delete counting task group [1] from db.",
                  "log 5 UpdateCountingTaskGroupInfo:333 Delete counting task group [2] from db.",
                  "log 5 UpdateCountingTaskGroupInfo:333 Delete counting task group [3] from db."));
  EXPECT_THAT(StoredGroups(), ElementsAre("4|7|4|"));
}

TEST_F(Counting, GroupsAreNotTouchedWhenTheyOrTheWidgetsCannotBeListed) {
  Widgets("[" + Fence(6, 31) + "]");
  Groups(R"([{"id":1,"widget_ids":[6]}])");
  Break("counting_widget");
  EXPECT_THROW(Groups(R"([{"id":1,"widget_ids":[6]}])"), std::runtime_error);
  EXPECT_THAT(Members(), ElementsAre("1|1")) << "the widgets are not unknown";
  UpdateCountingTaskGroupInfo(Parse("{}"), 7);  // does not ask for them
  Break("counting_task_group");
  EXPECT_THROW(Groups("[]"), std::runtime_error);
  Sql("ALTER TABLE counting_widget_away RENAME TO counting_widget");
  EXPECT_THAT(Without(Groups("[]"), "failed"),
              ElementsAre("log 1 UpdateCountingTaskGroupInfo:327 Failed to load all task groups on ZR id [7]."));
}

}  // namespace
