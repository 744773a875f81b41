/// The recording servers (slaves) that the host manages.
#pragma once

#include <list>
#include <optional>
#include <string>

#include "taggedfield.h"

struct SlaveZRData {
  enum Fields : int { FIELD_COUNT = 26 };
};

// Fields 2 to 24 are the last status report (slavezrstatus.h says what they mean) and have its names.
#define SLAVE_ZR_FIELDS(FIELD)                                                       \
  FIELD(SlaveZRData, 0, int, ZrId, "id", HostId)                                     \
  FIELD(SlaveZRData, 1, std::string, ZrModel, "model", HostOnly)                     \
  FIELD(SlaveZRData, 2, int, Status, "status", HostOnly)                             \
  FIELD(SlaveZRData, 3, int, PkgStatus, "pkg_status", HostOnly)                      \
  FIELD(SlaveZRData, 4, int, VolStatus, "vol_status", HostOnly)                      \
  FIELD(SlaveZRData, 5, int, CamCnt, "cam_count", HostOnly)                          \
  FIELD(SlaveZRData, 6, int, IOModCnt, "iomodule_count", HostOnly)                   \
  FIELD(SlaveZRData, 7, int, TransDevCnt, "trans_dev_count", HostOnly)               \
  FIELD(SlaveZRData, 8, int, SpeakerDevCnt, "speaker_dev_count", HostOnly)           \
  FIELD(SlaveZRData, 9, int, DoorCnt, "acs_door_count", HostOnly)                    \
  FIELD(SlaveZRData, 10, double, VolSpace, "vol_space", HostOnly)                    \
  FIELD(SlaveZRData, 11, bool, isBeta, "is_beta", HostOnly)                          \
  FIELD(SlaveZRData, 12, bool, blCmsLocked, "cms_locked", HostOnly)                  \
  FIELD(SlaveZRData, 13, bool, blCmsMasked, "cms_masked", HostOnly)                  \
  FIELD(SlaveZRData, 14, bool, blHasAAC, "has_aac", HostOnly)                        \
  FIELD(SlaveZRData, 15, bool, blHasHEVC, "has_hevc", HostOnly)                      \
  FIELD(SlaveZRData, 16, int, ORUPkgStatus, "oru_pkg_status", HostOnly)              \
  FIELD(SlaveZRData, 17, bool, blRecEncryptEnabled, "rec_encrypt_enabled", HostOnly) \
  FIELD(SlaveZRData, 18, int, LoginError, "login_error", HostOnly)                   \
  FIELD(SlaveZRData, 19, std::string, strCookie, "cookie", Secret)                   \
  FIELD(SlaveZRData, 20, std::string, strSerialNum, "serial_num", HostOnly)          \
  FIELD(SlaveZRData, 21, std::string, strTarnVersion, "tarn_version", HostOnly)      \
  FIELD(SlaveZRData, 22, std::string, strQVVersion, "qv_version", HostOnly)          \
  FIELD(SlaveZRData, 23, std::string, strDPVersion, "dp_version", HostOnly)          \
  FIELD(SlaveZRData, 24, int, RecoverProgress, "recover_progress", HostOnly)         \
  FIELD(SlaveZRData, 25, std::string, LastReport, "last_report", HostOnly) /* UTC, ISO 8601; empty: none yet */

SLAVE_ZR_FIELDS(QV_TAGGED_FIELD)

/// One slave as the host knows it.
class SlaveZR : public TaggedRecord<SlaveZRData::Fields> {};

/// @return the slave with this id; none when the host does not know it or the row cannot be read
std::optional<SlaveZR> SlaveZRLoad(int zrId);
/// Writes the slave's row, a new one if there is none. @return 0 on success, -1 on failure
int SlaveZRSave(const SlaveZR& slave);
