#include <pthread.h>

#include <string>

#include "camcap.h"
#include "devices/devicesteps.h"
#include "frame/logmessage.h"

namespace {

pthread_mutex_t capability_folder_mutex = PTHREAD_MUTEX_INITIALIZER;

/// Lets only one thread make the folder at a time. The files are written without it.
class FolderLock {
 public:
  FolderLock() { pthread_mutex_lock(&capability_folder_mutex); }
  ~FolderLock() { pthread_mutex_unlock(&capability_folder_mutex); }
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;
};

void MakeFolder() {
  const FolderLock lock;
  std::string path;
  if (CheckAndMakeCapDir(path) != 0) CMS_LOG(3, "SaveCamCapFiles", "CheckAndMakeCapDir failed.\n");
}

std::string TextOf(const Json::Value& element, const char* key) {
  return element.isMember(key) ? element[key].asString() : std::string();
}

/// The file's path on this host; empty if the element names no file or the path is refused.
std::string FileName(const Json::Value& element, const std::string& model, int zr_id) {
  if (!element.isMember("capFileName")) return "";
  std::string name = element["capFileName"].asString();
  if (IsInteSupApi(model) == 0 && ReplaceZrIdInCapFilePath(name, zr_id) != 0) {
    CMS_LOG(3, "SaveCamCapFiles", "Failed to update zrId in cap file path. [%s]\n", name.c_str());
    name.clear();
  }
  return name;
}

}  // namespace

void SaveCamCapFiles(int zr_id, const Json::Value& section) {
  if (section.empty()) return;
  MakeFolder();
  for (const Json::Value& element : section) {
    const std::string vendor = TextOf(element, "camVendor");
    const std::string model = TextOf(element, "camModel");
    const std::string name = FileName(element, model, zr_id);
    if (vendor.empty() || model.empty() || name.empty() || !element.isMember("camCap")) continue;
    CreateCapFileByJsonInterface(name, vendor, model, element["camCap"]);
  }
}
