/// status: a slave's report handed to the library.

#include <json/value.h>
#include <qvjson.h>
#include <slavezr.h>
#include <slavezrstatus.h>

#include <algorithm>
#include <span>

#include "commands.h"
#include "db/database.h"
#include "document.h"
#include "exitcodes.h"
#include "host.h"
#include "output.h"
#include "qvwebapicmssyncutils.h"

namespace qvcms {
namespace {

using qv::record::ListedRow;

/// What is known of the slave so far. The report of a slave that was never paired is not for this host.
SlaveZRStatus LoadStatus(int zr) {
  SlaveZRStatus status;
  status.ZrId = zr;
  if (SlaveZRStatusLoad(status) != 0) {
    throw Failure(kFailed, "server " + std::to_string(zr) +
                               " is not known here, so nothing was applied: pair it first (qvcms pair " +
                               std::to_string(zr) + " DOC)");
  }
  return status;
}

/// The record's members by their names; the cookie is a secret.
ListedRow MembersOf(const SlaveZRStatus& status) {
  ListedRow row;
  const auto add = [&row](const char* name, const Json::Value& value) { row.emplace_back(name, value); };
#define ADD(TYPE, NAME, INITIAL) add(#NAME, status.NAME);
  SLAVE_ZR_STATUS_MEMBERS(ADD, add("ZrId", status.ZrId);)
#undef ADD
  for (auto& [name, value] : row) {
    if (name == "strCookie" && !value.asString().empty()) value = "***";
  }
  return row;
}

constexpr const char* kIntMembers[] = {"status",         "pkg_status",      "vol_status",        "cam_count",
                                       "iomodule_count", "trans_dev_count", "speaker_dev_count", "acs_door_count",
                                       "oru_pkg_status", "recover_progress"};
constexpr const char* kTextMembers[] = {"cookie",     "serial_num", "tarn_version", "qv_version",
                                        "dp_version", "cms_locked", "cms_masked"};
constexpr const char* kBoolMembers[] = {"is_beta", "recEncryptEnabled", "has_aac", "has_hevc"};

/// Which member about the slave itself, or which device's status, cannot be read. Empty when none stands out.
std::string FindFault(const Json::Value& report) {
  const auto unreadable = [&report](std::span<const char* const> members, Json::ValueType type) {
    const auto found = std::find_if(members.begin(), members.end(),
                                    [&](const char* member) { return !report[member].isConvertibleTo(type); });
    return found == members.end() ? "" : *found;
  };
  std::string fault = unreadable(kIntMembers, Json::intValue);
  if (fault.empty()) fault = unreadable(kTextMembers, Json::stringValue);
  if (fault.empty()) fault = unreadable(kBoolMembers, Json::booleanValue);
  if (fault.empty() && !report["volSpace"].isConvertibleTo(Json::realValue)) fault = "volSpace";
  for (const char* section : {"camera_info", "iomodule_info", "POS_info", "speaker_info"}) {
    for (auto entry = report[section].begin(); fault.empty() && entry != report[section].end(); ++entry) {
      if (!entry->isObject() || !(*entry)["id"].isConvertibleTo(Json::intValue)) break;  // found without help
      if (!(*entry)["status"].isConvertibleTo(Json::intValue)) {
        fault = section + ('[' + JsonWrite(entry.key(), true) + "].status");
      }
    }
  }
  return fault;
}

std::string Text(Format format, const ListedRow& members) {
  if (format == Format::Json) {
    Json::Value object(Json::objectValue);
    for (const auto& [name, value] : members) object[name] = value;
    return JsonWrite(object, false) + '\n';
  }
  std::vector<ListedRow> rows;
  for (const auto& [name, value] : members) rows.push_back({{"field", Json::Value(name)}, {"value", value}});
  return FormatTable({"field", "value"}, rows, true);
}

}  // namespace

int Run(const GlobalOptions& global, const StatusOptions& options) {
  const Json::Value document = ReadDocument(options.document, global);
  CheckStatus(options.document, document);
  const Host host(global, Host::Unused::LeaveAsItIs);
  qv::db::UnitOfWork work;
  SlaveZRStatus status = LoadStatus(options.zr);
  try {
    SaveSlaveStatus(document, status);
  } catch (const Json::Exception& error) {
    const std::string fault = FindFault(document);
    if (fault.empty()) throw WrongType(options.document, document, error.what());
    throw WrongTypeAt(options.document, fault, error.what());
  }
  if (SlaveZRStatusSave(status) != 0) {
    throw Failure(kFailed, "the record of server " + std::to_string(options.zr) + " cannot be written");
  }
  return CommitAndReport(work, Text(global.format, MembersOf(status)));
}

}  // namespace qvcms
