#include "devices/camedgedata.h"

#include <locale>
#include <memory>
#include <sstream>

#include "frame/logmessage.h"
#include "qvdb.h"

namespace {

struct FreeResult {
  void operator()(DBResult_tag* result) const { QVDBFreeResult(result); }
};

}  // namespace

void LoadCamEdgeMap(int zr_id, std::map<int, EdgeStorage>& map) {
  std::ostringstream query;
  query.imbue(std::locale::classic());  // no grouping of digits, whatever the program's locale
  query << "SELECT * FROM " << gszTableEdgeStorageSettings << " WHERE "
        << "owner_zr_id=" << zr_id;
  DBResult_tag* result = nullptr;
  if (QVDB::Execute(kDbInstanceMain, query.str(), &result, false, true, true, true) != 0) {
    CMS_LOG_ALWAYS("LoadCamEdgeMap", "Execute sql failed.\n");
    return;
  }
  const std::unique_ptr<DBResult_tag, FreeResult> owner(result);
  for (unsigned row = 0; QVDBFetchRow(result, &row) == 0;) {
    EdgeStorage edge;
    edge.PutRowIntoObj(result, row);
    map.try_emplace(edge.GetCamId(), edge);
  }
}

// The words of the two messages are swapped: "Update" marks a new row, "Add" a changed one. Keep them: log filters in
// use rely on these words.
void UpdateCamEdgeData(int zr_id, const Camera& cam, const Json::Value& edge, std::map<int, EdgeStorage>& map) {
  const auto found = map.find(cam.GetId());
  if (found == map.end()) {
    EdgeStorage added;
    CMS_LOG(4, "UpdateCamEdgeData", "Update edge settings of cam [%d] from ZR [%d].\n", cam.GetId(), zr_id);
    added.SetByJson(cam, edge);
    added.Save();
  } else if (found->second.IsCfgChged(edge) != 0) {
    CMS_LOG(4, "UpdateCamEdgeData", "Add edge settings of cam [%d] from ZR [%d].\n", cam.GetId(), zr_id);
    found->second.SetByJson(cam, edge);
    found->second.Save();
  }
}
