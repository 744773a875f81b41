/// The import of a newly paired slave's cameras.
#include <unordered_map>

#include "devices/axisdoors.h"
#include "devices/tables.h"
#include "messagedaemon.h"
#include "record/attempt.h"
#include "record/import.h"
#include "recserversavers.h"

using namespace qv;           // NOLINT(google-build-using-namespace): the file's function is the package's interface
using namespace qv::devices;  // NOLINT(google-build-using-namespace)

namespace {

/// The edge storage of a server's cameras. Of several rows for one camera, the first counts.
class EdgeStorages {
 public:
  explicit EdgeStorages(const record::Where& of_the_server) {
    for (EdgeStorage& edge : EdgeStorageTable().Select(of_the_server)) by_camera_.try_emplace(edge.GetCamId(), edge);
  }
  void Take(const Camera& camera, const Json::Value& reported) {
    EdgeStorage& edge = by_camera_[camera.GetId()];
    if (edge.SetByJson(camera, reported) == 0) edge.Save();
  }

 private:
  std::unordered_map<int, EdgeStorage> by_camera_;
};

void TakeCamera(Camera& camera, const Json::Value& entry, bool even_configuring, const std::string& note) {
  const bool is_new = camera.GetId() == 0;
  const bool is_configuring = camera.IsStatusFlagOn(DEV_STATUS_FLAG_CONFIGURING);
  if (is_configuring && !even_configuring) return;
  if (is_new) camera.SetNote(note);
  InitCamObjByJson(entry, camera, is_new, true, false);
  camera.Save();
}

}  // namespace

int SaveCamObjFromRecServer(int zrId, const Json::Value& section, bool evenConfiguring, bool notify,
                            const std::string& note) {
  LastListedCtrlers() = {};  // an import of cameras starts a pairing, which takes controllers up by their ids
  const int result = record::Attempt("Failed to import the cameras of server [{}]", zrId, [&] {
    const record::Where of_the_server = record::Where().Is("owner_zr_id", zrId);
    EdgeStorages edges(of_the_server);
    record::ImportSection(CameraTable().Select(of_the_server), zrId, section,
                          [&](Camera& camera, const Json::Value& entry) {
                            TakeCamera(camera, entry, evenConfiguring, note);
                            if (camera.GetId() != 0) edges.Take(camera, entry["edgeStorage"]);
                          });
  });
  if (result == 0 && notify) SendCamRelatedMsgToMsgD();
  return result;
}
