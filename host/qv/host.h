/// A CMS host inside your program: it keeps a database true to its recording servers (slaves) by the JSON documents
/// that they send.
///
///     #include <qv/host.h>
///
///     qv::Host host({.data_folder = "/srv/host"});
///     host.Pair(7, qv::Document::ReadFile("pair.json"), {.model = "QVA-3216"});
///     const qv::ImportResult result = host.Update(7, qv::Document::Parse(text));
///     for (const qv::KindChanges& kind : result.changes) use(kind.kind, kind.added, kind.updated, kind.removed);
///     for (const qv::Row& row : host.List({.kind = "camera", .zr = 7}).rows) use(row);
///
/// Order: make the `Host` before anything else uses the data folder, then call from any thread, then destroy it when no
/// call is under way. A process has one host at a time; after its destruction it may make another one. Do not use a
/// host in a child after fork().
///
/// Threads: every member function of `Host` may be called from any number of threads at once. Calls that write wait for
/// one another, also across processes, and each is a unit of work: all that it does is there or nothing of it, whatever
/// happens. Calls that read wait for nobody and see whole units of work. Each thread that calls gets a connection to
/// the database of its own, which is closed when the thread ends: use a pool of threads rather than a thread per call.
/// A `Document` is read without any host and may be shared by threads.
///
/// Errors: what a call cannot or will not do it throws as a `Refusal`, and then nothing is applied, except that the
/// file of a server's stream keys (RTSP) may have changed. Besides, only `std::bad_alloc` and, for a second host in the
/// process, `std::logic_error` come out. A single operation that fails, such as a row that the database refuses, fails
/// alone: the rest is applied, the result counts it, and the log tells what it was.
///
/// The log has a line for every failure, and for changes according to the level. No line, result or error text holds a
/// password or a stream key.
///
/// Building: C++20, with find_package(qvwebapicmssync) and qv::host, or pkg-config qvhost; examples/embed is a whole
/// program. Standard containers and `Json::Value` cross the interface: a program must be built against the same C++
/// library (libstdc++ with its C++11 ABI, GCC 12 or later) and the same jsoncpp (libjsoncpp.so.25) as this library.
/// Within a major version of the library (its SONAME) programs need not be built again.
#pragma once

#include <json/value.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#define QV_HOST_API __attribute__((visibility("default")))

namespace qv {

/// Why something was refused. New codes may be added at the end.
enum class RefusalCode {
  BadArgument,         ///< a server id below 1, an unknown kind, a limit of 0
  UnreadableDocument,  ///< no such file, not strict JSON, not an object, over a limit
  WrongDocumentKind,   ///< a status report in place of a snapshot, or the other way round
  EmptyDocument,       ///< nothing that a document of the kind has
  WrongType,           ///< a value of the wrong type
  TooManyRemovals,     ///< an update would remove more than half of ten or more devices
  UnknownServer,       ///< a status report of a server that was never paired
  UnknownDevice,       ///< there is no such device
  NotRemoved,          ///< a server could not be removed whole, so nothing of it was
  NotAHost,            ///< the folder holds something else
  Busy,                ///< another writer did not finish in time
  Unusable,            ///< the data folder or the log file cannot be opened: rights, damage, a newer version
  Failed,              ///< the database failed: a full disk, an input error
};

/// The code for programs, such as "wrong-type".
QV_HOST_API std::string_view NameOf(RefusalCode code);

/// What a call throws. `what()` is one sentence for people, which starts with the place if there is one.
class QV_HOST_API Refusal : public std::runtime_error {
 public:
  Refusal(RefusalCode code, const std::string& reason, const std::string& place = "", std::size_t line = 0,
          std::size_t column = 0);
  ~Refusal() override;

  RefusalCode code() const { return code_; }
  /// Where in the document: "POS_info[2].id". Empty: not about a single value.
  const std::string& place() const { return place_; }
  /// Where in the document's text, counted from 1; 0: unknown. The column counts characters.
  std::size_t line() const { return line_; }
  std::size_t column() const { return column_; }

