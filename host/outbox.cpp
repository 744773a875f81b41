#include "qv/outbox.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "files/descriptor.h"
#include "guard.h"
#include "qv/json.h"
#include "text/escape.h"
#include "timestamp.h"

namespace qv {
namespace {

using std::chrono::milliseconds;
using std::chrono::system_clock;

/// Deletions take turns with one another, and with nobody else's calls for a server.
constexpr int kOutboxTurn = -1;
constexpr std::size_t kDiscarded = 1000;  ///< at a time

std::string Quoted(std::string_view text) { return ToJson(Json::Value(std::string(text)), true); }

/// A condition on messages, with its parameters in order.
class Condition {
 public:
  Condition(const MessageQuery& query, bool set_aside) : text_(set_aside ? "set_aside<>''" : "set_aside=''") {
    if (!query.target.empty()) {
      text_ += " AND target=$" + std::to_string(++parameters_);
      target_ = query.target;
    }
    if (query.zr) Add("zr_id=", *query.zr);
  }
  void Add(const char* comparison, std::int64_t number) {
    text_.append(" AND ").append(comparison).append("$").append(std::to_string(++parameters_));
    numbers_.push_back(number);
  }
  const std::string& text() const { return text_; }
  db::Query Prepare(const std::string& before, const std::string& after) const {
    db::Query query = db::ThisThread().Prepare(before + " FROM message WHERE " + text_ + after);
    if (target_) query.Bind(std::string_view(*target_));
    for (const std::int64_t number : numbers_) query.Bind(number);
    return query;
  }

 private:
  std::string text_;
  int parameters_ = 0;
  std::optional<std::string> target_;
  std::vector<std::int64_t> numbers_;
};

std::string LimitText(std::size_t limit) { return std::to_string(std::min<std::size_t>(limit, INT32_MAX)); }

std::vector<std::int64_t> Ids(db::Query query) {
  std::vector<std::int64_t> ids;
  while (query.Next()) ids.push_back(query.Row().Int(0));
  return ids;
}

std::string List(std::span<const std::int64_t> ids) {
  std::string text = "(";
  for (const std::int64_t id : ids) text += (text.size() == 1 ? "" : ",") + std::to_string(id);
  return text + ')';
}

/// In a unit of work.
std::size_t DeleteRows(std::span<const std::int64_t> ids) {
  constexpr std::size_t kAtOnce = 1000;
  std::int64_t deleted = 0;
  while (!ids.empty()) {
    const auto part = ids.first(std::min(kAtOnce, ids.size()));
    deleted += db::ThisThread().Execute("DELETE FROM message WHERE id IN " + List(part));
    ids = ids.subspan(part.size());
  }
  return static_cast<std::size_t>(deleted);
}

/// The lock of a file, which the system gives up when the process dies.
class FileClaim : public OutboxClaim {
 public:
  explicit FileClaim(files::FileDescriptor file) : file_(std::move(file)) {}
  bool Holds() override { return true; }

 private:
  files::FileDescriptor file_;
};

/// The lock of a session of the server, which the server gives up when the session ends.
class AdvisoryClaim : public OutboxClaim {
 public:
  explicit AdvisoryClaim(const std::string& target) : target_("outbox " + target) {}
  ~AdvisoryClaim() override {
    try {
      if (!session_.empty()) Unlock();
    } catch (const std::exception&) {
      // The session is gone, and the lock with it.
    }
  }
  AdvisoryClaim(const AdvisoryClaim&) = delete;
  AdvisoryClaim& operator=(const AdvisoryClaim&) = delete;
  /// A lost connection is made again unnoticed, as another session: it may get the lock, if nobody else has it by now.
  bool Holds() override {
    return host::Guarded([&] {
      std::string session;
      {
        db::Query query = db::ThisThread().Prepare(
            "SELECT pg_try_advisory_lock(hashtextextended(current_schema()||$1,0)),pg_backend_pid()");
        if (!query.Bind(std::string_view(target_)).Next() || query.Row().Text(0) != "t") return false;
        session = query.Row().Text(1);
      }
      if (session == session_) Unlock();  // a session that has the lock gets it once more
      session_ = session;
      return true;
    });
  }

