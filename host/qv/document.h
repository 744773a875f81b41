/// The documents that servers send, and why calls refuse something. `host.h` includes this.
///
/// Threads: a `Document` may be shared by threads. Reading one needs no host.
#pragma once

#include <json/value.h>

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#define QV_HOST_API __attribute__((visibility("default")))

namespace qv {

/// Why a call was refused. Later versions may add codes at the end.
enum class RefusalCode {
  BadArgument,         ///< a server id below 1, an unknown kind, a limit of 0, a model that is not UTF-8
  UnreadableDocument,  ///< no such file, not strict JSON, not an object
  DocumentTooDeep,     ///< more than `DocumentLimits::depth`
  DocumentTooLarge,    ///< more than `DocumentLimits::size`
  TooManyValues,       ///< more than `DocumentLimits::values`
  WrongDocumentKind,   ///< a status report instead of a snapshot, or the reverse
  EmptyDocument,       ///< no member that such a document has
  WrongType,           ///< a value has the wrong type
  TooManyRemovals,     ///< an update would remove more than half of ten or more devices
  UnknownServer,       ///< a status report of a server that was never paired
  UnknownDevice,       ///< there is no such device
  NotRemoved,          ///< part of a server could not be removed, so nothing was
  NotAHost,            ///< the folder contains something else
  Busy,                ///< another writer did not finish in time
  Unusable,            ///< the data folder or the log file cannot be opened: permissions, damage, a newer version
  Failed,              ///< the database failed: a full disk, an input error
};

/// The name of a code for programs, such as "wrong-type".
QV_HOST_API std::string_view NameOf(RefusalCode code);

/// The exception that a call throws. `what()` is one sentence for people; it starts with the place if there is one.
class QV_HOST_API Refusal : public std::runtime_error {
 public:
  Refusal(RefusalCode code, const std::string& reason, const std::string& place = "", std::size_t line = 0,
          std::size_t column = 0);
  ~Refusal() override;

  RefusalCode code() const { return code_; }
  /// The value in the document: "POS_info[2].id". Empty if the refusal is not about a single value.
  const std::string& place() const { return place_; }
  /// The place in the document's text, counted from 1; 0 if unknown. The column counts characters.
  std::size_t line() const { return line_; }
  std::size_t column() const { return column_; }

 private:
  RefusalCode code_;
  std::string place_;
  std::size_t line_;
  std::size_t column_;
};

/// A fault in a document.
struct Fault {
  std::string place;   ///< such as "cam_count" or "POS_info[2].status"
  std::string reason;  ///< such as "an integer is expected"
};

enum class DocumentKind {
  Snapshot,      ///< the whole configuration: the server no longer has what it does not list
  StatusReport,  ///< the state of the server and of devices that the host knows
  Neither,       ///< no member of either kind, such as {"error":"unauthorized"}
};

/// Limits of a document. Reading and applying it takes up to 400 bytes of memory per value and four times its size.
struct DocumentLimits {
  static constexpr std::size_t kMaxDepth = 1000;      ///< `depth` has no effect beyond this
  std::size_t depth = 64;                             ///< nested arrays and objects
  std::size_t size = std::size_t{256} * 1024 * 1024;  ///< bytes of text
  std::size_t values = 10'000'000;                    ///< the document, and all elements and members in it
};

/// A JSON object that a server sent, read strictly and checked once. Immutable; copies share the value.
class QV_HOST_API Document {
 public:
  /// Reads UTF-8 text: one object, nothing after it, no member twice. Throws `Refusal` (UnreadableDocument,
  /// DocumentTooDeep, DocumentTooLarge, TooManyValues), with line and column where they are known.
  static Document Parse(std::string_view text, const DocumentLimits& limits = {});
  /// Reads a file, or standard input if `path` is "-". Throws as `Parse` does.
  static Document ReadFile(const std::string& path, const DocumentLimits& limits = {});
  /// Takes a value. Throws `Refusal` (UnreadableDocument) if it is not an object, or contains a text that is not UTF-8
  /// or a number that is not finite.
  explicit Document(Json::Value value);

  const Json::Value& value() const;
  /// The kind follows from the members:
  /// - A section that only snapshots have makes a snapshot.
  /// - Otherwise the server's state together with another member about the server makes a status report.
  /// - Otherwise a device with configuration (a name, an address) makes a snapshot.
  /// - Otherwise a member about the server, or a device with its state, makes a status report.
  /// - Otherwise any section makes a snapshot.
  DocumentKind kind() const;

  /// Throws the `Refusal` (WrongDocumentKind, EmptyDocument, WrongType) that `Host::Pair` and `Host::Update` would
  /// throw for the document. Needs no host.
  /// @param may_be_empty  true if an update with `ImportOptions::allow_removals` follows
  void RequireSnapshot(bool may_be_empty = false) const;
  /// Throws the `Refusal` that `Host::Status` would throw for the document. Needs no host.
  void RequireStatusReport() const;

 private:
  struct Content;
  Document() = default;
  std::shared_ptr<const Content> content_;
};

}  // namespace qv
