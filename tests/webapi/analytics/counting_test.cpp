/// Counting widgets and counting task groups. The line of each message is part of its contract.

#include "analytics/analyticssteps.h"
#include "support/hosttest.h"

namespace {

using support::Without;

/// Host tasks 1 and 2 of slave 7 (tasks 31 and 32 there), host task 3 of slave 8 (task 31 there).
struct Counting : support::HostTest {
  Counting() { Sql("INSERT INTO iva_task (owner_zr_id,id_on_rec_server) VALUES (7,31),(7,32),(8,31)"); }
  static Lines Widgets(const std::string& section, int zr = 7) {
    const Json::Value document = Parse("{\"counting_widget_info\":[" + section + "]}");
    return Without(Journal([&] { UpdateCountingWidgetInfo(document, zr); }), "failed");
  }
  static Lines Groups(const std::string& section, int zr = 7) {
    const Json::Value document = Parse("{\"counting_task_group_info\":[" + section + "]}");
    return Without(Journal([&] { UpdateCountingTaskGroupInfo(document, zr); }), "failed");
  }
  static Lines StoredWidgets() {
    return Rows("SELECT id,owner_zr_id,id_on_rec_server,iva_setting_id,type,name FROM counting_widget");
  }
  static Lines StoredGroups() { return Rows("SELECT id,owner_zr_id,id_on_rec_server,name FROM counting_task_group"); }
  static Lines Members() {
    return Rows("SELECT group_id,widget_id FROM counting_task_group_widget ORDER BY group_id,position");
  }
};

std::string Widget(int id, int task, const std::string& name, const char* shape) {
  return "{\"id\":" + std::to_string(id) + ",\"iva_setting_id\":" + std::to_string(task) + ",\"name\":\"" + name +
         "\"," + shape + "}";
}
std::string Region(int id, int task, const std::string& name = "") {
  return Widget(id, task, name, R"("type":1,"region":[{"x":0.1,"y":0.1},{"x":0.9,"y":0.1},{"x":0.5,"y":0.75}])");
}
std::string Fence(int id, int task, const std::string& name = "") {
  return Widget(id, task, name, R"("type":2,"fence":[{"x":0,"y":0.5},{"x":1,"y":0.5}])");
}

TEST_F(Counting, WidgetsFollowTheSnapshot) {
  const std::string first = Region(5, 31, "Door") + "," + Fence(6, 31, "Gate") + "," + Fence(7, 31);
  Widgets(first);
  EXPECT_THAT(Widgets(first), IsEmpty()) << "nothing changed";
  EXPECT_THAT(
      Widgets(Fence(8, 32) + "," + Fence(6, 31, "South")),
      ElementsAre("insert counting_widget 4", "update counting_widget 2",
                  "log 5 UpdateCountingWidgetInfo:267 Delete counting widget [1] from db.", "delete counting_widget 1",
                  "log 5 UpdateCountingWidgetInfo:267 Delete counting widget [3] from db.",
                  "delete counting_widget 3"));
  EXPECT_THAT(StoredWidgets(), ElementsAre("2|7|6|1|2|South", "4|7|8|2|2|"));
}

TEST_F(Counting, AWidgetThatMovesToAnotherTaskKeepsItsOldRowToo) {
  Widgets(Fence(6, 31));
  Widgets(Fence(6, 32));
  EXPECT_THAT(StoredWidgets(), ElementsAre("1|7|6|1|2|", "2|7|6|2|2|"));
}

TEST_F(Counting, WidgetsOfOtherSlavesAreLeftAlone) {
  Widgets(Fence(6, 31), 8);
  Widgets("");
  EXPECT_THAT(StoredWidgets(), ElementsAre("1|8|6|3|2|"));
}

TEST_F(Counting, WidgetsAndGroupsStayWithoutAListAndGoWhenTheListIsNull) {
  Widgets(Fence(6, 31));
  Groups(R"({"id":1,"widget_ids":[6]})");
  const auto update = [](const char* document) {
    UpdateCountingTaskGroupInfo(Parse(document), 7);
    UpdateCountingWidgetInfo(Parse(document), 7);
  };
  update("{}");
  EXPECT_THAT(Members(), ElementsAre("1|1"));
  update(R"({"counting_task_group_info":null,"counting_widget_info":null})");
  EXPECT_THAT(StoredGroups(), IsEmpty());
  EXPECT_THAT(StoredWidgets(), IsEmpty());
}

TEST_F(Counting, AWidgetThatCannotBeTakenKeepsItsRow) {
  Widgets(Region(5, 31) + "," + Fence(6, 31) + "," + Fence(7, 31) + "," + Fence(8, 31));
  EXPECT_THAT(Widgets(Widget(5, 31, "", R"("type":3)") + "," + Fence(6, 39) + "," + Widget(7, 31, "", R"("type":2)") +
                      "," + Widget(8, 31, "", R"("type":1,"region":5)")),
              ElementsAre("log 1 UpdateCountingWidgetInfo:243 Unknown widget type [3].",
                          "log 1 UpdateCountingWidgetInfo:211 Failed to load task[39] from rec server[7].",
                          "log 1 UpdateCountingWidgetInfo:238 Failed to convert json to fence widget.",
                          "log 1 UpdateCountingWidgetInfo:230 Failed to convert json to region widget."));
  EXPECT_EQ(StoredWidgets().size(), 4U);
}

TEST_F(Counting, WidgetsGoOnAfterAFailure) {
  Widgets(Region(5, 31) + "," + Fence(6, 31) + "," + Fence(7, 31));
  Sql("INSERT INTO counting_widget (iva_setting_id,id_on_rec_server,type,owner_zr_id) VALUES (1,9,4,7)");
  Refuse("UPDATE", "counting_widget");
  Refuse("DELETE", "counting_widget", "OLD.id=2");
  EXPECT_THAT(
      Widgets(Region(5, 31, "renamed")),
      ElementsAre("log 5 UpdateCountingWidgetInfo:267 Delete counting widget [2] from db.",
                  "log 5 UpdateCountingWidgetInfo:267 Delete counting widget [3] from db.", "delete counting_widget 3",
                  "log 5 UpdateCountingWidgetInfo:267 Delete counting widget [4] from db.",
                  "log 1 UpdateCountingWidgetInfo:273 Unknown widget type [4]."));
}

TEST_F(Counting, WidgetsAreNotDeletedWhenTheyCannotBeListed) {
  Break("counting_widget");
  EXPECT_THAT(Widgets(""), ElementsAre("log 1 UpdateCountingWidgetInfo:261 Failed to get counting widgets from db."));
  Break("iva_task");
  EXPECT_THAT(Widgets(""), ElementsAre("log 1 UpdateCountingWidgetInfo:252 Failed to get IvaTasks list of ZR [7]."));
}

TEST_F(Counting, GroupsFollowTheSnapshot) {
  Widgets(Region(5, 31) + "," + Fence(6, 32));
  const std::string first = R"({"id":3,"name":"Both","widget_ids":[5,6]},{"id":4,"widget_ids":[6]})";
  Groups(first);
  EXPECT_THAT(Groups(first), IsEmpty()) << "nothing changed";
  EXPECT_THAT(Groups(R"({"id":3,"name":"Sum","widget_ids":[6,5]},{"id":7,"widget_ids":[5]})"),
              testing::IsSupersetOf({"update counting_task_group 1", "insert counting_task_group 3",
                                     "log 5 UpdateCountingTaskGroupInfo:333 Delete counting task group [2] from db.",
                                     "delete counting_task_group 2"}));
  EXPECT_THAT(StoredGroups(), ElementsAre("1|7|3|Sum", "3|7|7|"));
  EXPECT_THAT(Members(), ElementsAre("1|2", "1|1", "3|1"));
}

TEST_F(Counting, GroupsKnowOnlyTheWidgetsOfTheirSlave) {
  Widgets(Region(9, 31), 8);
  Widgets(Region(5, 31));
  EXPECT_THAT(support::Only(Groups(R"({"id":3,"widget_ids":[9,5]})"), "log"),
              ElementsAre("log 1 UpdateCountingTaskGroupInfo:299 Failed to find widget id [9] on ZR id [7]."));
  EXPECT_THAT(Members(), ElementsAre("1|2"));
  Groups("", 8);
  EXPECT_THAT(StoredGroups(), ElementsAre("1|7|3|"));
}

TEST_F(Counting, AGroupThatCannotBeSavedLosesItsCopy) {
  Groups(R"({"id":1},{"id":2},{"id":3})");
  for (const char* operation : {"UPDATE", "INSERT"}) Refuse(operation, "counting_task_group", "NEW.name='no'");
  EXPECT_THAT(
      support::Only(Groups(R"({"id":1,"name":"no"},{"id":9,"name":"no"},{"id":2,"widget_ids":{}},{"id":3})"), "log"),
      ElementsAre("log 1 UpdateCountingTaskGroupInfo:318 Failed to save id [1] on zr id [7] counting task group to db.",
                  "log 1 UpdateCountingTaskGroupInfo:318 Failed to save id [0] on zr id [7] counting task group to db.",
                  "log 1 UpdateCountingTaskGroupInfo:291 Failed to convert json to counting task group.",
                  "log 5 UpdateCountingTaskGroupInfo:333 Delete counting task group [1] from db.",
                  "log 5 UpdateCountingTaskGroupInfo:333 Delete counting task group [2] from db."));
  EXPECT_THAT(StoredGroups(), ElementsAre("3|7|3|"));
}

TEST_F(Counting, GroupsAreNotTouchedWhenTheWidgetsCannotBeListed) {
  Widgets(Fence(6, 31));
  Groups(R"({"id":1,"widget_ids":[6]})");
  Break("counting_widget");
  EXPECT_THROW(Groups(R"({"id":1,"widget_ids":[6]})"), std::runtime_error);
  EXPECT_THAT(Members(), ElementsAre("1|1"));
  EXPECT_NO_THROW(UpdateCountingTaskGroupInfo(Parse("{}"), 7)) << "does not ask for them";
}

TEST_F(Counting, GroupsAreNotDeletedWhenTheyCannotBeListed) {
  Break("counting_task_group");
  EXPECT_THAT(Groups(""),
              ElementsAre("log 1 UpdateCountingTaskGroupInfo:327 Failed to load all task groups on ZR id [7]."));
}

}  // namespace
