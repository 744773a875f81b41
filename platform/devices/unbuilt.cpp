#include "recserversavers.h"
int SaveCamObjFromRecServer(int, const Json::Value&, bool, bool, const std::string&) { return 0; }
int SaveIOModuleFromRecServer(int, const Json::Value&, bool) { return 0; }
int SaveCtrlerFromRec(int, const Json::Value&) { return 0; }
