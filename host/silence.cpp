/// Messages about servers that no longer report.

#include "guard.h"
#include "messages/outbox.h"

namespace qv {

// NOLINTNEXTLINE(readability-make-member-function-const): it changes the host
void Host::TellSilence(std::span<const SilenceChange> changes) {
  host::GuardedAgain([&] {
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

}  // namespace qv
