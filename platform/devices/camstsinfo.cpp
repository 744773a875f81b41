#include "camstsinfo.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <bit>
#include <map>
#include <span>
#include <vector>

#include "camera.h"
#include "db/database.h"
#include "devices/tables.h"
#include "json/storable.h"
#include "log/message.h"
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

/// Cameras that one statement writes at most: the time to prepare it grows by the square of their number.
constexpr std::size_t kMostRows = 64;

/// The statement that writes so many cameras of a server: their ids, status, live profiles and stream profiles.
std::string UpdateOf(std::size_t count) {
  std::string rows = "(CAST($1 AS BIGINT),CAST($2 AS BIGINT),CAST($3 AS BIGINT),$4,$5,$6)";
  for (std::size_t row = 1; row < count; ++row) {
    const std::size_t first = 6 * row + 1;
    rows += fmt::format(",(${},${},${},${},${},${})", first, first + 1, first + 2, first + 3, first + 4, first + 5);
  }
  return "UPDATE camera SET status=column2,live_profile=column3,stream_profile1=column4,stream_profile2=column5,"
         "stream_profile3=column6 FROM (VALUES " +
         rows + ") AS reported WHERE id=column1 AND owner_zr_id=$" + std::to_string(6 * count + 1);
}

void Bind(db::Query& query, const CamStsInfo& info) {
  query.Bind(info.GetId()).Bind(info.GetStatus()).Bind(info.GetLiveProfileNumber());
  for (int i = 0; i < static_cast<int>(CamStsInfo::kProfileCount); ++i) query.Bind(info.GetStreamProfile(i));
}

/// Writes these cameras, at most `kMostRows`. Similar numbers share one prepared statement: the number goes up to the
/// next power of two, and the last camera stands for the rest.
void Update(int zr, std::span<const CamStsInfo* const> cameras) {
  static const std::array updates = {UpdateOf(1),  UpdateOf(2),  UpdateOf(4),        UpdateOf(8),
                                     UpdateOf(16), UpdateOf(32), UpdateOf(kMostRows)};
  const std::size_t count = std::bit_ceil(cameras.size());
  db::Query query = db::ThisThread().Prepare(updates.at(static_cast<std::size_t>(std::countr_zero(count))));
  for (std::size_t i = 0; i < count; ++i) Bind(query, *cameras[std::min(i, cameras.size() - 1)]);
  query.Bind(zr).RunLater([](const db::Written& written) {
    db::CountChange(devices::CameraTable().name(), db::Change::Updated, written.rows);
  });
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
  std::vector<const CamStsInfo*> cameras;
  cameras.reserve(last_of_each.size());
  for (const auto& [id, info] : last_of_each) cameras.push_back(info);
  if (cameras.empty()) return 0;
  return record::Attempt("Failed to update the status of the cameras of server [{}]", zrId, [&] {
    db::AllOrNothing whole;
    for (std::span<const CamStsInfo* const> rest = cameras; !rest.empty();) {
      const std::size_t count = std::min(rest.size(), kMostRows);
      Update(zrId, rest.first(count));
      rest = rest.subspan(count);
    }
    whole.Keep();
  });
}
