/// A CMS host inside your program: it keeps a database in agreement with its recording servers (slaves) by the JSON
/// documents that they send.
///
///     #include <qv/host.h>
///
///     qv::Host host({.data_folder = "/srv/host"});
///     host.Pair(7, qv::Document::ReadFile("pair.json"), {.model = "QVA-3216"});
///     const qv::ImportResult result = host.Update(7, qv::Document::Parse(text));
///     for (const qv::KindChanges& kind : result.changes) use(kind.kind, kind.added, kind.updated, kind.removed);
///     for (const qv::Row& row : host.List({.kind = "camera", .zr = 7}).rows) use(row);
///
/// Order of calls:
/// 1. Construct the `Host`. A process has one at a time.
/// 2. Call it from any thread.
/// 3. Destroy it when no call is running. The process may construct another one then.
/// Do not use a host in a child process after fork().
///
/// Threads: all member functions of `Host` are thread-safe, except the destructor. Calls that write run one after the
/// other, also across processes; with PostgreSQL those for different servers run at the same time. Each of them is a
/// unit of work: all of its changes are stored or none. Calls that read do not wait; they see whole units of work. Each
/// calling thread has its own connection to the database, which closes when the thread ends: use a pool of threads
/// rather than a thread per call. A `Document` needs no host; threads may share it.
///
/// Errors: a call that fails throws a `Refusal`. Nothing is applied then, except that the file with a server's stream
/// keys (RTSP) may have changed. Apart from that, calls throw `std::bad_alloc`, and what a callback throws;
/// constructing a second host throws `std::logic_error`. A single operation that fails, such as a row that the database
/// refuses, does not end the call: the rest is applied, the result counts the failure, and the log describes it.
///
/// Log: one line for each failure, and for each change if the level is high enough. No line, result or error text
/// contains a password or a stream key; at level 7 one contains the session cookie of a server.
///
/// Building: C++20, with find_package(qvwebapicmssync) and qv::host, or with pkg-config qvhost. A program must use the
/// same libstdc++ and the same jsoncpp as this library. See docs/embedding.md.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "document.h"

