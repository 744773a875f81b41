#include "outbox.h"

#include "../record/attempt.h"
#include "qvjson.h"
#include "taggedfield.h"

struct MessageData {
  enum Fields : int { FIELD_COUNT = 5 };
};

// The server is no owner: a message outlives it, and an index by server would be written with every message.
#define MESSAGE_FIELDS(FIELD)                                      \
  FIELD(MessageData, 0, int, Id, "id", HostId)                     \
  FIELD(MessageData, 1, int, ZrId, "zr_id", HostOnly)              \
  FIELD(MessageData, 2, std::string, Target, "target", HostOnly)   \
  FIELD(MessageData, 3, std::string, Command, "command", HostOnly) \
  FIELD(MessageData, 4, JsonText, Payload, "payload", HostOnly)

MESSAGE_FIELDS(QV_TAGGED_FIELD)

namespace qv::messages {
namespace {

class Message : public TaggedRecord<MessageData::Fields> {};
using Table = record::Table<Message, MessageData::Fields>;

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
    Messages().Save(message);
  });
}

}  // namespace qv::messages
