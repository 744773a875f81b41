#include "unusedentries.h"

#include <qvobjectcounting.h>

#include <functional>
#include <set>

#include "analytics/tables.h"
#include "capability/capability.h"
#include "devices/tables.h"

namespace qv::host {
namespace {

using qv::record::AnyTable;

/// Collects what is wrong with the entries of a slave's document, section by section.
class UnusedEntries {
 public:
  UnusedEntries(const Json::Value& document, int zr) : document_(document), zr_(zr) {}

  std::vector<Fault> Find() {
    InSection("camCapList", [&](const Json::Value& entry) { InCapability(entry); });
    InSection("POS_info", [&](const Json::Value& entry) { InDevice(entry, qv::devices::PosTable(), POS()); });
    InSection("speaker_info",
              [&](const Json::Value& entry) { InDevice(entry, qv::devices::SpeakerTable(), IPSpeaker()); });
    for (const char* const tasks : {"iva_info", "face_info"}) {
      InSection(tasks, [&, cameras = Ids(tasks, qv::devices::CameraTable())](const Json::Value& entry) {
        const int camera = entry["camera_id"].asInt();
        if (!cameras.contains(camera)) Add(".camera_id", Unknown("camera", camera));
      });
    }
    InSection("counting_widget_info",
              [&, tasks = Ids("counting_widget_info", qv::analytics::IvaTaskTable())](const Json::Value& entry) {
                const int task = entry["iva_setting_id"].asInt();
                if (!tasks.contains(task)) return Add(".iva_setting_id", Unknown("IVA task", task));
                InWidget(entry);
              });
    InSection("counting_task_group_info",
              [&, widgets = Ids("counting_task_group_info", qv::analytics::CountingWidgetTable())](
                  const Json::Value& entry) { InGroup(entry, widgets); });
    return std::move(found_);
  }

 private:
  void InSection(const char* section, const std::function<void(const Json::Value&)>& look) {
    const Json::Value& entries = document_[section];
    for (Json::ArrayIndex i = 0; i < entries.size(); ++i) {
      place_ = std::string(section) + '[' + std::to_string(i) + ']';
      look(entries[i]);
    }
  }

  void InCapability(const Json::Value& entry) {
    for (const char* const member : {"camVendor", "camModel", "capFileName"}) {
      if (entry[member].asString().empty()) return Add(std::string(".") + member, "it is missing");
    }
    if (!entry.isMember("camCap")) return Add(".camCap", "it is missing");
    const std::string refusal =
        qv::capability::WhyRefused(entry["capFileName"].asString(), entry["camModel"].asString(), zr_);
    if (!refusal.empty()) Add(".capFileName", refusal);
  }

  template <class Table, class Record>
  void InDevice(const Json::Value& entry, const Table& table, const Record& blank) {
    if (!table.Fits(blank, entry)) Add("", "a member has the wrong type; the log names it");
  }

  void InWidget(const Json::Value& entry) {
    using Converter = QvObjectCounting::CountingWidgetConverter;
    switch (entry["type"].asInt()) {
      case COUNTING_WIDGET_TYPE_REGION:
        if (!Converter::Convert2RegionWidget(entry)) Add("", "it is no region of three points or more");
        break;
      case COUNTING_WIDGET_TYPE_FENCE:
        if (!Converter::Convert2FenceWidget(entry)) Add("", "it is no fence of two points or more");
        break;
      default:
        Add(".type", "there is no such type of widget");
    }
  }

  void InGroup(const Json::Value& entry, const std::set<int>& widgets) {
    const auto group = QvObjectCounting::CountingTaskGroup::CreateCountingTaskGroupFromJson(entry);
    if (!group) return Add("", "a member has the wrong type");
    int index = 0;
    for (const int widget : group.Value().widgetIds) {
      if (!widgets.contains(widget)) Add(".widget_ids[" + std::to_string(index) + ']', Unknown("widget", widget));
      ++index;
    }
  }

  /// The ids on the slave of a table's rows, where a section needs them.
  std::set<int> Ids(const char* section, const AnyTable& table) const {
    std::set<int> ids;
    if (document_[section].empty()) return ids;
    for (const auto& [id_on_slave, host_id] : table.HostIds(zr_)) ids.insert(id_on_slave);
    return ids;
  }

  std::string Unknown(const char* what, int id) const {
    return "server " + std::to_string(zr_) + " has no " + what + ' ' + std::to_string(id);
  }

  void Add(const std::string& member, const std::string& reason) { found_.push_back({place_ + member, reason}); }

  const Json::Value& document_;
  const int zr_;
  std::string place_;  ///< of the entry that is looked at
  std::vector<Fault> found_;
};

}  // namespace

std::vector<Fault> FindUnusedEntries(const Json::Value& document, int zr) { return UnusedEntries(document, zr).Find(); }

}  // namespace qv::host
