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

/// The turn of those who delete messages or set them aside. They do not wait for calls for a server, nor these for
/// them.
constexpr int kOutboxTurn = -1;
constexpr std::size_t kDiscarded = 1000;  ///< at a time
/// Deletions that a power cut may take back: waiting for the disk with each would slow down the delivery, and a
/// receiver remembers so many messages only.
constexpr std::size_t kMostAtRisk = 4000;

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

/// Runs "`before` (ID,ID,...) `after`" for some of the ids at a time, in a unit of work. @return how many rows changed
std::size_t RunFor(std::span<const std::int64_t> ids, const std::string& before, const std::string& after = "") {
  constexpr std::size_t kAtOnce = 1000;
  std::int64_t changed = 0;
  while (!ids.empty()) {
    const auto part = ids.first(std::min(kAtOnce, ids.size()));
    std::string statement = before + " (";
    for (const std::int64_t id : part) statement.append(id == part.front() ? "" : ",").append(std::to_string(id));
    changed += db::ThisThread().Execute(statement.append(") ").append(after));
    ids = ids.subspan(part.size());
  }
  return static_cast<std::size_t>(changed);
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

/// The target as a part of a file's name. The end of a long one becomes a number that tells it from others (FNV-1a).
std::string FileNameOf(const std::string& target) {
  constexpr std::string_view kHex = "0123456789abcdef";
  constexpr std::size_t kLongest = 200;
  std::string name;
  for (const char letter : target) {
    if ((letter >= 'a' && letter <= 'z') || (letter >= '0' && letter <= '9') || letter == '-') {
      name += letter;
    } else {
      const auto byte = static_cast<unsigned char>(letter);
      name += {'_', kHex[byte / 16], kHex[byte % 16]};
    }
  }
  if (name.size() <= kLongest) return name;
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const char letter : target) hash = (hash ^ static_cast<unsigned char>(letter)) * 0x100000001b3;
  return name.substr(0, kLongest) + "_" + std::to_string(hash);
}

std::unique_ptr<OutboxClaim> ClaimFile(const std::filesystem::path& path) {
  files::FileDescriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
  if (file && flock(file.get(), LOCK_EX | LOCK_NB) == 0) return std::make_unique<FileClaim>(std::move(file));
  if (file && errno == EWOULDBLOCK) return nullptr;
  throw Refusal(RefusalCode::Unusable, "cannot lock " + path.string() + ": " + std::strerror(errno));
}

}  // namespace

std::string ToJson(const Message& message) {
  // Between the values of a JSON text these are as good as blanks. Within, they are escaped.
  std::string payload = message.payload.empty() ? "null" : message.payload;
  for (const char space : {'\n', '\r', '\t'}) std::replace(payload.begin(), payload.end(), space, ' ');
  std::string text = "{\"id\":" + std::to_string(message.id) + ",\"zr\":" + std::to_string(message.zr) +
                     ",\"target\":" + Quoted(message.target) + ",\"command\":" + Quoted(message.command) +
                     ",\"payload\":" + text::EscapeJson(payload) + ",\"time\":\"" + Timestamp(message.created) + '"';
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
    std::size_t bytes = 0;
    while (bytes < query.max_payload_bytes && rows.Next()) {
      const db::Statement& row = rows.Row();
      bytes += row.Text(4).size();
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

std::vector<std::string> Outbox::Targets(bool set_aside) const {
  return host::Guarded([&] {
    std::vector<std::string> targets;
    if (!host_.has_data_) return targets;
    // From one target to the next by the index: their number counts, not that of the messages.
    for (std::string last;;) {
      db::Query query = db::ThisThread().Prepare(std::string("SELECT target FROM message WHERE set_aside") +
                                                 (set_aside ? "<>" : "=") + "'' AND target>$1 ORDER BY target LIMIT 1");
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
    const bool is_synced = (at_risk_ += ids.size()) > kMostAtRisk;
    db::UnitOfWork work(kOutboxTurn, is_synced ? db::Durability::Power : db::Durability::Process);
    const std::size_t deleted = RunFor(ids, "DELETE FROM message WHERE id IN");
    work.Commit();
    if (is_synced) at_risk_ = 0;
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
    std::size_t retried = 0;
    for (const std::int64_t zr : Ids(condition.Prepare("SELECT DISTINCT zr_id", ""))) {
      Condition about_server = condition;
      about_server.Add("zr_id=", zr);
      // In the server's turn: else messages with smaller ids, which a call for it has not committed yet, would come
      // later.
      db::UnitOfWork work(zr == 0 ? kOutboxTurn : static_cast<int>(zr));
      const std::vector<std::int64_t> ids = Ids(about_server.Prepare("SELECT id", " ORDER BY id"));
      retried += RunFor(ids,
                        "INSERT INTO message (zr_id,target,command,payload,created,attempts) "
                        "SELECT zr_id,target,command,payload,created,attempts FROM message WHERE id IN",
                        "ORDER BY id");
      RunFor(ids, "DELETE FROM message WHERE id IN");
      db::RingOnCommit();
      work.Commit();
    }
    return retried;
  });
}

std::size_t Outbox::Discard(const std::string& target, milliseconds age, std::size_t number) {
  return host::Guarded([&] {
    const bool keeps_all = age.count() <= 0 && number == 0;
    if (!host_.has_data_ || keeps_all) return std::size_t{0};
    const auto too_old = std::chrono::duration_cast<milliseconds>((system_clock::now() - age).time_since_epoch());
    const std::string of_target = " FROM message WHERE set_aside='' AND target=$1 ORDER BY id ";
    const std::string too_many =
        number == 0 ? "" : " OR id<=(SELECT id" + of_target + "DESC LIMIT 1 OFFSET " + LimitText(number) + ")";
    db::Query query = db::ThisThread().Prepare("SELECT id FROM (SELECT id,created" + of_target + "LIMIT " +
                                               LimitText(kDiscarded) + ") AS first WHERE created<$2" + too_many);
    query.Bind(std::string_view(target)).Bind(age.count() > 0 ? too_old.count() : 0);
    const std::vector<std::int64_t> ids = Ids(std::move(query));
    if (ids.empty()) return std::size_t{0};
    const auto claim = TryClaim(target);
    return claim ? Delete(ids) : 0;
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

OutboxBell::OutboxBell(Host& host) {
  host::Guarded([&] {
    host.RequireData();
    bell_ = db::ThisThread().connection().MakeBell();
  });
}

OutboxBell::~OutboxBell() = default;

int OutboxBell::descriptor() const { return bell_->descriptor(); }

void OutboxBell::Clear() {
  host::Guarded([&] { bell_->Clear(); });
}

}  // namespace qv
