#include "document.h"

#include <qvjson.h>

#include <algorithm>
#include <span>

#include "json/document.h"

namespace qvcms {
namespace {

std::string DisplayName(const std::string& path) { return path == "-" ? "standard input" : path; }

constexpr const char* kSections[] = {
    "camera_info", "camCapList", "iomodule_info", "POS_info", "speaker_info", "ctrler_info", "iva_info", "face_info",
    // no status report has these
    "camDetSetting", "camDeviceOutput", "recShare", "iomoduleSetting", "iomoduleCamPairing", "POS_eventconf",
    "counting_widget_info", "counting_task_group_info"};
constexpr std::span<const char* const> kSnapshotOnly = std::span(kSections).subspan(8);
constexpr const char* kStatusOnly[] = {"pkg_status", "vol_status", "cam_count"};

bool HasAny(const Json::Value& document, std::span<const char* const> members) {
  return std::any_of(members.begin(), members.end(), [&](const char* name) { return document.isMember(name); });
}

/// Whether a section lists devices, tasks or capability files: its entries are objects.
bool ListsRecords(const std::string& section) { return section.ends_with("_info") || section == "camCapList"; }

/// Members that steps read without a second thought, and what they must be.
struct Expected {
  const char* member;
  Json::ValueType type;
};
constexpr Expected kExpected[] = {{"id", Json::intValue},
                                  {"camera_id", Json::intValue},
                                  {"iva_setting_id", Json::intValue},
                                  {"rtsp_key", Json::stringValue},
                                  {"camVendor", Json::stringValue},
                                  {"camModel", Json::stringValue},
                                  {"capFileName", Json::stringValue}};

/// The first member of an entry that cannot be used, such as ".id"; empty when none stands out.
std::string FaultIn(const Json::Value& entry) {
  for (const Expected& expected : kExpected) {
    if (!entry[expected.member].isConvertibleTo(expected.type)) return std::string(".") + expected.member;
  }
  return "";
}

/// Where in the document an entry is that no step can use: "POS_info[2].id". Empty when none stands out.
std::string FindFault(const Json::Value& document) {
  for (const std::string& section : document.getMemberNames()) {
    const Json::Value& entries = document[section];
    for (auto entry = entries.begin(); entry != entries.end(); ++entry) {
      std::string place = section + '[' + JsonWrite(entry.key(), true) + ']';
      if (const std::string fault = entry->isObject() ? FaultIn(*entry) : ""; !fault.empty()) return place + fault;
      if (ListsRecords(section) && !entry->isObject() && !entry->isNull()) return place;
    }
  }
  return "";
}

/// Throws `Failure` when `list` is no array, or lists anything but objects where it has to list these.
void CheckList(const std::string& place, const Json::Value& list, bool of_objects) {
  if (!list.isArray()) throw Failure(kBadDocument, place + ": an array is expected");
  for (Json::ArrayIndex i = 0; of_objects && i < list.size(); ++i) {
    if (!list[i].isObject()) {
      throw Failure(kBadDocument, place + '[' + std::to_string(i) + "]: an object is expected");
    }
  }
}

}  // namespace

Json::Value ReadDocument(const std::string& path, const GlobalOptions& options) {
  try {
    Json::Value document =
        qv::json::ReadDocumentFile(path, qv::json::ReadLimits{.depth = options.max_depth, .size = options.max_size});
    if (!document.isObject()) {
      throw Failure(kBadDocument, DisplayName(path) + ": the document must be a JSON object");
    }
    return document;
  } catch (const qv::json::DocumentError& error) {
    std::string place = DisplayName(path);
    if (error.line() > 0) place += ':' + std::to_string(error.line()) + ':' + std::to_string(error.column());
    throw Failure(kBadDocument, place + ": " + error.reason());
  }
}

bool HasSections(const Json::Value& document) { return HasAny(document, kSections); }

void RequireSections(const std::string& path, const Json::Value& document) {
  if (HasSections(document)) return;
  throw Failure(kBadDocument, DisplayName(path) + ": no section that a snapshot has; nothing was applied");
}

void CheckSnapshot(const std::string& path, const Json::Value& document) {
  if (document.isMember("status") && HasAny(document, kStatusOnly) && !HasAny(document, kSnapshotOnly)) {
    throw Failure(kBadDocument, DisplayName(path) + ": this is a status report, not a configuration snapshot");
  }
  for (const std::string section : kSections) {
    if (!document.isMember(section)) continue;
    const std::string place = DisplayName(path) + ": " + section;
    CheckList(place, document[section], ListsRecords(section));
    for (Json::ArrayIndex i = 0; section == "ctrler_info" && i < document[section].size(); ++i) {
      const Json::Value& doors = document[section][i]["door"];
      if (!doors.isNull()) CheckList(place + '[' + std::to_string(i) + "].door", doors, true);
    }
  }
}

void CheckStatus(const std::string& path, const Json::Value& document) {
  if (document.isMember("status")) return;
  if (HasAny(document, kSnapshotOnly)) {
    throw Failure(kBadDocument, DisplayName(path) + ": this is a configuration snapshot, not a status report");
  }
  if (!HasSections(document) && !HasAny(document, kStatusOnly)) {
    throw Failure(kBadDocument, DisplayName(path) + ": nothing that a status report has; nothing was applied");
  }
}

Failure WrongType(const std::string& path, const Json::Value& document, const std::string& reason) {
  return WrongTypeAt(path, FindFault(document), reason, "nothing was applied");
}

Failure WrongTypeAt(const std::string& path, const std::string& place, const std::string& reason,
                    const std::string& outcome) {
  const std::string where = DisplayName(path) + (place.empty() ? "" : ": " + place);
  return Failure(kBadDocument, where + ": wrong type: " + reason + "; " + outcome);
}

}  // namespace qvcms