 private:
  void Unlock() const {
    db::Query query = db::ThisThread().Prepare("SELECT pg_advisory_unlock(hashtextextended(current_schema()||$1,0))");
    query.Bind(std::string_view(target_)).Next();
  }

  const std::string target_;
  std::string session_;  ///< that got the lock; empty: none has
};

/// The target as a part of a file's name.
std::string FileNameOf(const std::string& target) {
  constexpr std::string_view kHex = "0123456789abcdef";
  std::string name;
  for (const char letter : target) {
    if ((letter >= 'a' && letter <= 'z') || (letter >= '0' && letter <= '9') || letter == '-') {
      name += letter;
    } else {
      const auto byte = static_cast<unsigned char>(letter);
      name += {'_', kHex[byte / 16], kHex[byte % 16]};
    }
  }
  return name;
}

std::unique_ptr<OutboxClaim> ClaimFile(const std::filesystem::path& path) {
  files::FileDescriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
  if (file && flock(file.get(), LOCK_EX | LOCK_NB) == 0) return std::make_unique<FileClaim>(std::move(file));
  if (file && errno == EWOULDBLOCK) return nullptr;
  throw Refusal(RefusalCode::Unusable, "cannot lock " + path.string() + ": " + std::strerror(errno));
}

}  // namespace

std::string ToJson(const Message& message) {
  std::string text = "{\"id\":" + std::to_string(message.id) + ",\"zr\":" + std::to_string(message.zr) +
                     ",\"target\":" + Quoted(message.target) + ",\"command\":" + Quoted(message.command) +
                     ",\"payload\":" + text::EscapeJson(message.payload.empty() ? "null" : message.payload) +
                     ",\"time\":\"" + Timestamp(message.created) + '"';
  if (message.attempts > 0) text += ",\"attempts\":" + std::to_string(message.attempts);
  if (!message.set_aside.empty()) text += ",\"set_aside\":" + Quoted(message.set_aside);
  return text + '}';
}

Outbox::Outbox(Host& host) : host_(host) {}

std::vector<Message> Outbox::Read(const MessageQuery& query) const {
  return host::Guarded([&] {
    std::vector<Message> messages;
    if (!host_.has_data_) return messages;
    Condition condition(query, query.set_aside);
    condition.Add("id>", query.after);
    db::Query rows = condition.Prepare("SELECT id,zr_id,target,command,payload,created,attempts,set_aside",
                                       " ORDER BY id LIMIT " + LimitText(query.limit));
    while (rows.Next()) {
      const db::Statement& row = rows.Row();
      messages.push_back({.id = row.Int(0),
                          .zr = static_cast<int>(row.Int(1)),
                          .target = std::string(row.Text(2)),
                          .command = std::string(row.Text(3)),
                          .payload = std::string(row.Text(4)),
                          .created = system_clock::time_point(milliseconds(row.Int(5))),
                          .attempts = static_cast<int>(row.Int(6)),
                          .set_aside = std::string(row.Text(7))});
    }
    return messages;
  });
}

std::vector<std::string> Outbox::Targets() const {
  return host::Guarded([&] {
    std::vector<std::string> targets;
    if (!host_.has_data_) return targets;
    // From one target to the next by the index: their number counts, not that of the messages.
    for (std::string last;;) {
      db::Query query = db::ThisThread().Prepare(
          "SELECT target FROM message WHERE set_aside='' AND target>$1 ORDER BY target LIMIT 1");
      query.Bind(std::string_view(last));
      if (!query.Next()) return targets;
      last = query.Row().Text(0);
      targets.push_back(last);
    }
  });
}

std::vector<Message> Outbox::Oldest() const {
  std::vector<Message> oldest;
  for (const std::string& target : Targets()) {
    for (Message& message : Read({.target = target, .limit = 1})) oldest.push_back(std::move(message));
  }
  return oldest;
}

// NOLINTNEXTLINE(readability-make-member-function-const): it changes the host
std::size_t Outbox::Delete(std::span<const std::int64_t> ids) {
  return host::GuardedAgain([&] {
    if (!host_.has_data_ || ids.empty()) return std::size_t{0};
    db::UnitOfWork work(kOutboxTurn);
    const std::size_t deleted = DeleteRows(ids);
    work.Commit();
    return deleted;
  });
}

// NOLINTNEXTLINE(readability-make-member-function-const): it changes the host
bool Outbox::SetAside(std::int64_t id, const std::string& reason) {
  return host::GuardedAgain([&] {
    if (!host_.has_data_) return false;
    const std::string text = text::EscapeLine(reason.empty() ? "refused" : reason);
    db::UnitOfWork work(kOutboxTurn);
    const std::int64_t changed =
        db::ThisThread()
            .Prepare("UPDATE message SET set_aside=$1,attempts=attempts+1 WHERE id=$2 AND set_aside=''")
            .Bind(std::string_view(text))
            .Bind(id)
            .Run();
    work.Commit();
    return changed > 0;
  });
}

// NOLINTNEXTLINE(readability-make-member-function-const): it changes the host
std::size_t Outbox::Retry(const MessageQuery& query, int max_attempts) {
  return host::GuardedAgain([&] {
    if (!host_.has_data_) return std::size_t{0};
    Condition condition(query, true);
    if (max_attempts > 0) condition.Add("attempts<", max_attempts);
    // Mostly there are none, and no turn to write is needed.
    if (Ids(condition.Prepare("SELECT id", " LIMIT 1")).empty()) return std::size_t{0};
    db::UnitOfWork work(kOutboxTurn);
    const std::vector<std::int64_t> ids =
        Ids(condition.Prepare("SELECT id", " ORDER BY id LIMIT " + LimitText(query.limit)));
    if (!ids.empty()) {
      db::ThisThread().Execute(
          "INSERT INTO message (zr_id,target,command,payload,created,attempts) "
          "SELECT zr_id,target,command,payload,created,attempts FROM message WHERE id IN " +
          List(ids) + " ORDER BY id");
    }
    DeleteRows(ids);
    db::RingOnCommit();
    work.Commit();
    return ids.size();
  });
}

std::size_t Outbox::Discard(const std::string& target, milliseconds age, std::size_t number) {
  return host::Guarded([&] {
    if (!host_.has_data_ || target.empty()) return std::size_t{0};
    const MessageQuery of_target{.target = target};
    std::size_t excess = 0;
    if (number > 0) {
      const auto count = Ids(Condition(of_target, false).Prepare("SELECT count(*)", ""));
      excess = static_cast<std::size_t>(count[0]) - std::min(number, static_cast<std::size_t>(count[0]));
    }
    std::vector<std::int64_t> ids;
    if (excess > 0) {
      ids = Ids(Condition(of_target, false)
                    .Prepare("SELECT id", " ORDER BY id LIMIT " + LimitText(std::min(excess, kDiscarded))));
    } else if (age.count() > 0) {
      const auto time = std::chrono::duration_cast<milliseconds>((system_clock::now() - age).time_since_epoch());
      db::Query query = db::ThisThread().Prepare(
          "SELECT id FROM (SELECT id,created FROM message WHERE set_aside='' AND target=$1 ORDER BY id LIMIT " +
          LimitText(kDiscarded) + ") AS first WHERE created<$2");
      ids = Ids(std::move(query.Bind(std::string_view(target)).Bind(time.count())));
    }
    return Delete(ids);
  });
}

std::unique_ptr<OutboxClaim> Outbox::TryClaim(const std::string& target) {
  return host::Guarded([&]() -> std::unique_ptr<OutboxClaim> {
    host_.RequireData();
    if (db::ThisThread().connection().dialect() == db::Dialect::Sqlite) {
      return ClaimFile(host_.data_folder_ / ("outbox-" + FileNameOf(target) + ".lock"));
    }
    auto claim = std::make_unique<AdvisoryClaim>(target);
    if (!claim->Holds()) return nullptr;
    return claim;
  });
}

struct OutboxBell::State {
  std::unique_ptr<db::Bell> bell;
};

OutboxBell::OutboxBell(Host& host) {
  host::Guarded([&] {
    host.RequireData();
    state_ = std::make_unique<State>();
    state_->bell = db::ThisThread().connection().MakeBell();
  });
}

OutboxBell::~OutboxBell() = default;

int OutboxBell::descriptor() const { return state_->bell->descriptor(); }

void OutboxBell::Clear() {
  host::Guarded([&] { state_->bell->Clear(); });
}

}  // namespace qv
