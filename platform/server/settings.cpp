#include "server/settings.h"

#include "record/attempt.h"
#include "taggedfield.h"

#define SETTING_FIELDS(FIELD)                             \
  FIELD(SettingData, int, Id, "id", HostId)               \
  FIELD(SettingData, std::string, Name, "name", HostOnly) \
  FIELD(SettingData, std::string, Text, "text", HostOnly)

QV_DECLARE_FIELDS(SettingData, SETTING_FIELDS)

namespace qv::server {
namespace {

class SettingRow : public TaggedRecord<SettingData::Fields> {};
using Table = record::Table<SettingRow>;

const Table& Settings() {
  static const Table table("setting");
  return table;
}

}  // namespace

const record::AnyTable& SettingTable() { return Settings(); }

std::string Setting(std::string_view name) {
  std::string text;
  record::Attempt("Failed to read a setting", [&] {
    if (const auto row = Settings().Find(record::Where().Is("name", name))) text = row->GetText();
  });
  return text;
}

}  // namespace qv::server
