/// Which cameras are meant: the query rule of `CamGetList`. Build one, set the criteria that count; they are joined by
/// AND.
#pragma once

#include <cstddef>
#include <string>

#include "actionruledaemon.h"

/// A number at its default and an empty text admit every camera.
struct CamFilterRule {
  bool includeDisabled = true;
  bool ptzOnly = false;         ///< only cameras that pan, tilt or zoom
  bool audioOnly = false;       ///< only cameras whose audio is recorded
  bool skipConfiguring = true;  ///< leave out cameras that a user is configuring: they may be gone or moved in a moment
  bool motionOnly = false;      ///< only cameras whose motion detection is on
  bool httpsOnly = false;
  bool newestFirst = false;  ///< in descending order of the host ids

  int offset = 0;  ///< number of fitting cameras to skip
  int limit = 0;   ///< number of cameras to list after them; 0: all

  int ownerZrId = IsCmsHost() ? -1 : 0;  ///< a CMS host lists the cameras of all servers, others list their own

  int id = -1;
  int idOnRecServer = -1;
  int channel = -1;
  int port = -1;
  int status = -1;
  int motionSource = -1;
  int liveProfile = -1;
  int recordingProfile = -1;
  int mobileProfile = -1;

  int ptzCapability = 0;  ///< bits that a camera must have

  int motionEventType = -1;
  int tamperingEventType = -1;
  int audioEventType = -1;
  int disconnectEventType = -1;

  int deviceStatusFlags = 0;  ///< bits that a camera must have

  int retentionDays = -1;

  std::string name;
  std::string vendor;
  std::string model;
  std::string firmwareVersion;
  std::string macAddress;
  std::string host;
  std::string rtspPath;
  std::string videoCodec;
  std::string resolution;
  std::string audioCodec;
  std::string timeZone;
  std::string note;
  std::string nameContains;
  std::string hostContains;
  std::string noteContains;
};

// Other libraries fill in this rule by place.
static_assert(sizeof(CamFilterRule) == 88 + 15 * sizeof(std::string));
static_assert(offsetof(CamFilterRule, skipConfiguring) == 3 && offsetof(CamFilterRule, ownerZrId) == 16);
