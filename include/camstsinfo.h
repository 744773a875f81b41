/// The status of a camera: what a status report may change of the host's copy.
///
/// Make one from the host's row (`Camera::GetStsInfo`) and one from the reported element, complete that with
/// `TakeUnreported`, compare, and write the changed ones together with `BatUpdateCam`.
#pragma once

#include <json/value.h>

#include <array>
#include <cstddef>
#include <list>
#include <optional>
#include <string>

class Camera;

class CamStsInfo {
 public:
  static constexpr std::size_t kProfileCount = 3;

  /// @param camId  the camera's id on the host
  /// @param elem   what the slave reports: "status", "live_profile" (0 to 2), "stream_profile1" to "stream_profile3".
  ///               A member that is absent or null stays unreported; one of an impossible type throws
  CamStsInfo(int camId, const Json::Value& elem);
  explicit CamStsInfo(const Camera& camera);

  /// Takes over from `known` what the slave did not report: a report that does not mention something does not change
  /// it.
  void TakeUnreported(const CamStsInfo& known);

  int GetId() const { return id_; }
  int GetStatus() const { return status_.value_or(0); }
  /// Index of the stream profile that live view uses; 0 for a number that names none.
  int GetLiveProfile() const;
  /// The number as it was reported or stored.
  int GetLiveProfileNumber() const { return live_profile_.value_or(0); }
  /// Text of a stream profile, as `JsonText` has it; empty: none. @param index 0 to kProfileCount - 1
  const std::string& GetStreamProfile(int index) const;

  bool operator==(const CamStsInfo&) const = default;

  /// For the log: one line, with "***" in place of every secret that a profile holds.
  std::string toString() const;

 private:
  int id_;
  std::optional<int> status_;
  std::optional<int> live_profile_;
  std::array<std::optional<std::string>, kProfileCount> profiles_;
};

/// Writes the records to the slave's cameras, all or none; of two for one camera, the later one.
/// @return 0 on success, -1 on failure (nothing is written then)
int BatUpdateCam(int zrId, std::list<CamStsInfo>& changed);
