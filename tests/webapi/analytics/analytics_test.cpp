#include "analytics/analyticssteps.h"
#include "camera.h"
#include "qvobjectcounting.h"
#include "support/hosttest.h"

namespace {

/// A host with two slaves' cameras. The journal names the places of messages, which are part of their contract here.
struct AnalyticsTest : support::HostTest {
  AnalyticsTest() {
    support::journal_names_places = true;
    Sql("INSERT INTO camera (id,id_on_rec_server,owner_zr_id) VALUES (11,1,7),(12,2,7),(21,1,8)");
  }
  ~AnalyticsTest() override { support::journal_names_places = false; }

  static void Iva(const std::string& entries, int zr = 7, bool update_only = false) {
    CachedCamMap cameras(zr, MAP_KEY_ID_ON_REC_SERVER);
    UpdateIvaInfo(Parse("{\"iva_info\":[" + entries + "]}"), zr, cameras, update_only);
  }
  static void Face(const std::string& entries, int zr = 7, bool update_only = false) {
    CachedCamMap cameras(zr, MAP_KEY_ID_ON_REC_SERVER);
    UpdateFaceInfo(Parse("{\"face_info\":[" + entries + "]}"), zr, cameras, update_only);
  }
};

/// The two kinds run through the same scenarios.
struct TaskKind {
  std::string table, title, listed;
  int shift, late_shift;  ///< of the places of messages, against those of IVA tasks: up to line 150, and from there on
  const char* kept;       ///< what the dumps of the rewritten task show besides
};

void PrintTo(const TaskKind& kind, std::ostream* out) { *out << kind.table; }

struct Tasks : AnalyticsTest, testing::WithParamInterface<TaskKind> {
  Lines Run(const std::string& entries, bool update_only = false, int level = 5, int zr = 7) {
    return Journal([&] { (table_ == "iva_task" ? Iva : Face)(entries, zr, update_only); }, level);
  }
  static std::string Message(int level, int line, const std::string& text) {
    const TaskKind& kind = GetParam();
    const int shift = line < 150 ? kind.shift : kind.late_shift;
    return "log " + std::to_string(level) + " Update" + kind.title + "Info:" + std::to_string(line + shift) + " " +
           text;
  }
  std::string Changed(int id) const {
    return Message(5, 161, title_ + " Task[" + std::to_string(id) + "] info changed.");
  }
  std::string Insert(int id) const { return "insert " + table_ + " " + std::to_string(id); }
  std::string Update(int id) const { return "update " + table_ + " " + std::to_string(id); }
  std::string Delete(int id) const { return "delete " + table_ + " " + std::to_string(id); }

  const std::string table_ = GetParam().table;
  const std::string title_ = GetParam().title;
  const std::string get_new_ = Message(5, 186, "Get a new " + GetParam().listed + " task from ZR[7].");
  const std::string delete_extra_ = Message(5, 176, "Delete Extra " + title_ + " Task in db from ZR[7].");
};
INSTANTIATE_TEST_SUITE_P(, Tasks,
                         testing::Values(TaskKind{"iva_task", "Iva", "IVA", 0, 0, ""},
                                         TaskKind{"face_task", "Face", "Face", 240, 241, R"(,"task_id":0)"}),
                         [](const auto& kind) { return kind.param.title; });

TEST_P(Tasks, FollowTheSnapshot) {
  EXPECT_THAT(Run(R"({"id":1,"camera_id":1,"name":"A"},{"id":2,"camera_id":2,"name":"B"},
                     {"id":3,"camera_id":2,"name":"C"},{"id":5,"camera_id":1})"),
              ElementsAre(get_new_, Insert(1), get_new_, Insert(2), get_new_, Insert(3), get_new_, Insert(4)));
  // Unchanged; changed; its camera is unknown, so that its copy goes; new; no longer reported.
  const std::string task = R"("id":2,"id_on_rec_server":2,"name":"B","owner_zr_id":7)" + std::string(GetParam().kept);
  const std::string added = R"("id":0,"id_on_rec_server":4,"name":"D","owner_zr_id":7)";
  EXPECT_THAT(Run(R"({"id":4,"camera_id":1,"name":"D"},{"id":2,"camera_id":1,"name":"B"},
                     {"id":1,"camera_id":1,"name":"A"},{"id":3,"camera_id":9,"name":"C"})",
                  false, 7),
              ElementsAre(Changed(2), Message(7, 162, R"(Original Task info: [{"camera_id":12,)" + task + "}]"),
                          Message(7, 163, R"(New      Task info: [{"camera_id":11,)" + task + "}]"), Update(2),
                          Message(1, 131, "Cam[9]: Load from Zr[7] failed."), delete_extra_, Delete(3), Delete(4),
                          get_new_, Message(7, 187, R"(New Task info: [{"camera_id":11,)" + added + "}]"), Insert(5)));
  EXPECT_THAT(Rows("SELECT id,owner_zr_id,id_on_rec_server,camera_id,name FROM " + table_ + " ORDER BY id"),
              ElementsAre("1|7|1|11|A", "2|7|2|11|B", "5|7|4|11|D"));

