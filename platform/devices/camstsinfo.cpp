#include "camstsinfo.h"

#include "camera.h"
#include "db/database.h"
#include "devices/tables.h"
#include "json/storable.h"
#include "log/message.h"
#include "qvdb.h"
#include "qvjson.h"
#include "record/attempt.h"
#include "record/fieldvalue.h"

using namespace qv;  // NOLINT(google-build-using-namespace): what follows is the package's interface

namespace {

constexpr const char* kProfileKeys[] = {"stream_profile1", "stream_profile2", "stream_profile3"};
static_assert(std::size(kProfileKeys) == CamStsInfo::kProfileCount);

std::optional<int> ReportedInt(const Json::Value& value) {
  if (value.isNull()) return std::nullopt;
  return value.asInt();
}

/// The camera as a row of values: id, status, live profile, profile texts. The values stand in the text, not in
/// parameters, of which a statement has far fewer than a slave may have cameras.
std::string ValuesRow(const CamStsInfo& info) {
  std::string row = '(' + std::to_string(info.GetId()) + ',' + std::to_string(info.GetStatus()) + ',' +
                    std::to_string(info.GetLiveProfileNumber());
  for (std::size_t i = 0; i < CamStsInfo::kProfileCount; ++i) {
    row += ',' + QVDB::QuoteEscape(info.GetStreamProfile(static_cast<int>(i)));
  }
  return row + ')';
}

}  // namespace

CamStsInfo::CamStsInfo(int camId, const Json::Value& elem)
    : id_(camId), status_(ReportedInt(elem["status"])), live_profile_(ReportedInt(elem["live_profile"])) {
  for (std::size_t i = 0; i < kProfileCount; ++i) {
    const Json::Value& profile = elem[kProfileKeys[i]];
    if (profile.isNull()) continue;
    std::string text = JsonWrite(profile, true);
    if (const char* const reason = json::WhyNotStorable(profile, text)) {
      log::Warn("The reported \"{}\" does not fit camera [{}]: {}", kProfileKeys[i], camId, reason);
    } else {
      profiles_[i] = std::move(text);
    }
  }
}

CamStsInfo::CamStsInfo(const Camera& camera)
    : id_(camera.GetId()),
      status_(camera.GetStatus()),
      live_profile_(camera.GetLiveProfile()),
      profiles_{camera.GetStreamProfile1().text, camera.GetStreamProfile2().text, camera.GetStreamProfile3().text} {}

void CamStsInfo::TakeUnreported(const CamStsInfo& known) {
  if (!status_) status_ = known.status_;
  if (!live_profile_) live_profile_ = known.live_profile_;
  for (std::size_t i = 0; i < kProfileCount; ++i) {
    if (!profiles_[i]) profiles_[i] = known.profiles_[i];
  }
}

int CamStsInfo::GetLiveProfile() const {
  const int number = GetLiveProfileNumber();
  return number >= 0 && number < static_cast<int>(kProfileCount) ? number : 0;
}

const std::string& CamStsInfo::GetStreamProfile(int index) const {
  static const std::string none;
  const std::optional<std::string>& profile = profiles_.at(static_cast<std::size_t>(index));
  return profile ? *profile : none;
}

std::string CamStsInfo::toString() const {
  Json::Value text(Json::objectValue);
  text["id"] = id_;
  if (status_) text["status"] = *status_;
  if (live_profile_) text["live_profile"] = *live_profile_;
  for (std::size_t i = 0; i < kProfileCount; ++i) {
    if (profiles_[i]) text[kProfileKeys[i]] = record::ParseStored(*profiles_[i]);
  }
  return JsonDump(text);
}

int BatUpdateCam(int zrId, std::list<CamStsInfo>& changed) {
  std::map<int, const CamStsInfo*> last_of_each;
  for (const CamStsInfo& info : changed) last_of_each[info.GetId()] = &info;
  std::string rows;
  for (const auto& [id, info] : last_of_each) rows += (rows.empty() ? "" : ",") + ValuesRow(*info);
  if (rows.empty()) return 0;
  return record::Attempt("Failed to update the status of the cameras of server [{}]", zrId, [&] {
    db::ThisThread().ExecuteLater(
        "UPDATE camera SET status=column2,live_profile=column3,stream_profile1=column4,stream_profile2=column5,"
        "stream_profile3=column6 FROM (VALUES " +
            rows + ") AS reported WHERE id=column1 AND owner_zr_id=" + std::to_string(zrId),
        [](const db::Written& written) {
          db::CountChange(devices::CameraTable().name(), db::Change::Updated, written.rows);
        });
  });
}
