#include "unusedentries.h"

#include <qvobjectcounting.h>

#include <functional>
#include <optional>
#include <unordered_map>

#include "analytics/tables.h"
#include "capability/capability.h"
#include "devices/tables.h"
#include "schema/kinds.h"

namespace qv::host {
namespace {

using qv::record::AnyTable;

/// Collects what is wrong with the entries of a slave's document, section by section.
class UnusedEntries {
 public:
  UnusedEntries(const Json::Value& document, int zr) : document_(document), zr_(zr) {}

  std::vector<Fault> Find() {
    using namespace qv::devices;    // NOLINT(google-build-using-namespace): the tables of all parts
    using namespace qv::analytics;  // NOLINT(google-build-using-namespace)
    InSectionOf(qv::capability::CapabilityFileTable(), [&](const Json::Value& entry) { InCapability(entry); });
    InSectionOf(PosTable(), [&](const Json::Value& entry) { InDevice(entry, PosTable(), POS()); });
    InSectionOf(SpeakerTable(), [&](const Json::Value& entry) { InDevice(entry, SpeakerTable(), IPSpeaker()); });
    const Ids cameras(CameraTable(), zr_);
    for (const AnyTable* tasks :
         {static_cast<const AnyTable*>(&IvaTaskTable()), static_cast<const AnyTable*>(&FaceTaskTable())}) {
      InSectionOf(*tasks, [&](const Json::Value& entry) {
        const int camera = entry["camera_id"].asInt();
        if (!cameras.Have(camera)) Add(".camera_id", Unknown("camera", camera));
      });
    }
    const Ids tasks(IvaTaskTable(), zr_);
    InSectionOf(CountingWidgetTable(), [&](const Json::Value& entry) {
      const int task = entry["iva_setting_id"].asInt();
      if (!tasks.Have(task)) return Add(".iva_setting_id", Unknown("IVA task", task));
      InWidget(entry);
    });
    const Ids widgets(CountingWidgetTable(), zr_);
    InSectionOf(TaskGroupTable(), [&](const Json::Value& entry) { InGroup(entry, widgets); });
    return std::move(found_);
  }

 private:
  /// The ids on the slave of a table's rows, read when the first is asked for.
  class Ids {
   public:
    Ids(const AnyTable& table, int zr) : table_(table), zr_(zr) {}
    bool Have(int id) const {
      if (!ids_) ids_ = table_.HostIds(zr_);
      return ids_->contains(id);
    }

   private:
    const AnyTable& table_;
    const int zr_;
    mutable std::optional<std::unordered_map<int, int>> ids_;
  };

  void InSectionOf(const AnyTable& table, const std::function<void(const Json::Value&)>& look) {
    const char* const section = qv::schema::KindOf(table.name()).section.name;
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

  void InGroup(const Json::Value& entry, const Ids& widgets) {
    const auto group = QvObjectCounting::CountingTaskGroup::CreateCountingTaskGroupFromJson(entry);
    if (!group) return Add("", "a member has the wrong type");
    int index = 0;
    for (const int widget : group.Value().widgetIds) {
      if (!widgets.Have(widget)) Add(".widget_ids[" + std::to_string(index) + ']', Unknown("widget", widget));
      ++index;
    }
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
