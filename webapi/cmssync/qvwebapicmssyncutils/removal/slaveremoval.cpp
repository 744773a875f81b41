#include "removal/slaveremoval.h"

#include <string>
#include <string_view>

#include "frame/logmessage.h"
#include "shared/actruledapi.h"
#include "slavedata.h"

namespace {

/// A format with the server's id as its only argument, checked at compile time.
struct Message {
  // NOLINTNEXTLINE(google-explicit-constructor): a table row states the text itself
  consteval Message(const char* text) : format(text) {
    const std::string_view view(text);
    if (view.find('%') != view.find("%d") || view.find('%') != view.rfind('%') || !view.ends_with("\n")) {
      throw "not a message about one server";
    }
  }
  const char* format;
};

enum class Gate { Level1, None };

struct DeviceStep {
  int (*run)(int zr_id);
  Message message;  ///< on failure
  Gate gate;        ///< for the message
};

// A controller that is not deleted still opens doors, so its message is written at every log level.
constexpr DeviceStep kDeviceSteps[] = {
    {CamDelByZrId, "Fail to delete all database data that belong to rec_server[%d]\n", Gate::Level1},
    {IOModuleDelByZrId, "Fail to delete all iomodule database data that belong to rec_server[%d]\n", Gate::Level1},
    {POSDelByZrId, "Fail to delete all POS database data that belong to rec_server[%d]\n", Gate::Level1},
    {SpeakerDelByZrId, "Fail to delete all speaker database data that belong to rec_server[%d]\n", Gate::Level1},
    {CtrlerDelByZrId, "Fail to delete all Controller database data that belong to rec_server[%d]\n", Gate::None},
    {DelRecShareByZrId, "Fail to delete all recording storage that belong to rec_server[%d]\n", Gate::Level1},
};

int DeleteEventMounts(int zr_id) { return OperateAllEvtMntByZrId(EVENT_MNT_DELETE_ALL, zr_id); }

/// Makes the daemon drop the server's rules. The server is the device of the command, so the command names no owner.
int DeleteActionRules(int zr_id) {
  return ActRuledApi::SendCmd<DEVICE_STATUS>(ACTRULED_CMD_DEVICE_STATUS, DEVICE_SRC_REC_SERVER, std::to_string(zr_id),
                                             DEVICE_STATUS_DELETED, false, 0, false);
}

enum class Failure { Counts, Logged };

struct RelationStep {
  int (*run)(int zr_id);
  Message message;  ///< on failure; written at every log level
  Failure failure;
};

// The recording shares use the message of the event exports: one search of the log finds both kinds of lost recordings.
constexpr RelationStep kRelationSteps[] = {
    {DelAllEmapItemByZrId, "Failed to delete all emap items of slave zr[%d].\n", Failure::Counts},
    {DelLayoutAllItems, "Failed to delete all camera items of slave zr[%d].\n", Failure::Counts},
    {DelSlaveZRFromAllPrivProfile, "Failed to delete slave zr[%d] from all privilege profile\n", Failure::Counts},
    {DelMigrationByZrId, "Failed to delete camera migration of rec_server[%d]\n", Failure::Counts},
    {CamDelByZrId, "Failed to delete database data that belong to rec_server[%d]\n", Failure::Counts},
    {DelAllCamGrpCamByZrId, "Failed to delete cams of rec_server[%d] in all camera groups\n", Failure::Counts},
    {DeleteEventMounts, "Failed to delete event mounts of rec_server[%d]\n", Failure::Counts},
    {DelEvtExpByZrId, "Failed to delete event exports of rec_server[%d]\n", Failure::Counts},
    {IOModuleDelByZrId, "Failed to delete IOmodule database data that belong to rec_server[%d]\n", Failure::Counts},
    {POSDelByZrId, "Fail to delete all POS database data that belong to rec_server[%d]\n", Failure::Logged},
    {SpeakerDelByZrId, "Fail to delete all Speaker database data that belong to rec_server[%d]\n", Failure::Logged},
    {CtrlerDelByZrId, "Fail to delete all Controller database data that belong to rec_server[%d]\n", Failure::Logged},
    {DelRecShareByZrId, "Failed to delete event exports of rec_server[%d]\n", Failure::Counts},
    {DeleteActionRules, "Failed to delete action rule of rec_server[%d].\n", Failure::Logged},
    {ResetDoorLayoutItemByZrId, "Failed to reset door layout item of rec_server[%d].\n", Failure::Logged},
};

}  // namespace

void RemoveSlaveDevices(int zr_id) {
  for (const DeviceStep& step : kDeviceSteps) {
    if (step.run(zr_id) == 0) continue;
    if (step.gate == Gate::None) {
      CMS_LOG_ALWAYS("RemoveSlaveData", step.message.format, zr_id);
    } else {
      CMS_LOG(1, "RemoveSlaveData", step.message.format, zr_id);
    }
  }
}

int RemoveSlaveRelations(int zr_id) {
  int result = 0;
  for (const RelationStep& step : kRelationSteps) {
    if (step.run(zr_id) == 0) continue;
    CMS_LOG_ALWAYS("SyncRelatedTableForSlaveDel", step.message.format, zr_id);
    if (step.failure == Failure::Counts) result = -1;
  }
  return result;
}
