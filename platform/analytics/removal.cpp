#include "removal.h"

#include "../record/attempt.h"
#include "tables.h"
#include "taskgroups.h"

namespace qv::analytics {
namespace {

int DeleteOwned(const record::AnyTable& table, int zr_id) {
  return record::Attempt("delete the rows of a server from", table.name(), zr_id,
                         [&] { table.DeleteWhere(record::Where().Is("owner_zr_id", zr_id)); });
}

}  // namespace

int CountingTaskGroupDelByZrId(int zr_id) { return DeleteOwned(TaskGroupTable(), zr_id); }
int CountingWidgetDelByZrId(int zr_id) { return DeleteOwned(CountingWidgetTable(), zr_id); }
int IvaTaskDelByZrId(int zr_id) { return DeleteOwned(IvaTaskTable(), zr_id); }
int FaceTaskDelByZrId(int zr_id) { return DeleteOwned(FaceTaskTable(), zr_id); }

}  // namespace qv::analytics