  // Another slave's list says nothing about these, nor does a list that adds and deletes nothing.
  EXPECT_THAT(Run(R"({"id":2,"camera_id":1})", false, 4, 8), ElementsAre(Insert(6)));
  EXPECT_THAT(Run(R"({"id":9,"camera_id":1},{"id":2,"camera_id":1,"name":"BB"},{"id":4,"camera_id":4})", true),
              ElementsAre(Changed(2), Update(2), Message(1, 131, "Cam[4]: Load from Zr[7] failed.")));
  const Json::Value no_lists(Json::objectValue);
  CachedCamMap cameras(7, MAP_KEY_ID_ON_REC_SERVER);
  UpdateIvaInfo(no_lists, 7, cameras, false), UpdateFaceInfo(no_lists, 7, cameras, false);
  EXPECT_THAT(Run(""), ElementsAre(delete_extra_, Delete(1), Delete(2), Delete(5)));
  EXPECT_THAT(Rows("SELECT id FROM " + table_), ElementsAre("6"));
}

TEST_P(Tasks, GoOnAfterAFailure) {
  Run(R"({"id":1,"camera_id":1},{"id":2,"camera_id":1},{"id":3,"camera_id":1})");
  Refuse("DELETE", table_, "OLD.id=1");
  Refuse("INSERT", table_, "NEW.name='no'");
  Refuse("UPDATE", table_, "NEW.name='no'");
  const std::string failed = "failed to execute a command on database [0]";
  EXPECT_THAT(Run(R"({"id":3,"camera_id":1,"name":"no"},{"id":4,"camera_id":1,"name":"no"},{"id":5,"camera_id":1})"),
              ElementsAre(Changed(3), failed, delete_extra_,
                          "failed to delete " + std::string(table_ == "iva_task" ? "IVA" : "face") + " task [1]",
                          Message(1, 179, "Failed to delete " + title_ + " task[1] of slave[7] ."), Delete(2), get_new_,
                          failed, get_new_, Insert(4)));
  Break(table_);
  EXPECT_THAT(Run(R"({"id":1,"camera_id":1})"),
              ElementsAre(failed, Message(1, 121, "Failed to get " + title_ + "Task list of ZR [7].")));
  Break("camera");
  EXPECT_THAT(Run(""), ElementsAre("failed to list the cameras of server [7]",
                                   Message(1, 116, "Failed to get cam map of ZR [7].")));
}

using FaceTask = AnalyticsTest;
TEST_F(FaceTask, TheTaskIdIsTheHosts) {
  const auto report = [&](const std::string& task_id, const std::string& name) {
    return Journal([&] { Face(R"({"id":1,"camera_id":1,"task_id":)" + task_id + ",\"name\":\"" + name + "\"}"); });
  };
  report("5", "A");
  EXPECT_THAT(Rows("SELECT task_id FROM face_task"), ElementsAre("0"));
  Sql("UPDATE face_task SET task_id=33");
  EXPECT_THAT(report("6", "A"), IsEmpty());
  report("6", "B");
  EXPECT_THAT(Rows("SELECT task_id,name FROM face_task"), ElementsAre("33|B"));
}

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
              ElementsAre(WidgetDeleted(1), "delete counting_widget 1", WidgetDeleted(2), "delete counting_widget 2",
                          WidgetDeleted(4), "delete counting_widget 4"));
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
              ElementsAre(kFailed, WidgetDeleted(2), "failed to delete counting widget [2]", WidgetDeleted(3),
                          "delete counting_widget 3", WidgetDeleted(4), "delete counting_widget 4", WidgetDeleted(5),
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
      Groups(R"({"id":3,"name":"Both","widget_ids":[5,6],"hue":7},{"id":4,"widget_ids":[9,6]})"),
      ElementsAre("insert counting_task_group 1", "insert counting_task_group_widget 1",
                  "insert counting_task_group_widget 2", Message(1, 299, "Failed to find widget id [9] on ZR id [7]."),
                  "insert counting_task_group 2", "insert counting_task_group_widget 3"));
  EXPECT_THAT(stored_members(), ElementsAre("1|1", "1|2", "2|2"));
  EXPECT_THAT(Groups(R"({"id":3,"name":"Both","widget_ids":[5,6],"hue":7},{"id":4,"widget_ids":[6]})"), IsEmpty());
  EXPECT_THAT(Journal([] { UpdateCountingTaskGroupInfo(Parse("{}"), 7); }), IsEmpty());
  EXPECT_THAT(Groups(R"({"id":3,"widget_ids":[9]})", 8),
              ElementsAre("insert counting_task_group 3", "insert counting_task_group_widget 4"));

  EXPECT_THAT(Groups(R"({"id":3,"name":"Sum","widget_ids":[6,5]},{"id":7,"widget_ids":[1]})"),
              ElementsAre("update counting_task_group 1", "delete counting_task_group_widget 1",
                          "delete counting_task_group_widget 2", "insert counting_task_group_widget 5",
                          "insert counting_task_group_widget 6",
                          Message(1, 299, "Failed to find widget id [1] on ZR id [7]."), "insert counting_task_group 4",
                          GroupDeleted(2), "delete counting_task_group 2", "delete counting_task_group_widget 3"));
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
  EXPECT_EQ(Groups("").back(), Message(1, 327, "Failed to load all task groups on ZR id [7]."));
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