 private:
  RefusalCode code_;
  std::string place_;
  std::size_t line_;
  std::size_t column_;
};

/// Something in a document that is not as it must be.
struct Fault {
  std::string place;   ///< such as "cam_count" or "POS_info[2].status"
  std::string reason;  ///< such as "an integer is expected"
};

enum class DocumentKind {
  Snapshot,      ///< configuration: what it does not list is gone
  StatusReport,  ///< state of the server and of devices that the host has already
  Neither,       ///< nothing that either of them has, such as {"error":"unauthorized"}
};

/// Bounds of a document. Reading and applying it takes up to 400 bytes of memory per value and four times its size.
struct DocumentLimits {
  static constexpr std::size_t kMaxDepth = 1000;      ///< of any document
  std::size_t depth = 64;                             ///< arrays and objects within one another
  std::size_t size = std::size_t{256} * 1024 * 1024;  ///< bytes of text
  std::size_t values = 10'000'000;                    ///< the document, and all elements and members in it
};

/// A JSON object that a server sent, read strictly and looked through once. Immutable; copies share the value.
class QV_HOST_API Document {
 public:
  /// Reads UTF-8 text: one object and nothing after it, no member twice. Throws `Refusal` (UnreadableDocument) with
  /// line and column.
  static Document Parse(std::string_view text, const DocumentLimits& limits = {});
  /// Reads a file, or standard input for "-". Throws as `Parse`.
  static Document ReadFile(const std::string& path, const DocumentLimits& limits = {});
  /// Takes a value. Throws `Refusal` (UnreadableDocument) for one that is no object, or that no JSON text gives: with
  /// texts that are not UTF-8, or numbers that are not finite.
  explicit Document(Json::Value value);

  const Json::Value& value() const;
  /// What the document is, by what is in it: a section that only snapshots have, or a device with configuration (a
  /// name, an address) makes a snapshot; otherwise a member about the server's state, or a device with nothing but its
  /// state, makes a report; otherwise any section makes a snapshot. The server's state and counts together always make
  /// a report if no section is one of snapshots only.
  DocumentKind kind() const;

  /// Throws the `Refusal` (WrongDocumentKind, EmptyDocument, WrongType) that `Host::Pair` and `Host::Update` would
  /// throw for the document, before any host is opened. @param may_be_empty  see `ImportOptions::allow_removals`
  void RequireSnapshot(bool may_be_empty = false) const;
  /// The same for `Host::Status`.
  void RequireStatusReport() const;

 private:
  struct Content;
  Document() = default;
  std::shared_ptr<const Content> content_;
};

/// How far a call has come.
struct Progress {
  std::string_view kind;   ///< of rows that are being written, such as "camera"
  std::int64_t done = 0;   ///< rows of the kind that were added, updated or removed so far
  std::int64_t total = 0;  ///< entries that the document has of it
};

/// Called on the calling thread about ten times a second at most. Must not throw, nor call the host.
using ProgressCallback = std::function<void(const Progress&)>;

struct ImportOptions {
  /// Model of the server, in UTF-8; it is remembered. None: the one remembered.
  std::optional<std::string> model = std::nullopt;
  /// Apply a snapshot however much it removes, and one without any section.
  bool allow_removals = false;
  ProgressCallback progress = nullptr;
};

/// What became of the rows of one kind.
struct KindChanges {
  std::string kind;
  int added = 0;
  int updated = 0;
  int removed = 0;
  std::optional<std::int64_t> unchanged = std::nullopt;  ///< none: not counted
};

/// What a call did that changes rows.
struct ChangeResult {
  std::vector<KindChanges> changes;
  std::vector<Fault> unused;  ///< entries of the document that could not be used; the rest was
  int failed_operations = 0;  ///< the log tells which; the rest was applied
  int failed_files = 0;       ///< files that could not be written yet; later calls try again
  std::chrono::microseconds took{0};
};

struct ImportResult : ChangeResult {
  bool has_changes = false;  ///< whether rows were added, updated or removed; messages are none of these
  /// Of `Host::Plan`: why `Host::Update` would refuse the document without `ImportOptions::allow_removals`.
  std::vector<Refusal> refusals;
};

struct StatusResult : ChangeResult {
  /// The filled status record of the server, by the names of its members. The session cookie is masked.
  std::vector<std::pair<std::string, Json::Value>> record;
};

struct RemoveResult : ChangeResult {
  bool was_held = false;  ///< false: nothing was held for the server, and nothing was done
};

/// A row by its columns. Secrets are left out.
using Row = std::vector<std::pair<std::string, Json::Value>>;

/// A kind of rows that can be listed.
struct KindInfo {
  std::string_view name;                  ///< "camera", "pos", "message" ...
  std::vector<std::string_view> columns;  ///< the most telling ones
  std::vector<std::string_view> all_columns;
};

struct ListQuery {
  std::string kind;
  std::optional<int> zr = std::nullopt;  ///< only what belongs to this server
  std::int64_t after = 0;                ///< only rows with greater ids
  std::size_t limit = 100;               ///< rows of a page
  /// Show members that a server reported without the host knowing them with their values, not only by name.
  bool extra_values = false;
};

struct Page {
  std::vector<Row> rows;              ///< in the order of their ids
  std::optional<std::int64_t> after;  ///< for the query of the next page; none: this was the last one
};

/// A message to another service, as it waits in the outbox.
struct Message {
  std::int64_t id = 0;
  int zr = 0;           ///< server that it is about; 0: no single one
  std::string target;   ///< "msgd", "qvactruled", "client", "hostd", "cms-host"
  std::string command;  ///< what the target is to do
  Json::Value payload;
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
  std::filesystem::path file = {};  ///< lines are appended to it; empty: to none
  bool to_stderr = true;
  /// Takes the lines in place of file and standard error, one at a time, from any thread. Must not call the host.
  std::function<void(const LogLine&)> sink = nullptr;
};

enum class Durability {
  PowerCut,  ///< what a call reports as done survives a power cut
  Process,   ///< faster; a power cut may undo the last calls, each as a whole
};

struct HostOptions {
  std::filesystem::path data_folder;
  /// Make the folder and the database when they are missing. Otherwise a missing host is one that holds nothing: calls
  /// that would fill it throw `Refusal` (NotAHost), the others work, and nothing is written.
  bool make_if_missing = true;
  Durability durability = Durability::PowerCut;
  std::chrono::milliseconds busy_timeout{10'000};  ///< how long a call that writes waits for others
  LogOptions log = {};
};

class QV_HOST_API Host {
 public:
  /// Opens the host's data, and brings an older version's up to date. Throws `Refusal` (Unusable, Busy; NotAHost when
  /// the folder holds something else and is not to be made a host).
  explicit Host(const HostOptions& options);
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  /// Whether there is a host in the folder; not if the folder is missing or empty. Throws `Refusal` (NotAHost) when the
  /// folder holds something else.
  static bool IsIn(const std::filesystem::path& data_folder);
  /// Whether users other than the owner get into the data folder, which holds the passwords of devices.
  bool IsOpenToOthers() const;