namespace qv {

/// How far a call has come.
struct Progress {
  std::string_view kind;   ///< of rows that are being written, such as "camera"
  std::int64_t done = 0;   ///< rows of the kind that were added, updated or removed so far
  std::int64_t total = 0;  ///< entries of the kind in the document
};

/// Runs on the calling thread, at most ten times a second. Must not throw and must not call the host.
using ProgressCallback = std::function<void(const Progress&)>;

struct ImportOptions {
  /// Model of the server, in UTF-8; the host stores it. None: the stored one.
  std::optional<std::string> model = std::nullopt;
  /// Apply a snapshot that removes more than half of the devices, or that has no section.
  bool allow_removals = false;
  ProgressCallback progress = nullptr;
};

/// How many rows of one kind a call changed.
struct KindChanges {
  std::string kind;
  int added = 0;
  int updated = 0;
  int removed = 0;
  std::optional<std::int64_t> unchanged = std::nullopt;  ///< none: not counted
};

/// The result of a call that changes rows.
struct ChangeResult {
  std::vector<KindChanges> changes;
  std::vector<Fault> unused;  ///< entries of the document that could not be used; the rest was applied
  int failed_operations = 0;  ///< the log describes them; the rest was applied
  int failed_files = 0;       ///< files that could not be written; later calls try again
  std::chrono::microseconds took{0};
  /// How often the call waited for a PostgreSQL server until its commit. Calls that commit together have no numbers of
  /// their own.
  std::uint64_t round_trips = 0;
};

struct ImportResult : ChangeResult {
  bool has_changes = false;  ///< whether rows other than messages were added, updated or removed
  /// From `Host::Plan`: why `Host::Update` would refuse the document without `ImportOptions::allow_removals`.
  std::vector<Refusal> refusals;
};

struct StatusResult : ChangeResult {
  /// The filled status record of the server, by the names of its members. The session cookie is masked.
  std::vector<std::pair<std::string, Json::Value>> record;
};

struct ConfiguringResult : ChangeResult {
  int zr = 0;  ///< the server of the device
};

struct RemoveResult : ChangeResult {
  bool was_held = false;  ///< false: the host had nothing of the server
};

/// Columns and their values, without secrets.
using Row = std::vector<std::pair<std::string, Json::Value>>;

/// A kind of rows that can be listed.
struct KindInfo {
  std::string_view name;                  ///< "camera", "pos", "message" ...
  std::vector<std::string_view> columns;  ///< the most useful ones
  std::vector<std::string_view> all_columns;
  bool has_state = false;  ///< servers report the state of such a device
};

struct ListQuery {
  std::string kind;
  std::optional<int> zr = std::nullopt;  ///< only rows of this server
  std::int64_t after = 0;                ///< only rows with greater ids
  std::size_t limit = 100;               ///< rows of a page, at least 1
  /// Only rows in which these columns have these values; a number is written in decimal digits, true and false as 1
  /// and 0. Columns of texts and whole numbers that `KindInfo::all_columns` names.
  std::vector<std::pair<std::string, std::string>> equal = {};
  /// Only rows with this text in what people know a device by: name, vendor, model, addresses, serial number. ASCII
  /// letters match in either case.
  std::string search = {};
  bool not_well = false;  ///< only devices whose state, as last reported, is not 1 (well)
  /// Whether members that the host has no column for are shown with their values; otherwise only with their names.
  bool extra_values = false;
};

struct Page {
  std::vector<Row> rows;              ///< in the order of their ids
  std::optional<std::int64_t> after;  ///< `ListQuery::after` of the next page; none: this is the last one
};

/// Counts over all that the host holds.
struct Statistics {
  /// Messages that wait for a target.
  struct Waiting {
    std::string target;
    std::int64_t count = 0;
    std::chrono::system_clock::time_point oldest;  ///< when the first of them was written
    std::int64_t set_aside = 0;                    ///< messages that do not wait, since they were refused
  };
  /// Devices of a kind that were last reported in a state.
  struct Devices {
    std::string kind;
    std::int64_t status = 0;  ///< as servers number it; 1 is well
    std::int64_t count = 0;
  };
  std::vector<Waiting> messages;
  std::vector<Devices> devices;
  std::int64_t database_bytes = 0;
};

/// What the host holds of one server, in numbers.
struct ServerCounts {
  struct Devices {
    std::string kind;
    std::int64_t all = 0;
    std::int64_t not_well = 0;  ///< last reported in another state than 1
  };
  std::vector<Devices>
      devices;                ///< by kind, of the kinds whose state servers report; without those that it has none of
  std::int64_t messages = 0;  ///< that wait and are about it
};

/// A server that no longer reports, or does so again.
struct SilenceChange {
  int zr = 0;
  bool is_silent = false;
  std::chrono::system_clock::time_point since;  ///< when it was last heard of
};

struct LogLine {
  std::chrono::system_clock::time_point time;
  std::string level;
  std::string category;
  std::string file;
  int line = 0;
  std::string function;
  std::string text;  ///< one line, control characters escaped
};

/// The log of the process.
struct LogOptions {
  int level = 3;  ///< least severe level that is written, 0 to 7: 1 failures, 3 removals, 5 changes, 7 dumps
  std::filesystem::path file = {};  ///< lines are appended to this file; empty: no file
  /// The file is rotated before it grows beyond this many bytes: host.log becomes host.1.log, host.1.log becomes
  /// host.2.log, and so on. 0: never. Only one process may log to a file that is rotated.
  std::size_t max_file_size = 0;
  std::size_t kept_files = 4;  ///< rotated files that are kept
  bool to_stderr = true;
  /// Receives the lines, which then go neither to the file nor to standard error. Runs on any thread, for one line at a
  /// time, until the host is destroyed. Must not throw and must not call the host.
  std::function<void(const LogLine&)> sink = nullptr;
};

enum class Durability {
  PowerCut,  ///< a call that has returned survives a power cut
  Process,   ///< faster; a power cut may undo the last calls, each as a whole
};

struct HostOptions {
  /// Of this machine: the database, if it is not elsewhere, and the files that the host makes.
  std::filesystem::path data_folder;
  /// Connection URI of a PostgreSQL database ("postgresql://qvhost@db.example/qv"), which hosts on several machines may
  /// share, each with a data folder of its own. Empty: an SQLite database in the data folder.
  std::string database = {};
  /// Whether a missing folder or database is made. If not, a missing host is empty: `Pair`, `Update` and `Plan` throw
  /// `Refusal` (NotAHost), other calls find nothing, and nothing is written.
  bool make_if_missing = true;
  Durability durability = Durability::PowerCut;
  std::chrono::milliseconds busy_timeout{10'000};  ///< how long a call that writes waits for other writers
  LogOptions log = {};
};

class QV_HOST_API Host {
 public:
  /// Opens the data folder. Data of an older version is brought up to date. Throws
  /// - `Refusal`: BadArgument, Unusable, Busy; NotAHost if the folder contains something else and `make_if_missing` is
  ///   false
  /// - `std::logic_error` if the process has a host already.
  explicit Host(const HostOptions& options);
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  /// Whether the folder contains a host; false if it is missing or empty. Throws `Refusal` (NotAHost) if it contains
  /// something else.
  static bool IsIn(const std::filesystem::path& data_folder);
  /// The same for the database that the options name. Throws `Refusal` (Unusable) also if that cannot be reached.
  static bool IsIn(const HostOptions& options);
  /// Copies everything that the host of `from` holds into that of `to`, which must be empty or missing: from SQLite to
  /// PostgreSQL or back. The capability files are made again from the rows. No host may be open in this process, and
  /// none elsewhere should write to `from`. Throws `Refusal` (NotAHost, Busy, Unusable, Failed); `to` holds no rows
  /// then.
  static void Migrate(const HostOptions& from, const HostOptions& to);
  /// Whether users other than the owner can enter the data folder, which contains the passwords of devices.
  bool IsOpenToOthers() const;

