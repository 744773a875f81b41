/// status: a slave's report handed to the library.

#include <json/value.h>
#include <qvjson.h>
#include <slavezr.h>
#include <slavezrstatus.h>

#include "commands.h"
#include "db/database.h"
#include "document.h"
#include "exitcodes.h"
#include "host.h"
#include "output.h"
#include "qvwebapicmssyncutils.h"
#include "text/escape.h"
#include "unusedentries.h"

namespace qvcms {
namespace {

using qv::record::ListedRow;

/// For the report of a slave that was never paired, which is not for this host.
Failure NotPaired(int zr) {
  const std::string id = std::to_string(zr);
  return {kFailed,
          "server " + id + " is not known here, so nothing was applied: pair it first (qvcms pair " + id + " DOC)"};
}

/// What is known of the slave so far.
SlaveZRStatus LoadStatus(int zr) {
  SlaveZRStatus status;
  status.ZrId = zr;
  if (SlaveZRStatusLoad(status) != 0) throw NotPaired(zr);
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

std::string Text(Format format, const ListedRow& members, const std::vector<Fault>& unused) {
  if (format == Format::Json) {
    Json::Value object(Json::objectValue);
    for (const auto& [name, value] : members) object[name] = value;
    for (const auto& [place, reason] : unused) object["unused_entries"][place] = reason;
    return qv::text::EscapeJson(JsonWrite(object, false)) + '\n';
  }
  std::vector<ListedRow> rows;
  for (const auto& [name, value] : members) rows.push_back({{"field", Json::Value(name)}, {"value", value}});
  return FormatRows(Format::Table, {"field", "value"}, rows, true) + UnusedText(unused);
}

}  // namespace

int Run(const GlobalOptions& global, const StatusOptions& options) {
  const Json::Value document = ReadReport(options.document, options.zr, global);
  if (IsUnused(global.data_dir)) throw NotPaired(options.zr);
  const Host host(global);
  qv::db::UnitOfWork work(options.zr);
  SlaveZRStatus status = LoadStatus(options.zr);
  try {
    SaveSlaveStatus(document, status);
  } catch (const Json::Exception&) {
    // Key files are written while the report is applied, and stay.
    throw WrongTypeSomewhere(options.document, "nothing was applied, except perhaps RTSP keys");
  }
  if (SlaveZRStatusSave(status) != 0) {
    throw Failure(kFailed, "the record of server " + std::to_string(options.zr) + " cannot be written");
  }
  return CommitAndReport(work, Text(global.format, MembersOf(status), FindUnusedEntries(document, options.zr)));
}

}  // namespace qvcms
