#include "camera.h"

#include "../record/attempt.h"
#include "tables.h"

namespace qv::devices {

const CameraTableType& CameraTable() {
  static const CameraTableType table("camera", {.own_keys = {"edgeStorage", "rtsp_key"}});
  return table;
}

}  // namespace qv::devices

using namespace qv;           // NOLINT(google-build-using-namespace): what follows is the package's interface
using namespace qv::devices;  // NOLINT(google-build-using-namespace)

int Camera::Save() {
  return record::Attempt("save", "camera", GetId(), [&] { CameraTable().Save(*this); });
}

int CamGetMapByZrId(std::map<int, Camera>& map, int zrId, MAP_KEY_TYPE keyType) {
  map.clear();
  return record::Attempt("list", "camera", 0, [&] {
    std::map<int, Camera> found;
    for (Camera& camera : CameraTable().Select(record::Where().Is("owner_zr_id", zrId))) {
      const int key = keyType == MAP_KEY_ID_ON_REC_SERVER ? camera.GetIdOnRecServer() : camera.GetId();
      found.emplace(key, std::move(camera));
    }
    map = std::move(found);
  });
}

bool CachedCamMap::Get(std::map<int, Camera>& map) {
  if (!loaded_) loaded_ = CamGetMapByZrId(cameras_, zr_id_, key_type_) == 0;
  map = cameras_;
  return loaded_;
}
