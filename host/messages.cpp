/// The outbox, for programs that deliver it.

#include <algorithm>
#include <limits>

#include "guard.h"
#include "json/document.h"
#include "messages/outbox.h"

namespace qv {

std::vector<Message> Host::Messages(std::string_view target, std::size_t limit) const {
  return host::Guarded([&] {
    std::vector<Message> messages;
    if (!has_data_) return messages;
    const bool any = target.empty();
    db::Query query = db::ThisThread().Prepare(
        "SELECT id,zr_id,target,command,payload FROM message" + std::string(any ? "" : " WHERE target=$1") +
        " ORDER BY id LIMIT " + std::to_string(std::min<std::size_t>(limit, std::numeric_limits<int>::max())));
    if (!any) query.Bind(target);
    while (query.Next()) {
      const db::Statement& row = query.Row();
      messages.push_back({.id = row.Int(0),
                          .zr = static_cast<int>(row.Int(1)),
                          .target = std::string(row.Text(2)),
                          .command = std::string(row.Text(3)),
                          .payload = json::ReadDocument(row.Text(4), {})});
    }
    return messages;
  });
}

// NOLINTNEXTLINE(readability-make-member-function-const): it changes the host
void Host::TellSilence(std::span<const SilenceChange> changes) {
  host::Guarded([&] {
    if (!has_data_ || changes.empty()) return;
    db::UnitOfWork work;
    for (const SilenceChange& change : changes) {
      Json::Value payload(Json::objectValue);
      payload["zr"] = change.zr;
      payload["since"] =
          Json::Int64{std::chrono::duration_cast<std::chrono::seconds>(change.since.time_since_epoch()).count()};
      if (messages::Post(change.zr, messages::kClients, change.is_silent ? "slave-silent" : "slave-well", payload) !=
          0) {
        throw Refusal(RefusalCode::Failed,
                      "the message about server " + std::to_string(change.zr) + " cannot be written");
      }
    }
    work.Commit();
  });
}

// NOLINTNEXTLINE(readability-make-member-function-const): it changes the host
std::size_t Host::DeleteMessages(std::span<const std::int64_t> ids) {
  return host::Guarded([&] {
    if (!has_data_) return std::size_t{0};
    db::UnitOfWork work;
    std::int64_t deleted = 0;
    for (const std::int64_t id : ids) {
      deleted += db::ThisThread().Prepare("DELETE FROM message WHERE id=$1").Bind(id).Run();
    }
    work.Commit();
    return static_cast<std::size_t>(deleted);
  });
}

}  // namespace qv
