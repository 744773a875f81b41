#include "documents.h"

#include "json/document.h"
#include "qvjson.h"

namespace bench {
namespace {

Json::Value StreamProfile(const char* codec, const char* resolution, int frame_rate, int bit_rate) {
  Json::Value profile(Json::objectValue);
  profile["codec"] = codec;
  profile["resolution"] = resolution;
  profile["frame_rate"] = frame_rate;
  profile["bit_rate"] = bit_rate;
  profile["bit_rate_control"] = "variable";
  profile["key_frame_interval"] = 2 * frame_rate;
  profile["quality"] = 70;
  return profile;
}

Json::Value Region(int left, int top, int right, int bottom) {
  Json::Value region(Json::objectValue);
  region["left"] = left;
  region["top"] = top;
  region["right"] = right;
  region["bottom"] = bottom;
  return region;
}

Document Read(const Json::Value& value) {
  Document document;
  document.text = JsonWrite(value, true);
  document.value = qv::json::ReadDocument(document.text, {});
  return document;
}

}  // namespace

Json::Value CameraEntry(int id, int revision) {
  const std::string number = std::to_string(id);
  Json::Value camera(Json::objectValue);
  camera["id"] = id;
  camera["name"] = "Camera " + number + " Hall " + std::to_string(id % 17) + (revision == 0 ? " East" : " West");
  camera["enabled"] = id % 20 != 0;
  camera["vendor"] = "Opticworks";
  camera["model"] = "OW-5240-DN";
  camera["firmware_version"] = "4.12.0 build 210" + std::to_string(id % 10);
  camera["mac_address"] = "02:00:5E:10:" + std::to_string(10 + id / 90 % 90) + ":" + std::to_string(10 + id % 90);
  camera["host"] = "192.0.2." + std::to_string(id % 254 + 1);
  camera["port"] = 8000 + id % 100;
  camera["use_https"] = id % 2 == 0;
  camera["rtsp_port"] = 554;
  camera["rtsp_path"] = "/live/channel" + std::to_string(id % 16) + "/main";
  camera["username"] = "recorder";
  camera["password"] = "harbour-" + number;
  camera["channel"] = id % 16 + 1;
  camera["video_codec"] = "H.265";
  camera["resolution"] = "2560x1440";
  camera["frame_rate"] = 25 - revision % 5;
  camera["bit_rate"] = 4096;
  camera["quality"] = 60 + id % 30;
  camera["stream_profile1"] = StreamProfile("H.265", "2560x1440", 25, 4096 + 64 * revision);
  camera["stream_profile2"] = StreamProfile("H.264", "1280x720", 15, 1024);
  camera["stream_profile3"] = StreamProfile("H.264", "640x360", 10, 384);
  camera["live_profile"] = 1;
  camera["recording_profile"] = 0;
  camera["mobile_profile"] = 2;
  for (int day = 0; day < 7; ++day) camera["recording_schedule"].append(day < 5 ? 1 : 2);
  camera["retention_days"] = 30 + id % 7 + revision % 3;
  camera["retention_size"] = 500;
  camera["pre_recording"] = 5;
  camera["post_recording"] = 10;
  camera["audio_enabled"] = id % 3 == 0;
  camera["audio_codec"] = "AAC";
  camera["ptz_capability"] = id % 8;
  camera["motion_source"] = 1;
  camera["motion_sensitivity"] = 40 + id % 50;
  camera["motion_regions"].append(Region(0, 0, 4999, 9999));
  camera["motion_regions"].append(Region(5000, id % 5000, 9999, 9999));
  camera["motion_event_type"] = 2;
  camera["tampering_event_type"] = 1;
  camera["audio_event_type"] = 0;
  camera["disconnect_event_type"] = 3;
  camera["time_zone"] = "Europe/Oslo";
  camera["note"] = "Installed above door " + number;
  return camera;
}

Document Snapshot(int count, int revision, int changed_every) {
  Json::Value snapshot(Json::objectValue);
  Json::Value& cameras = snapshot["camera_info"] = Json::Value(Json::arrayValue);
  for (int id = 1; id <= count; ++id) cameras.append(CameraEntry(id, id % changed_every == 0 ? revision : 0));
  return Read(snapshot);
}

Document StatusReport(int count, int revision, int changed_every) {
  Json::Value report(Json::objectValue);
  report["status"] = 1;
  report["cam_count"] = count;
  report["qv_version"] = "9.2.1-11400";
  report["serial_num"] = "2040QRN000123";
  Json::Value& cameras = report["camera_info"] = Json::Value(Json::arrayValue);
  for (int id = 1; id <= count; ++id) {
    const int of_camera = id % changed_every == 0 ? revision : 0;
    Json::Value camera(Json::objectValue);
    camera["id"] = id;
    camera["status"] = 1 + of_camera;
    camera["rtsp_key"] = "key-" + std::to_string(id);
    camera["live_profile"] = 1;
    camera["stream_profile1"] = StreamProfile("H.265", "2560x1440", 25, 4096);
    camera["stream_profile2"] = StreamProfile("H.264", "1280x720", 15, 1024);
    camera["stream_profile3"] = StreamProfile("H.264", "640x360", 10, 384);
    cameras.append(camera);
  }
  return Read(report);
}

}  // namespace bench
