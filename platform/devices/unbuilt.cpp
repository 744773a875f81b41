#include "recserversavers.h"
int SaveCamObjFromRecServer(int, const Json::Value&, bool, bool, const std::string&) { return 0; }
