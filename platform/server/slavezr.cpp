#include "slavezr.h"

#include "record/attempt.h"
#include "server/servers.h"

namespace qv::server {

const record::Table<SlaveZR>& ServerTable() {
  static const record::Table<SlaveZR> table("server", {.caller_assigns_id = true});
  return table;
}

}  // namespace qv::server

using qv::server::ServerTable;

std::optional<SlaveZR> SlaveZRLoad(int zrId) {
  std::optional<SlaveZR> slave;
  qv::record::Attempt("Failed to load server [{}]", zrId,
                      [&] { slave = ServerTable().Find(qv::record::Where().Is("id", zrId)); });
  return slave;
}

int SlaveZRSave(const SlaveZR& slave) {
  return qv::record::Attempt("Failed to save server [{}]", slave.GetZrId(), [&] {
    SlaveZR row = slave;
    ServerTable().SaveLater(row);
  });
}
