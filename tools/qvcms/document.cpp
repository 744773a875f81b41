#include "document.h"

#include <qvjson.h>

#include "json/document.h"

namespace qvcms {
namespace {

std::string DisplayName(const std::string& path) { return path == "-" ? "standard input" : path; }

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

/// The first part of an entry that cannot be used, ".id" or ".door[1]"; empty when none stands out.
std::string FaultIn(const Json::Value& entry) {
  for (const Expected& expected : kExpected) {
    if (!entry[expected.member].isConvertibleTo(expected.type)) return std::string(".") + expected.member;
  }
  const Json::Value& doors = entry["door"];
  for (auto door = doors.begin(); door != doors.end(); ++door) {
    if (!door->isObject() && !door->isNull()) return ".door[" + JsonWrite(door.key(), true) + ']';
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

Failure WrongType(const std::string& path, const Json::Value& document, const std::string& reason) {
  return WrongTypeAt(path, FindFault(document), reason, "nothing was applied");
}

Failure WrongTypeAt(const std::string& path, const std::string& place, const std::string& reason,
                    const std::string& outcome) {
  const std::string where = DisplayName(path) + (place.empty() ? "" : ": " + place);
  return Failure(kBadDocument, where + ": wrong type: " + reason + "; " + outcome);
}

}  // namespace qvcms
