/// The exports as a table: each with the document that it is tried with and the slave that it works on.
#pragma once

#include <unordered_map>

#include "support/hosttest.h"

namespace support {

inline constexpr int kSlave = 7;

/// A document of the examples, its sections cut to their first `entries` entries; 0: whole.
inline Json::Value Example(const std::string& name, unsigned entries = 0) {
  Json::Value document = qv::json::ReadDocumentFile(QV_EXAMPLES "/" + name + ".json", {});
  for (Json::Value& section : document) {
    if (section.isArray() && entries > 0 && section.size() > entries) section.resize(entries);
  }
  return document;
}

inline SlaveZR Slave(int zr = kSlave) {
  SlaveZR slave;
  slave.SetZrId(zr);
  slave.SetZrModel("QVA-3216");
  return slave;
}

inline int ApplyStatus(const Json::Value& report, int zr = kSlave) {
  SlaveZRStatus record;
  record.ZrId = zr;
  SlaveZRStatusLoad(record);
  const int result = SaveSlaveStatus(report, record);
  SlaveZRStatusSave(record);
  return result;
}

struct Call {
  const char* name;
  std::function<void()> run;
};

/// Every export, on a host that `Prepare` made.
inline const std::vector<Call>& Calls() {
  static const Json::Value snapshot = Example("slave7-snapshot-2", 2);
  static const Json::Value report = Example("slave7-status", 2);
  static const std::vector<Call> calls = {
      {"pair", [] { SaveSlaveInfoPair(Slave(), snapshot, kSlave); }},
      {"update", [] { SaveSlaveInfoUpdate(Slave(), snapshot, kSlave); }},
      {"status", [] { ApplyStatus(report); }},
      {"remove", [] { RemoveSlaveData(kSlave); }},
      {"remove related", [] { SyncRelatedTableForSlaveDel(kSlave); }},
      {"doors", [doors = std::unordered_map<int, int>()]() mutable { GetAxisDoorZrIdMap(doors); }},
  };
  return calls;
}

/// Pairs the slave with what the calls then change.
inline void Prepare() {
  SaveSlaveInfoPair(Slave(), Example("slave7-pair", 3), kSlave);
  SlaveZRSave(Slave());
}

}  // namespace support