  // All calls below throw `Refusal` (BadArgument, Busy, Unusable, Failed). Those that take a document also throw what
  // `Document::RequireSnapshot` or `Document::RequireStatusReport` throws.

  /// Imports the configuration of a server that has just been paired. Pairing it again updates devices, but removes
  /// none.
  ImportResult Pair(int zr, const Document& snapshot, const ImportOptions& options = {});
  /// Makes the host agree with a snapshot: adds, updates, and removes what the server no longer reports. Throws
  /// `Refusal` (TooManyRemovals) too.
  ImportResult Update(int zr, const Document& snapshot, const ImportOptions& options = {});
  /// What `Update` would do. Changes nothing; ignores `allow_removals`.
  ImportResult Plan(int zr, const Document& snapshot, const ImportOptions& options = {});
  /// Applies a status report of a server that has been paired. Throws `Refusal` (UnknownServer) too.
  StatusResult Status(int zr, const Document& report, const ProgressCallback& progress = nullptr);
  /// Deletes all data of a server. Throws `Refusal` (NotRemoved) too.
  RemoveResult Remove(int zr);
  /// Marks a device as being configured on the host, so that no document changes it, or removes the mark. Throws
  /// `Refusal` (UnknownDevice) too.
  /// @param kind  one of `ConfigurableKinds`
  /// @param id    of the device on the host
  ConfiguringResult SetConfiguring(std::string_view kind, int id, bool on);
  static std::span<const std::string_view> ConfigurableKinds();

  /// The outcome of one call of `Together`.
  struct Outcome {
    std::optional<Refusal> refusal = std::nullopt;
    int failed_files = 0;  ///< instead of `ChangeResult::failed_files` of the call's result
  };
  /// Makes several calls with one commit, so that the disk is synced once. Each function calls this host once, on this
  /// thread, and throws only `Refusal`. Each call is refused or applied by itself, as if it were alone. The results of
  /// the calls are final when this returns: if the common commit fails, the calls are made again one by one.
  std::vector<Outcome> Together(std::span<const std::function<void()>> calls);

  /// The kinds of rows.
  static std::span<const KindInfo> Kinds();
  /// Reads one page. The time that it takes does not depend on the place of the page.
  Page List(const ListQuery& query) const;
  /// Calls `take` with every page of `query.limit` rows until it returns false. All pages show the same state of the
  /// database. Needs the memory of one page. Meanwhile the database keeps all changes of other calls in a separate
  /// file, so `take` should be quick; it must not call functions that change the host.
  void ForEachPage(const ListQuery& query, const std::function<bool(const std::vector<Row>&)>& take) const;
  /// The servers that were paired, as `List` returns them.
  std::vector<Row> Servers() const;

  /// Counts. Reads a row of every device and message, so do not ask too often.
  qv::Statistics Statistics() const;
  /// The same for each server, by its id. Servers without devices and messages are left out.
  std::map<int, ServerCounts> CountByServer() const;

  /// Puts a message about each change into the outbox, for the target "client": the command is "slave-silent" or
  /// "slave-well", the payload has `zr` and `since`, in seconds since 1970.
  void TellSilence(std::span<const SilenceChange> changes);

 private:
  friend class Outbox;
  friend class OutboxBell;
  /// Makes sure that the process has one host. Lives longer than the rest of it, and resets the log.
  struct OnlyOne {
    OnlyOne();
    ~OnlyOne();
  };
  void RequireData() const;
  bool CommitTogether(std::span<const std::function<void()>> calls, std::vector<Outcome>& outcomes);

  const OnlyOne only_one_;
  const std::filesystem::path data_folder_;
  const bool has_data_;
};

}  // namespace qv
