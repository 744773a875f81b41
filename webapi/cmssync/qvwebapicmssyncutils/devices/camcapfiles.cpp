#include "camcapfiles.h"

void SaveCamCapFiles(int, const Json::Value&) {}