  /// Takes over the configuration of a server that has just been paired. A repeated pairing updates and removes no
  /// device. Throws `Refusal` as `Document::RequireSnapshot` does.
  ImportResult Pair(int zr, const Document& snapshot, const ImportOptions& options = {});
  /// Makes the host agree with a snapshot: adds, updates, and removes what the server no longer reports. Throws
  /// `Refusal` as `Document::RequireSnapshot` does, and TooManyRemovals.
  ImportResult Update(int zr, const Document& snapshot, const ImportOptions& options = {});
  /// What `Update` would do; changes nothing. `allow_removals` plays no part.
  ImportResult Plan(int zr, const Document& snapshot, const ImportOptions& options = {});
  /// Applies a status report of a server that has been paired. Throws `Refusal` as `Document::RequireStatusReport`
  /// does, and UnknownServer.
  StatusResult Status(int zr, const Document& report, const ProgressCallback& progress = nullptr);
  /// Deletes everything that is held for a server. Throws `Refusal` (NotRemoved).
  RemoveResult Remove(int zr);
  /// Marks a device as being configured on the host, so that no server overwrites it, or as free again.
  /// @param kind  one of `ConfigurableKinds`; throws `Refusal` (UnknownDevice) if there is no device `id`
  ChangeResult SetConfiguring(std::string_view kind, int id, bool on);
  static std::span<const std::string_view> ConfigurableKinds();

  /// The kinds of rows.
  static std::span<const KindInfo> Kinds();
  /// One page. Costs a page, whatever its place.
  Page List(const ListQuery& query) const;
  /// Hands all pages of `query.limit` rows to `take`, until that returns false. All show one state of the database;
  /// memory is needed for one page. Let `take` be quick: what others commit meanwhile is kept apart until it is done.
  void ForEachPage(const ListQuery& query, const std::function<bool(const std::vector<Row>&)>& take) const;
  /// The servers that were paired, as `List` gives them.
  std::vector<Row> Servers() const;

  /// Messages that wait for a target (empty: for any), in order. Deliver them one after the other, and delete them
  /// then.
  std::vector<Message> Messages(std::string_view target, std::size_t limit = 100) const;
  /// Deletes messages that were delivered. @return how many there were
  std::size_t DeleteMessages(std::span<const std::int64_t> ids);

 private:
  void RequireData() const;

  const std::filesystem::path data_folder_;
  const bool has_data_;
};

}  // namespace qv
