/// The recording servers (slaves) that the host manages.
#pragma once

#include <list>
#include <optional>
#include <string>

#include "taggedfield.h"

// Fields 2 to 24 are the last status report (slavezrstatus.h says what they mean) and have its names.
#define SLAVE_ZR_FIELDS(FIELD)                                                   \
  FIELD(SlaveZRData, int, ZrId, "id", HostId)                                    \
  FIELD(SlaveZRData, std::string, ZrModel, "model", HostOnly)                    \
  FIELD(SlaveZRData, int, Status, "status", HostOnly)                            \
  FIELD(SlaveZRData, int, PkgStatus, "pkg_status", HostOnly)                     \
  FIELD(SlaveZRData, int, VolStatus, "vol_status", HostOnly)                     \
  FIELD(SlaveZRData, int, CamCnt, "cam_count", HostOnly)                         \
  FIELD(SlaveZRData, int, IOModCnt, "iomodule_count", HostOnly)                  \
  FIELD(SlaveZRData, int, TransDevCnt, "trans_dev_count", HostOnly)              \
  FIELD(SlaveZRData, int, SpeakerDevCnt, "speaker_dev_count", HostOnly)          \
  FIELD(SlaveZRData, int, DoorCnt, "acs_door_count", HostOnly)                   \
  FIELD(SlaveZRData, double, VolSpace, "vol_space", HostOnly)                    \
  FIELD(SlaveZRData, bool, isBeta, "is_beta", HostOnly)                          \
  FIELD(SlaveZRData, bool, blCmsLocked, "cms_locked", HostOnly)                  \
  FIELD(SlaveZRData, bool, blCmsMasked, "cms_masked", HostOnly)                  \
  FIELD(SlaveZRData, bool, blHasAAC, "has_aac", HostOnly)                        \
  FIELD(SlaveZRData, bool, blHasHEVC, "has_hevc", HostOnly)                      \
  FIELD(SlaveZRData, int, ORUPkgStatus, "oru_pkg_status", HostOnly)              \
  FIELD(SlaveZRData, bool, blRecEncryptEnabled, "rec_encrypt_enabled", HostOnly) \
  FIELD(SlaveZRData, int, LoginError, "login_error", HostOnly)                   \
  FIELD(SlaveZRData, std::string, strCookie, "cookie", Secret)                   \
  FIELD(SlaveZRData, std::string, strSerialNum, "serial_num", HostOnly)          \
  FIELD(SlaveZRData, std::string, strTarnVersion, "tarn_version", HostOnly)      \
  FIELD(SlaveZRData, std::string, strQVVersion, "qv_version", HostOnly)          \
  FIELD(SlaveZRData, std::string, strDPVersion, "dp_version", HostOnly)          \
  FIELD(SlaveZRData, int, RecoverProgress, "recover_progress", HostOnly)         \
  FIELD(SlaveZRData, std::string, LastReport, "last_report", HostOnly) /* UTC, ISO 8601; empty: none yet */

QV_DECLARE_FIELDS(SlaveZRData, SLAVE_ZR_FIELDS)

/// One slave as the host knows it.
class SlaveZR : public TaggedRecord<SlaveZRData::Fields> {};

/// @return the slave with this id; none when the host does not know it or the row cannot be read
std::optional<SlaveZR> SlaveZRLoad(int zrId);
/// Writes the slave's row, a new one if there is none. @return 0 on success, -1 on failure
int SlaveZRSave(const SlaveZR& slave);
