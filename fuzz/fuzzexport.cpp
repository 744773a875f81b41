/// Hands documents to one of the exports, on a host that knows the slave, and takes everything back afterwards.
/// Beyond the sanitizers' findings: what an update stores must be stored once, so that the same document again writes
/// no row; after a removal nothing may be left; references must hold.

#include <json/value.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <string_view>
#include <unordered_map>

#include "db/database.h"
#include "json/document.h"
#include "jsonmutator.h"
#include "log/log.h"
#include "qvjson.h"
#include "qvwebapicmssyncutils.h"
#include "removal/ownedrows.h"
#include "slavezr.h"
#include "slavezrstatus.h"

#define QV_TEXT(NAME) #NAME
#define QV_NAME(NAME) QV_TEXT(NAME)

namespace {

constexpr std::string_view kTarget = QV_NAME(QV_FUZZ_TARGET);
constexpr int kSlave = 7;

constexpr const char* kPaired = R"({
  "camera_info":[{"id":1,"name":"Gate","edgeStorage":{"enabled":true}},{"id":2,"name":"Dock"}],
  "iomodule_info":[{"id":1,"name":"Relay"}],"POS_info":[{"id":1,"name":"Till","text_rules":[{"type":0,"pattern":"X"}]}],
  "speaker_info":[{"id":1,"name":"Hall"}],"ctrler_info":[{"id":1,"name":"C","door":[{"id":11,"name":"D","cam_id":1}]}]
})";

[[noreturn]] void Report(const std::string& fault) {
  fprintf(stderr, "fuzz: %s\n", fault.c_str());
  abort();
}

class Host {
 public:
  Host() {
    std::string pattern = (std::filesystem::temp_directory_path() / "qvfuzz-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) Report("no temporary folder");
    folder_ = pattern;
    qv::log::Configure({.level = 7, .to_stderr = false});
    qv::log::SetSink([](const qv::log::Line& line) {
      for (const std::string* text : {&line.text, &line.function, &line.file}) {
        if (text->find_first_of("\n\r\x1b") != std::string::npos) Report("a line break or an escape in the log");
      }
    });
    qv::db::Options options;
    options.driver.durability = qv::db::Durability::Process;
    qv::db::Open(folder_, options);
    slave.SetZrId(kSlave);
    slave.SetZrModel("QVA-3216");
    SlaveZRSave(slave);
    SaveSlaveInfoPair(slave, qv::json::ReadDocument(kPaired, {}), kSlave);
  }
  ~Host() {
    qv::db::Close();
    std::filesystem::remove_all(folder_);
  }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  SlaveZR slave;

 private:
  std::filesystem::path folder_;
};

void CheckReferences() {
  qv::db::Query check = qv::db::ThisThread().Prepare("PRAGMA foreign_key_check");
  if (check.Next()) Report("a reference that leads nowhere in " + std::string(check.Row().Text(0)));
}

int RowsChanged(const qv::db::UnitOfWork& unit) {
  int rows = 0;
  for (const auto& count : unit.counts()) {
    if (count.kind != "message") rows += count.added + count.updated + count.removed;
  }
  return rows;
}

void Apply(const SlaveZR& slave, const Json::Value& document, const qv::db::UnitOfWork& unit) {
  if (kTarget == "status") {
    SlaveZRStatus record;
    record.ZrId = kSlave;
    SlaveZRStatusLoad(record);
    SaveSlaveStatus(document, record);
    SlaveZRStatusSave(record);
    return;
  }
  (kTarget == "update" ? SaveSlaveInfoUpdate : SaveSlaveInfoPair)(slave, document, kSlave);
  if (kTarget == "update") {
    const int before = RowsChanged(unit);
    SaveSlaveInfoUpdate(slave, document, kSlave);
    if (RowsChanged(unit) != before) Report("the same document again writes rows");
  }
  if (kTarget == "remove") {
    std::unordered_map<int, int> doors;
    GetAxisDoorZrIdMap(doors);
    const int result = SyncRelatedTableForSlaveDel(kSlave);
    RemoveSlaveData(kSlave);
    const auto left = qv::removal::TablesHolding(kSlave);
    if (result != 0 || !left.empty()) Report("a removal leaves rows in " + (left.empty() ? "?" : left.front()));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Host host;
  Json::Value document;
  try {
    document = qv::json::ReadDocument({reinterpret_cast<const char*>(data), size}, {});
  } catch (const qv::json::DocumentError&) {
    return 0;
  }
  if (!document.isObject()) return 0;  // as the host's service has it
  qv::db::UnitOfWork never_committed(kSlave);
  try {
    Apply(host.slave, document, never_committed);
  } catch (const Json::Exception&) {
    // the contract's answer to a wrong type
  }
  CheckReferences();
  return 0;
}

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t max_size);

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t max_size,
                                               unsigned seed) {
  std::mt19937 random(seed);
  if (random() % 16 == 0) return LLVMFuzzerMutate(data, size, max_size);
  Json::Value document(Json::objectValue);
  try {
    document = qv::json::ReadDocument({reinterpret_cast<const char*>(data), size}, {});
  } catch (const qv::json::DocumentError&) {
    return LLVMFuzzerMutate(data, size, max_size);
  }
  for (auto changes = 1 + random() % 3; changes > 0; --changes) fuzz::Mutate(document, random);
  const std::string text = JsonWrite(document, true);
  if (text.size() > max_size) return LLVMFuzzerMutate(data, size, max_size);
  std::copy(text.begin(), text.end(), data);
  return text.size();
}
