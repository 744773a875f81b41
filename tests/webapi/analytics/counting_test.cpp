#include "analytics/countingtaskgroups.h"
#include "analytics/countingwidgets.h"
#include "analyticstest.h"
#include "qvobjectcounting.h"

namespace {

const std::string kRegion = R"("type":1,"region":[{"x":0.1,"y":0.1},{"x":0.9,"y":0.1},{"x":0.5,"y":0.75}])";
const std::string kFence = R"("type":2,"fence":[{"x":0,"y":0.5,"label":"A"},{"x":1,"y":0.5}])";
const std::string kFailed = "failed to execute a command on database [0]";

std::string Widget(int id, int task, const std::string& kind, const std::string& name = "") {
  return "{\"id\":" + std::to_string(id) + ",\"iva_setting_id\":" + std::to_string(task) + ",\"name\":\"" + name +
         "\"," + kind + "}";
}

struct Counting : AnalyticsTest {
  /// Host tasks 1 and 2 of slave 7 (tasks 31 and 32 there), host task 3 of slave 8 (task 31 there).
  Counting() {
    Iva(R"({"id":31,"camera_id":1},{"id":32,"camera_id":2})");
    Iva(R"({"id":31,"camera_id":1})", 8);
  }
  Lines Widgets(const std::string& entries, int zr = 7) {
    return Journal([&] { UpdateCountingWidgetInfo(Parse("{\"counting_widget_info\":[" + entries + "]}"), zr); });
  }
  Lines Groups(const std::string& entries, int zr = 7) {
    return Journal([&] { UpdateCountingTaskGroupInfo(Parse("{\"counting_task_group_info\":[" + entries + "]}"), zr); });
  }
  static Lines StoredWidgets() {
    return Rows("SELECT id,owner_zr_id,id_on_rec_server,iva_setting_id,type,name FROM counting_widget ORDER BY id");
  }
  static std::string Message(int level, int line, const std::string& text) {
    const char* step = line < 280 ? " UpdateCountingWidgetInfo:" : " UpdateCountingTaskGroupInfo:";
    return "log " + std::to_string(level) + step + std::to_string(line) + " " + text;
  }
  static std::string WidgetDeleted(int id) {
    return Message(5, 267, "Delete counting widget [" + std::to_string(id) + "] from db.");
  }
  static std::string GroupDeleted(int id) {
    return Message(5, 333, "Delete counting task group [" + std::to_string(id) + "] from db.");
  }
};

TEST_F(Counting, WidgetsFollowTheSnapshot) {
  const std::string first = Widget(5, 31, kRegion, "Door") + "," + Widget(6, 31, kFence, "Gate");
  EXPECT_THAT(Widgets(first), ElementsAre("insert counting_widget 1", "insert counting_widget 2"));
  EXPECT_THAT(Widgets(first), IsEmpty());
  EXPECT_THAT(Widgets(Widget(5, 31, kRegion, "Other"), 8), ElementsAre("insert counting_widget 3"));
  // Changed; moved to another task; new.
  EXPECT_THAT(
      Widgets(Widget(6, 31, kFence, "South") + "," + Widget(5, 32, kRegion, "Door") + "," + Widget(8, 32, kFence)),
      ElementsAre("update counting_widget 2", "insert counting_widget 4", "insert counting_widget 5"));
  EXPECT_THAT(StoredWidgets(),
              ElementsAre("1|7|5|1|1|Door", "2|7|6|1|2|South", "3|8|5|3|1|Other", "4|7|5|2|1|Door", "5|7|8|2|2|"));
  EXPECT_THAT(Rows("SELECT extra FROM counting_widget WHERE id=5"),
              ElementsAre(R"({"fence":[{"label":"A","x":0,"y":0.5},{"x":1,"y":0.5}]})"))
      << "of a point nothing is lost";
  const auto ids = QvObjectCounting::GetWidgetCmsInfo2IdMap();
  EXPECT_EQ(ids, (std::map<std::pair<int, int>, int>{{{7, 5}, 4}, {{7, 6}, 2}, {{7, 8}, 5}, {{8, 5}, 3}}));

  EXPECT_THAT(Journal([] { UpdateCountingWidgetInfo(Parse("{}"), 7); }), IsEmpty());
  EXPECT_THAT(Widgets(Widget(8, 32, kFence)),
              ElementsAre(WidgetDeleted(1), "delete counting_widget WHERE id=1 AND type=1", WidgetDeleted(2),
                          "delete counting_widget WHERE id=2 AND type=2", WidgetDeleted(4),
                          "delete counting_widget WHERE id=4 AND type=1"));
  Widgets("");
  EXPECT_THAT(StoredWidgets(), ElementsAre("3|8|5|3|1|Other"));
}

TEST_F(Counting, AWidgetThatCannotBeSavedKeepsItsRow) {
  const std::string fences = Widget(6, 31, kFence) + "," + Widget(7, 31, kFence) + "," + Widget(8, 31, kFence);
  Widgets(Widget(5, 31, kRegion) + "," + fences);
  EXPECT_THAT(Widgets(Widget(5, 31, "\"type\":3") + "," + Widget(6, 39, kFence) + "," + Widget(7, 31, "\"type\":2") +
                      "," + Widget(8, 31, R"("type":1,"region":[{"x":0,"y":"a"}])")),
              ElementsAre(Message(1, 243, "Unknown widget type [3]."),
                          Message(1, 211, "Failed to load task[39] from rec server[7]."),
                          Message(1, 238, "Failed to convert json to fence widget."),
                          Message(1, 230, "Failed to convert json to region widget.")));
  EXPECT_EQ(StoredWidgets().size(), 4U);
  Refuse("UPDATE", "counting_widget");
  Refuse("DELETE", "counting_widget", "OLD.id=2");
  Sql("INSERT INTO counting_widget (iva_setting_id,id_on_rec_server,type,owner_zr_id) VALUES (1,9,4,7)");
  EXPECT_THAT(Widgets(Widget(5, 31, kRegion, "renamed")),
              ElementsAre(kFailed, WidgetDeleted(2), "failed to delete counting_widget [2]", WidgetDeleted(3),
                          "delete counting_widget WHERE id=3 AND type=2", WidgetDeleted(4),
                          "delete counting_widget WHERE id=4 AND type=2", WidgetDeleted(5),
                          Message(1, 273, "Unknown widget type [4].")));
  EXPECT_THAT(Rows("SELECT id FROM counting_widget"), ElementsAre("1", "2", "5"));
  Break("counting_widget");
  EXPECT_THAT(Widgets(""), ElementsAre(kFailed, Message(1, 261, "Failed to get counting widgets from db.")));
  Break("iva_task");
  EXPECT_THAT(Widgets(""), ElementsAre(kFailed, Message(1, 252, "Failed to get IvaTasks list of ZR [7].")));
}

TEST_F(Counting, GroupsFollowTheSnapshot) {
  Widgets(Widget(5, 31, kRegion) + "," + Widget(6, 32, kFence));
  Widgets(Widget(9, 31, kRegion), 8);
  const auto stored_members = [] {
    return Rows("SELECT group_id,widget_id FROM counting_task_group_widget ORDER BY group_id,position");
  };
  // Widget 9 is another slave's.
  EXPECT_THAT(
      Groups(R"({"id":3,"name":"Both","widget_ids":[5,6],"colour":"red"},{"id":4,"widget_ids":[9,6]})"),
      ElementsAre("insert counting_task_group 1", "insert counting_task_group_widget 1",
                  "insert counting_task_group_widget 2", Message(1, 299, "Failed to find widget id [9] on ZR id [7]."),
                  "insert counting_task_group 2", "insert counting_task_group_widget 3"));
  EXPECT_THAT(stored_members(), ElementsAre("1|1", "1|2", "2|2"));
  EXPECT_THAT(Groups(R"({"id":3,"name":"Both","widget_ids":[5,6],"colour":"red"},{"id":4,"widget_ids":[6]})"),
              IsEmpty());
  EXPECT_THAT(Journal([] { UpdateCountingTaskGroupInfo(Parse("{}"), 7); }), IsEmpty());
  EXPECT_THAT(Groups(R"({"id":3,"widget_ids":[9]})", 8),
              ElementsAre("insert counting_task_group 3", "insert counting_task_group_widget 4"));

  EXPECT_THAT(Groups(R"({"id":3,"name":"Sum","widget_ids":[6,5]},{"id":7,"widget_ids":[1]})"),
              ElementsAre("update counting_task_group 1", "delete counting_task_group_widget WHERE group_id=1",
                          "insert counting_task_group_widget 5", "insert counting_task_group_widget 6",
                          Message(1, 299, "Failed to find widget id [1] on ZR id [7]."), "insert counting_task_group 4",
                          GroupDeleted(2), "delete counting_task_group WHERE id=2"));
  EXPECT_THAT(stored_members(), ElementsAre("1|2", "1|1", "3|3"));
  EXPECT_THAT(Rows("SELECT id,owner_zr_id,id_on_rec_server,name,extra FROM counting_task_group ORDER BY id"),
              ElementsAre("1|7|3|Sum|", "3|8|3||", "4|7|7||"));
  Groups("");
  EXPECT_THAT(Rows("SELECT id FROM counting_task_group"), ElementsAre("3"));
  Break("counting_widget");
  EXPECT_THROW(Groups(R"({"id":3,"widget_ids":[9]})", 8), std::runtime_error);
  EXPECT_THAT(stored_members(), ElementsAre("3|3")) << "widgets that cannot be listed are not unknown";
}

TEST_F(Counting, AGroupThatCannotBeSavedLosesItsCopy) {
  Widgets(Widget(5, 31, kRegion));
  Groups(R"({"id":1},{"id":2,"name":"A"},{"id":3},{"id":4})");
  Refuse("UPDATE", "counting_task_group", "NEW.name='no'");
  Refuse("INSERT", "counting_task_group_widget");
  const auto unsaved = [](const std::string& id) {
    return Message(1, 318, "Failed to save id [" + id + "] on zr id [7] counting task group to db.");
  };
  const std::string unfit = Message(1, 291, "Failed to convert json to counting task group.");
  EXPECT_THAT(
      support::Only(Groups(R"({"id":1,"widget_ids":[5]},{"id":2,"name":"no"},{"id":3,"widget_ids":{}},{"id":4},
                        {"id":9,"widget_ids":[5,6]},{},[],{"id":4,"widget_ids":["a"]},{"id":4,"name":[]})"),
                    "log"),
      ElementsAre(unsaved("1"), unsaved("2"), unfit, Message(1, 299, "Failed to find widget id [6] on ZR id [7]."),
                  unsaved("0"), unfit, unfit, unfit, unfit, GroupDeleted(1), GroupDeleted(2), GroupDeleted(3)));
  EXPECT_THAT(Rows("SELECT id_on_rec_server FROM counting_task_group"), ElementsAre("4"));
  Break("counting_task_group");
  EXPECT_THAT(support::Only(Groups(""), "log"),
              ElementsAre(Message(1, 327, "Failed to load all task groups on ZR id [7].")));
}

TEST_F(Counting, RowsGoWithWhatTheyBelongTo) {
  Widgets(Widget(5, 31, kRegion) + "," + Widget(6, 31, kFence));
  Groups(R"({"id":1,"widget_ids":[5,6]})");
  Widgets(Widget(5, 31, kRegion));
  EXPECT_THAT(Rows("SELECT widget_id FROM counting_task_group_widget"), ElementsAre("1"));
  Iva("");
  EXPECT_THAT(Rows("SELECT id FROM counting_widget UNION ALL SELECT id FROM counting_task_group_widget"), IsEmpty());
}

}  // namespace
