/// Counting widgets and counting task groups. The line of each message is part of its contract.

#include "analytics/analyticssteps.h"
#include "support/hosttest.h"

namespace {

/// Host tasks 1 and 2 of slave 7 (tasks 31 and 32 there), host task 3 of slave 8 (task 31 there).
struct Counting : support::HostTest {
  Counting() { Sql("INSERT INTO iva_task (owner_zr_id,id_on_rec_server) VALUES (7,31),(7,32),(8,31)"); }

  /// Every widget without a shape gets a region and a fence.
  static Lines Widgets(const std::string& section, int zr = 7) {
    Json::Value document;
    document["counting_widget_info"] = Parse(section);
    for (Json::Value& widget : document["counting_widget_info"]) {
      if (widget.isMember("fence") || widget.isMember("region")) continue;
      widget["region"] = Parse(R"([{"x":0.1,"y":0.1},{"x":0.9,"y":0.1},{"x":0.5,"y":0.75}])");
      widget["fence"] = Parse(R"([{"x":0,"y":0.5},{"x":1,"y":0.5}])");
    }
    return support::Without(Journal([&] { UpdateCountingWidgetInfo(document, zr); }), "failed");
  }
  static Lines Groups(const std::string& section, int zr = 7) {
    Json::Value document;
    document["counting_task_group_info"] = Parse(section);
    return support::Without(Journal([&] { UpdateCountingTaskGroupInfo(document, zr); }), "failed");
  }
  static Lines Stored(const std::string& table) {
    return Rows("SELECT id,owner_zr_id,id_on_rec_server,name FROM " + table);
  }
  static Lines Members() {
    return Rows("SELECT group_id,widget_id FROM counting_task_group_widget ORDER BY group_id,position");
  }
};

TEST_F(Counting, WidgetsFollowTheSnapshot) {
  Widgets(R"([{"id":9,"iva_setting_id":31,"type":2}])", 8);
  const std::string first = R"([{"id":5,"iva_setting_id":31,"type":1},{"id":6,"iva_setting_id":31,"type":2},
                                {"id":7,"iva_setting_id":31,"type":2}])";
  Widgets(first);
  EXPECT_THAT(Widgets(first), IsEmpty()) << "nothing changed";
  EXPECT_THAT(
      Widgets(R"([{"id":8,"iva_setting_id":32,"type":2},{"id":6,"iva_setting_id":31,"type":2,"name":"South"}])"),
      ElementsAre("insert counting_widget 5", "update counting_widget 3",
                  "log 5 UpdateCountingWidgetInfo:267 Delete counting widget [2] from db.", "delete counting_widget 2",
                  "log 5 UpdateCountingWidgetInfo:267 Delete counting widget [4] from db.",
                  "delete counting_widget 4"));
  EXPECT_THAT(Stored("counting_widget"), ElementsAre("1|8|9|", "3|7|6|South", "5|7|8|"));
}

TEST_F(Counting, AWidgetThatCannotBeTakenKeepsItsRow) {
  Sql("INSERT INTO counting_widget (iva_setting_id,id_on_rec_server,type,owner_zr_id) VALUES (1,5,1,7),(1,6,2,7),"
      "(1,7,2,7),(1,8,1,7)");
  EXPECT_THAT(Widgets(R"([{"id":5,"iva_setting_id":31,"type":3},{"id":6,"iva_setting_id":39,"type":2},
                          {"id":7,"iva_setting_id":31,"type":2,"fence":5},
                          {"id":8,"iva_setting_id":31,"type":1,"region":5}])"),
              ElementsAre("log 1 UpdateCountingWidgetInfo:243 Unknown widget type [3].",
                          "log 1 UpdateCountingWidgetInfo:211 Failed to load task[39] from rec server[7].",
                          "log 1 UpdateCountingWidgetInfo:238 Failed to convert json to fence widget.",
                          "log 1 UpdateCountingWidgetInfo:230 Failed to convert json to region widget."));
}

TEST_F(Counting, WidgetsGoOnAfterAFailure) {
  Sql("INSERT INTO counting_widget (iva_setting_id,id_on_rec_server,type,owner_zr_id) VALUES (1,5,1,7),(1,6,2,7),"
      "(1,7,4,7),(1,8,2,7)");
  Refuse("UPDATE", "counting_widget");
  Refuse("DELETE", "counting_widget", "OLD.id=2");
  EXPECT_THAT(Widgets(R"([{"id":5,"iva_setting_id":31,"type":1}])"),
              ElementsAre("log 5 UpdateCountingWidgetInfo:267 Delete counting widget [2] from db.",
                          "log 5 UpdateCountingWidgetInfo:267 Delete counting widget [3] from db.",
                          "log 1 UpdateCountingWidgetInfo:273 Unknown widget type [4].",
                          "log 5 UpdateCountingWidgetInfo:267 Delete counting widget [4] from db.",
                          "delete counting_widget 4"));
}

