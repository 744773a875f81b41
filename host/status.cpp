/// Status: a server's report handed to the library.

#include <slavezr.h>
#include <slavezrstatus.h>

#include "changes.h"
#include "guard.h"
#include "progress.h"
#include "qvwebapicmssyncutils.h"
#include "unusedentries.h"

namespace qv {
namespace {

/// The record's members by their names; the cookie is a secret.
std::vector<std::pair<std::string, Json::Value>> MembersOf(const SlaveZRStatus& status) {
  std::vector<std::pair<std::string, Json::Value>> members;
  const auto add = [&](const char* name, const Json::Value& value) { members.emplace_back(name, value); };
#define ADD(TYPE, NAME, INITIAL, KEY, REPORTED) add(#NAME, status.NAME);
  SLAVE_ZR_STATUS_MEMBERS(ADD, add("ZrId", status.ZrId);)
#undef ADD
  for (auto& [name, value] : members) {
    if (name == "strCookie" && !value.asString().empty()) value = "***";
  }
  return members;
}

/// For the report of a server that was never paired, which is not for this host.
Refusal UnknownServer(int zr) {
  return {RefusalCode::UnknownServer, "server " + std::to_string(zr) + " is not known here, so nothing was applied"};
}

/// What is known of the server so far.
SlaveZRStatus LoadStatus(int zr) {
  SlaveZRStatus status;
  status.ZrId = zr;
  if (SlaveZRStatusLoad(status) != 0) throw UnknownServer(zr);
  return status;
}

}  // namespace

// NOLINTNEXTLINE(readability-make-member-function-const): it changes the host
StatusResult Host::Status(int zr, const Document& report, const ProgressCallback& progress) {
  return host::GuardedAgain([&] {
    const host::Stopwatch stopwatch;
    host::CheckServerId(zr);
    report.RequireStatusReport();
    if (!has_data_) throw UnknownServer(zr);
    db::UnitOfWork work(zr);
    SlaveZRStatus status = LoadStatus(zr);
    const host::ProgressReport progress_report(report, progress);
    SaveSlaveStatus(report.value(), status);
    if (SlaveZRStatusSave(status) != 0) {
      throw Refusal(RefusalCode::Failed, "the record of server " + std::to_string(zr) + " cannot be written");
    }
    StatusResult result;
    result.record = MembersOf(status);
    result.unused = host::FindUnusedEntries(report.value(), zr);
    host::Commit(work, result);
    result.changes = host::ChangesIn(work);  // known by now, without waiting for them
    result.took = stopwatch.Elapsed();
    return result;
  });
}

}  // namespace qv
