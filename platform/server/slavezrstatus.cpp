#include "slavezrstatus.h"

#include <fmt/chrono.h>

#include <ctime>

#include "record/attempt.h"
#include "server/servers.h"

namespace {

using qv::record::Attempt;
using qv::server::ServerTable;

std::optional<SlaveZR> FindServer(int zrId) { return ServerTable().Find(qv::record::Where().Is("id", zrId)); }

/// The present time, in UTC, by ISO 8601.
std::string Now() { return fmt::format("{:%FT%TZ}", fmt::gmtime(std::time(nullptr))); }

void Take(const SlaveZR& row, SlaveZRStatus& record) {
#define TAKE(TYPE, NAME, INITIAL, KEY, REPORTED) record.NAME = row.Get##NAME();
  SLAVE_ZR_STATUS_MEMBERS(TAKE, )
#undef TAKE
}

void Take(const SlaveZRStatus& record, SlaveZR& row) {
#define TAKE(TYPE, NAME, INITIAL, KEY, REPORTED) row.Set##NAME(record.NAME);
  SLAVE_ZR_STATUS_MEMBERS(TAKE, )
#undef TAKE
}

}  // namespace

bool IsZrOnlineSts(SLAVE_ZR_CONN_STATUS status) {
  return status == SLAVE_ZR_CONNECTED || status == SLAVE_ZR_RECOVERING;
}

int SlaveZRStatusLoad(SlaveZRStatus& record) {
  bool known = false;
  const int result = Attempt("Failed to load the status of server [{}]", record.ZrId, [&] {
    const std::optional<SlaveZR> row = FindServer(record.ZrId);
    known = row.has_value();
    if (known) Take(*row, record);
  });
  return known ? result : -1;
}

int SlaveZRStatusSave(const SlaveZRStatus& record) {
  bool known = false;
  const int result = Attempt("Failed to save the status of server [{}]", record.ZrId, [&] {
    static const qv::record::Update update = ServerTable().schema().UpdateBut({"model"});  // the status has all others
    SlaveZR row;
    row.SetZrId(record.ZrId);
    Take(record, row);
    row.SetLastReport(Now());
    ServerTable().UpdateLater(row, update);
    known = ServerTable().Count(qv::record::Where().Is("id", record.ZrId)) > 0;
  });
  return known ? result : -1;
}