TEST_F(Counting, WidgetsAreNotDeletedWhenTheyCannotBeListed) {
  Break("counting_widget");
  EXPECT_THAT(Widgets("[]"), ElementsAre("log 1 UpdateCountingWidgetInfo:261 Failed to get counting widgets from db."));
  Break("iva_task");
  EXPECT_THAT(Widgets("[]"), ElementsAre("log 1 UpdateCountingWidgetInfo:252 Failed to get IvaTasks list of ZR [7]."));
}

TEST_F(Counting, WidgetsAndGroupsStayWithoutAListAndGoWhenTheListIsNull) {
  Widgets(R"([{"id":6,"iva_setting_id":31,"type":2}])");
  Groups(R"([{"id":1,"widget_ids":[6]}])");
  UpdateCountingWidgetInfo(Parse("{}"), 7);
  UpdateCountingTaskGroupInfo(Parse("{}"), 7);
  EXPECT_THAT(Members(), ElementsAre("1|1"));
  Groups("null");
  Widgets("null");
  EXPECT_THAT(Stored("counting_task_group"), IsEmpty());
  EXPECT_THAT(Stored("counting_widget"), IsEmpty());
}

TEST_F(Counting, GroupsFollowTheSnapshot) {
  Widgets(R"([{"id":9,"iva_setting_id":31,"type":2}])", 8);
  Widgets(R"([{"id":5,"iva_setting_id":31,"type":1},{"id":6,"iva_setting_id":32,"type":2}])");
  Groups(R"([{"id":1}])", 8);
  const std::string first = R"([{"id":3,"name":"Both","widget_ids":[5,6]},{"id":4,"widget_ids":[6]}])";
  Groups(first);
  EXPECT_THAT(Groups(first), IsEmpty()) << "nothing changed";
  EXPECT_THAT(Groups(R"([{"id":3,"name":"Sum","widget_ids":[6,9,5]},{"id":7,"widget_ids":[5]}])"),
              testing::IsSupersetOf({"log 1 UpdateCountingTaskGroupInfo:299 Failed to find widget id [9] on ZR id [7].",
                                     "update counting_task_group 2", "insert counting_task_group 4",
                                     "log 5 UpdateCountingTaskGroupInfo:333 Delete counting task group [3] from db.",
                                     "delete counting_task_group 3"}));
  EXPECT_THAT(Stored("counting_task_group"), ElementsAre("1|8|1|", "2|7|3|Sum", "4|7|7|"));
  EXPECT_THAT(Members(), ElementsAre("2|3", "2|2", "4|2"));
}

TEST_F(Counting, AGroupThatCannotBeSavedLosesItsCopy) {
  Groups(R"([{"id":1},{"id":2},{"id":3}])");
  for (const char* operation : {"UPDATE", "INSERT"}) Refuse(operation, "counting_task_group", "NEW.name='no'");
  EXPECT_THAT(
      support::Only(Groups(R"([{"id":1,"name":"no"},{"id":9,"name":"no"},{"id":2,"widget_ids":{}},{"id":3}])"), "log"),
      ElementsAre("log 1 UpdateCountingTaskGroupInfo:318 Failed to save id [1] on zr id [7] counting task group to db.",
                  "log 1 UpdateCountingTaskGroupInfo:318 Failed to save id [0] on zr id [7] counting task group to db.",
                  "log 1 UpdateCountingTaskGroupInfo:291 Failed to convert json to counting task group.",
                  "log 5 UpdateCountingTaskGroupInfo:333 Delete counting task group [1] from db.",
                  "log 5 UpdateCountingTaskGroupInfo:333 Delete counting task group [2] from db."));
}

TEST_F(Counting, GroupsAreNotTouchedWhenTheyOrTheWidgetsCannotBeListed) {
  Break("counting_task_group");
  EXPECT_THAT(Groups("[]"),
              ElementsAre("log 1 UpdateCountingTaskGroupInfo:327 Failed to load all task groups on ZR id [7]."));
  Break("counting_widget");
  EXPECT_THROW(Groups("[]"), std::runtime_error);
  EXPECT_NO_THROW(UpdateCountingTaskGroupInfo(Parse("{}"), 7)) << "does not ask for them";
}

}  // namespace
