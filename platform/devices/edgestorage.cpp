#include "edgestorage.h"

#include "db/driver.h"
#include "devices/tables.h"
#include "record/attempt.h"

namespace qv::devices {

const record::Table<EdgeStorage>& EdgeStorageTable() {
  // The settings are the camera's, whatever ids the slave has for either.
  static const record::Table<EdgeStorage> table(gszTableEdgeStorageSettings, {.own_keys = {"id", "cam_id"}});
  return table;
}

}  // namespace qv::devices

using namespace qv;           // NOLINT(google-build-using-namespace): what follows is the package's interface
using namespace qv::devices;  // NOLINT(google-build-using-namespace)

namespace {

/// What the row can give back of `edge`: rows are fetched as C strings, so that a text ends at a NUL.
Json::Value Storable(Json::Value edge) {
  if (!edge.isObject()) return edge;
  for (const record::Field& field : EdgeStorageTable().fields()) {
    const char* const name = field.info.column;
    if (field.type == record::ValueType::Text && edge[name].isString()) edge[name] = edge[name].asCString();
  }
  return edge;
}

}  // namespace

void EdgeStorage::PutRowIntoObj(DBResult_tag* result, unsigned row) { EdgeStorageTable().ReadRow(*this, result, row); }

int EdgeStorage::IsCfgChged(const Json::Value& edge) const {
  return EdgeStorageTable().Differs(*this, edge) && EdgeStorageTable().Differs(*this, Storable(edge)) ? 1 : 0;
}

int EdgeStorage::SetByJson(const Camera& camera, const Json::Value& edge) {
  SetCamId(camera.GetId());
  SetOwnerZrId(camera.GetOwnerZrId());
  return EdgeStorageTable().Apply(*this, Storable(edge)) ? 0 : -1;
}

int EdgeStorage::Save() {
  return record::Attempt("Failed to save edge storage settings [{}]", GetId(), [&] {
    if (GetCamId() == 0) throw db::Error(db::Error::Kind::Statement, "they belong to no camera");
    EdgeStorageTable().SaveLater(*this);
  });
}
