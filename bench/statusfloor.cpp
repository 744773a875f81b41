#include "statusfloor.h"

#include <map>

#include "camera.h"
#include "qvjson.h"

namespace bench {
namespace {

template <class T>
T ReadColumn(sqlite3_stmt* row, int column) {
  if constexpr (std::is_same_v<T, int> || std::is_same_v<T, bool>) {
    return static_cast<T>(sqlite3_column_int(row, column));
  } else {
    return T{std::string(reinterpret_cast<const char*>(sqlite3_column_text(row, column)),
                         static_cast<std::size_t>(sqlite3_column_bytes(row, column)))};
  }
}

Camera ReadCamera(sqlite3_stmt* row) {
  Camera camera;
  camera.SetId(ReadColumn<int>(row, 0));
  camera.SetIdOnRecServer(ReadColumn<int>(row, 1));
  camera.SetStatus(ReadColumn<int>(row, 2));
  camera.SetLiveProfile(ReadColumn<int>(row, 3));
  camera.SetStreamProfile1(ReadColumn<JsonText>(row, 4));
  camera.SetStreamProfile2(ReadColumn<JsonText>(row, 5));
  camera.SetStreamProfile3(ReadColumn<JsonText>(row, 6));
  return camera;
}

bool IsChanged(const Camera& camera, const Json::Value& reported) {
  return camera.GetStatus() != reported["status"].asInt() ||
         camera.GetLiveProfile() != reported["live_profile"].asInt() ||
         JsonWrite(reported["stream_profile1"], true) != camera.GetStreamProfile1().text ||
         JsonWrite(reported["stream_profile2"], true) != camera.GetStreamProfile2().text ||
         JsonWrite(reported["stream_profile3"], true) != camera.GetStreamProfile3().text;
}

}  // namespace

StatusFloor::StatusFloor(const std::filesystem::path& file)
    : database_(file, false),
      select_(database_.Prepare("SELECT id,id_on_rec_server,status,live_profile,stream_profile1,stream_profile2,"
                                "stream_profile3 FROM camera WHERE owner_zr_id=?1")),
      update_(database_.Prepare("UPDATE camera SET status=?1,live_profile=?2,stream_profile1=?3,stream_profile2=?4,"
                                "stream_profile3=?5 WHERE id=?6")) {}

int StatusFloor::Apply(const Json::Value& report, int zr) {
  database_.Execute("BEGIN IMMEDIATE");
  std::map<int, Camera> loaded;
  database_.Check(sqlite3_bind_int(select_.get(), 1, zr));
  while (database_.Check(sqlite3_step(select_.get()))) {
    Camera camera = ReadCamera(select_.get());
    const int id = camera.GetIdOnRecServer();
    loaded.emplace(id, std::move(camera));
  }
  database_.Check(sqlite3_reset(select_.get()));
  const std::map<int, Camera> cameras = loaded;  // NOLINT(performance-unnecessary-copy-initialization)

  int written = 0;
  for (const Json::Value& reported : report["camera_info"]) {
    const auto camera = cameras.find(reported["id"].asInt());
    if (camera == cameras.end() || !IsChanged(camera->second, reported)) continue;
    sqlite3_stmt* update = update_.get();
    sqlite3_bind_int(update, 1, reported["status"].asInt());
    sqlite3_bind_int(update, 2, reported["live_profile"].asInt());
    int parameter = 3;
    for (const char* key : {"stream_profile1", "stream_profile2", "stream_profile3"}) {
      const std::string text = JsonWrite(reported[key], true);
      sqlite3_bind_text(update, parameter++, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
    }
    sqlite3_bind_int(update, 6, camera->second.GetId());
    database_.Run(update);
    ++written;
  }
  database_.Execute("COMMIT");
  return written;
}

}  // namespace bench
