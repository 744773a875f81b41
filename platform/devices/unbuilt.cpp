#include "recserversavers.h"
int SaveIOModuleFromRecServer(int, const Json::Value&, bool) { return 0; }
int SaveCtrlerFromRec(int, const Json::Value&) { return 0; }
