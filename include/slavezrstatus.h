/// The periodic status of a recording server (slave), as the host keeps it.
///
/// Usage: set `ZrId`, fill the record with what is known so far (`SlaveZRStatusLoad`), hand it with the slave's report
/// to `SaveSlaveStatus`, store the result (`SlaveZRStatusSave`).
#pragma once

#include <string>

/// How the host and a slave stand to each other, as the slave's report says it.
enum SLAVE_ZR_CONN_STATUS : int {
  SLAVE_ZR_DISCONNECTED = 0,  ///< also for a report without "status"
  SLAVE_ZR_CONNECTED = 1,
  SLAVE_ZR_LOGIN_FAILED = 2,
  SLAVE_ZR_INCOMPATIBLE = 3,  ///< its version does not fit the host's
  SLAVE_ZR_RECOVERING = 4,    ///< connected, while recordings are being recovered
  SLAVE_ZR_SHUT_DOWN = 5,
};

/// Whether a slave with this status is online, so that the host uses what it reports of its devices.
bool IsZrOnlineSts(SLAVE_ZR_CONN_STATUS status);

/// The members of `SlaveZRStatus` in their order; `AT_ID` is the place of `ZrId`. For each: type, name, initial value,
/// key in a slave's report (none: only the host sets it) and type in the report.
#define SLAVE_ZR_STATUS_MEMBERS(MEMBER, AT_ID)                                                                   \
  MEMBER(int, Status, SLAVE_ZR_DISCONNECTED, "status", intValue) /* a SLAVE_ZR_CONN_STATUS, or a newer one */    \
  MEMBER(int, PkgStatus, 0, "pkg_status", intValue)              /* state of the recording package */            \
  MEMBER(int, VolStatus, 0, "vol_status", intValue)              /* state of the storage volume */               \
  AT_ID                                                                                                          \
  MEMBER(int, CamCnt, 0, "cam_count", intValue)                                                                  \
  MEMBER(int, IOModCnt, 0, "iomodule_count", intValue)                                                           \
  MEMBER(int, TransDevCnt, 0, "trans_dev_count", intValue) /* POS terminals */                                   \
  MEMBER(int, SpeakerDevCnt, 0, "speaker_dev_count", intValue)                                                   \
  MEMBER(int, DoorCnt, 0, "acs_door_count", intValue)                                                            \
  MEMBER(double, VolSpace, -1.0, "volSpace", realValue)       /* as the slave figures it; -1: it does not say */ \
  MEMBER(bool, isBeta, false, "is_beta", booleanValue)        /* runs a beta build */                            \
  MEMBER(bool, blCmsLocked, false, "cms_locked", stringValue) /* set by the text "true" */                       \
  MEMBER(bool, blCmsMasked, false, "cms_masked", stringValue)                                                    \
  MEMBER(bool, blHasAAC, false, "has_aac", booleanValue)   /* can handle AAC audio */                            \
  MEMBER(bool, blHasHEVC, false, "has_hevc", booleanValue) /* can handle HEVC video */                           \
  MEMBER(int, ORUPkgStatus, 0, "oru_pkg_status", intValue) /* state of the media-extension package */            \
  MEMBER(bool, blRecEncryptEnabled, false, "recEncryptEnabled", booleanValue)                                    \
  MEMBER(int, LoginError, 0, nullptr, nullValue)            /* of the host's last contact with the slave */      \
  MEMBER(std::string, strCookie, {}, "cookie", stringValue) /* a secret */                                       \
  MEMBER(std::string, strSerialNum, {}, "serial_num", stringValue)                                               \
  MEMBER(std::string, strTarnVersion, {}, "tarn_version", stringValue) /* of the operating system */             \
  MEMBER(std::string, strQVVersion, {}, "qv_version", stringValue)     /* of the recording package */            \
  MEMBER(std::string, strDPVersion, {}, "dp_version", stringValue)     /* of the device pack */                  \
  MEMBER(int, RecoverProgress, 0, "recover_progress", intValue)        /* of a recovery that is running, percent */

#define SLAVE_ZR_STATUS_MEMBER(TYPE, NAME, INITIAL, KEY, REPORTED) TYPE NAME = INITIAL;

/// One slave's status.
struct SlaveZRStatus {
  SLAVE_ZR_STATUS_MEMBERS(SLAVE_ZR_STATUS_MEMBER, int ZrId = 0;)  ///< ZrId: id of the slave in the CMS
};

#undef SLAVE_ZR_STATUS_MEMBER

/// Fills `record` with the status that is stored of slave `record.ZrId`.
/// @return 0; -1 when the host does not know the slave or cannot read its row: the record is unchanged
int SlaveZRStatusLoad(SlaveZRStatus& record);

/// Stores the status in the row of slave `record.ZrId`, with the present time as that of its last report.
/// @return 0; -1 when the host does not know the slave or cannot write its row
int SlaveZRStatusSave(const SlaveZRStatus& record);
