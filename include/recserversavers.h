/// Savers that take a whole section of a slave's configuration document. Each one stores the section for the slave
/// `zrId`, replacing what it stored before; what is equal is not written again. A section that is absent (null) or
/// has no entries leaves the slave without entries of that kind.
///
/// An entry may name devices of the slave by their ids there ("cam_id", "iomodule_id", "pos_id"); the stored entry is
/// tied to the host's copy of that device, and goes with it.
///
/// All return 0 on success and -1 on failure, after one log line; nothing of the section is stored then.
#pragma once

#include <json/value.h>

#include <string>

int SaveCamDetSettingFromRec(int zrId, const Json::Value& section);
int SaveCamDeviceOutputFromRec(int zrId, const Json::Value& section);
/// The recording shares, at pairing and in a snapshot.
int SaveRecShareFromRec(int zrId, const Json::Value& section);
int UpdateRecShareFromRec(int zrId, const Json::Value& section);
/// What the action rules know of the slave's access controllers: the section without its secrets.
int UpdateCtrlDataInActRule(int zrId, const Json::Value& section);
int SaveIOModuleSettingFromRec(int zrId, const Json::Value& section);
int SaveIOModuleCamPairingFromRec(int zrId, const Json::Value& section);
int SavePOSEventConfFromRecServer(int zrId, const Json::Value& section);

/// Importers of devices: every entry is added, or brings the row with its id on the slave up to date. An entry without
/// an id counts as one of id 0, as does a controller whose id is no integer; the id of any other device must fit an
/// int, or a `Json::Exception` leaves the function. Rows that the section does not name are left alone.
///
/// @param notify  tell the message daemon which devices came
int SavePOSFromRecServer(int zrId, const Json::Value& section, bool notify);
int SaveSpeakerFromRecServer(int zrId, const Json::Value& section);
/// Cameras, and the edge storage of those that report some.
/// @param evenConfiguring  overwrite cameras that a user is configuring on the host, too
/// @param note             given to new cameras that report no note of their own; empty: none
int SaveCamObjFromRecServer(int zrId, const Json::Value& section, bool evenConfiguring, bool notify,
                            const std::string& note);
int SaveIOModuleFromRecServer(int zrId, const Json::Value& section, bool notify);
/// Access controllers with their doors. Several entries with one id take the rows of that id in their order; what they
/// are more than the rows is added. After a list of the server's controllers (`GetAcsCtrlerListByRule` on the same
/// thread), the listed rows are the caller's: every entry that names one of them is added as one more controller.
int SaveCtrlerFromRec(int zrId, const Json::Value& section);
