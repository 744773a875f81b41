#include "camera.h"

#include "analytics/takenrows.h"
#include "db/database.h"
#include "devices/camerareferences.h"
#include "devices/listing.h"
#include "devices/tables.h"
#include "messagedaemon.h"
#include "record/attempt.h"

namespace qv::devices {

const CameraTableType& CameraTable() {
  static const CameraTableType table("camera", {.own_keys = {"edgeStorage", "rtsp_key"}});
  return table;
}

namespace {

int LoadMap(std::map<int, Camera>& map, int zr_id, MAP_KEY_TYPE key_type, const record::Columns& columns) {
  map.clear();
  return record::Attempt("Failed to list the cameras of server [{}]", zr_id, [&] {
    std::map<int, Camera> found;
    CameraTable().ForEach(record::Where().Is("owner_zr_id", zr_id), columns, [&](const Camera& camera) {
      const int key = key_type == MAP_KEY_ID_ON_REC_SERVER ? camera.GetIdOnRecServer() : camera.GetId();
      found.try_emplace(found.end(), key, camera);  // the ids mostly ascend
    });
    map = std::move(found);
  });
}

}  // namespace
}  // namespace qv::devices

using namespace qv;           // NOLINT(google-build-using-namespace): what follows is the package's interface
using namespace qv::devices;  // NOLINT(google-build-using-namespace)

// NOLINTNEXTLINE(performance-unnecessary-value-param): the package's signature
int Camera::IsCfgChged(Json::Value entry) const { return CameraTable().Differs(*this, entry) ? 1 : 0; }

int Camera::Save() {
  return record::Attempt("Failed to save camera [{}]", GetId(), [&] { CameraTable().SaveLater(*this); });
}

int Camera::Delete(bool notify) const {
  const int result = record::Attempt("Failed to delete camera [{}]", GetId(), [&] {
    db::AllOrNothing whole;
    DetachFromCamera(GetId());
    CameraTable().DeleteLater(*this);
    whole.Keep();
  });
  if (result == 0 && notify) SendCamRelatedMsgToMsgD();
  return result;
}

int InitCamObjByJson(const Json::Value& entry, Camera& camera, bool isNew, bool fromRecServer, bool withStatus) {
  const int id_on_rec_server = camera.GetIdOnRecServer();
  if (isNew) camera.SetId(0);
  if (!CameraTable().Apply(camera, entry)) return -1;
  if (!fromRecServer) camera.SetIdOnRecServer(id_on_rec_server);
  if (withStatus && entry["status"].isInt()) camera.SetStatus(entry["status"].asInt());
  return 0;
}

std::list<Camera> CamGetList(CamFilterRule& rule, int& total, bool beyondLimit) {
  std::list<Camera> cameras;
  int fitting = 0;
  record::Attempt("Failed to list cameras", [&] { cameras = SelectCameras(rule, fitting); });
  total = beyondLimit ? fitting : static_cast<int>(cameras.size());
  return cameras;
}

int CamGetMapByZrId(std::map<int, Camera>& map, int zrId, MAP_KEY_TYPE keyType) {
  static const record::Columns columns = CameraTable().ColumnsOf({"id", "id_on_rec_server", "owner_zr_id"});
  return LoadMap(map, zrId, keyType, columns);
}

CachedCamMap::CachedCamMap(int zrId, MAP_KEY_TYPE keyType)
    : zr_id_(zrId), key_type_(keyType), taken_rows_(std::make_unique<analytics::TakenRows>()) {}

CachedCamMap::~CachedCamMap() = default;

bool CachedCamMap::Get(std::map<int, Camera>& map) {
  static const record::Columns columns =
      CameraTable().ColumnsOf({"id", "id_on_rec_server", "owner_zr_id", "status", "device_status_flags", "live_profile",
                               "stream_profile1", "stream_profile2", "stream_profile3"});
  if (!loaded_) loaded_ = LoadMap(cameras_, zr_id_, key_type_, columns) == 0;
  map = cameras_;
  return loaded_;
}
