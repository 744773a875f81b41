#include "messages/outbox.h"

#include <chrono>

#include "db/database.h"
#include "qvjson.h"
#include "record/attempt.h"
#include "taggedfield.h"

// The server is no owner: a message outlives it, and an index by server would be written with every message.
#define MESSAGE_FIELDS(FIELD)                                    \
  FIELD(MessageData, int, Id, "id", HostId)                      \
  FIELD(MessageData, int, ZrId, "zr_id", HostOnly)               \
  FIELD(MessageData, std::string, Target, "target", HostOnly)    \
  FIELD(MessageData, std::string, Command, "command", HostOnly)  \
  FIELD(MessageData, JsonText, Payload, "payload", HostOnly)     \
  FIELD(MessageData, std::int64_t, Created, "created", HostOnly) \
  FIELD(MessageData, int, Attempts, "attempts", HostOnly)        \
  FIELD(MessageData, std::string, SetAside, "set_aside", HostOnly)

QV_DECLARE_FIELDS(MessageData, MESSAGE_FIELDS)

namespace qv::messages {
namespace {

class Message : public TaggedRecord<MessageData::Fields> {};
using Table = record::Table<Message>;

const Table& Messages() {
  static const Table table("message");
  return table;
}

}  // namespace

const record::AnyTable& MessageTable() { return Messages(); }

int Post(int zr_id, std::string_view target, std::string_view command, const Json::Value& payload) {
  return record::Attempt("Failed to send a message about server [{}]", zr_id, [&] {
    Message message;
    message.SetZrId(zr_id);
    message.SetTarget(std::string(target));
    message.SetCommand(std::string(command));
    message.SetPayload({JsonWrite(payload, true)});
    message.SetCreated(
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch())
            .count());
    Messages().SaveLater(message);
    db::RingOnCommit();
  });
}

}  // namespace qv::messages
