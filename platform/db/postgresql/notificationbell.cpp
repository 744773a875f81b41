#include "db/postgresql/notificationbell.h"

namespace qv::db {
namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds kBetweenAttempts{1};

}  // namespace

NotificationBell::NotificationBell(const std::string& url, const std::string& channel)
    : pipeline_(url, "LISTEN " + channel) {
  if (const auto failure = pipeline_.Flush()) throw Error(Error::Kind::Unusable, "LISTEN: " + failure->reason);
}

int NotificationBell::descriptor() {
  if (pipeline_.IsLost() && Clock::now() - tried_at_ >= kBetweenAttempts) {
    tried_at_ = Clock::now();
    if (pipeline_.Reconnect()) pipeline_.Flush();
  }
  return pipeline_.IsLost() ? -1 : PQsocket(pipeline_.get());
}

void NotificationBell::Clear() {
  PQconsumeInput(pipeline_.get());
  while (PGnotify* const notification = PQnotifies(pipeline_.get())) PQfreemem(notification);
}

}  // namespace qv::db
