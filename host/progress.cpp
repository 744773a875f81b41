#include "progress.h"

#include <chrono>

#include "changes.h"
#include "schema/kinds.h"

namespace qv::host {
namespace {

constexpr std::chrono::milliseconds kInterval{100};

/// How many entries the document has that become rows of the table.
std::int64_t EntriesFor(std::string_view table, const Json::Value& document) {
  const char* const section = schema::KindOf(table).section.name;
  return section == nullptr ? 0 : document[section].size();
}

}  // namespace

ProgressReport::ProgressReport(const Document& document, const ProgressCallback& callback) {
  if (!callback) return;
  observer_.emplace(
      [&document, &callback, last = std::chrono::steady_clock::now()](const db::UnitOfWork::Count& count) mutable {
        const auto now = std::chrono::steady_clock::now();
        if (now - last < kInterval) return;
        last = now;
        const std::int64_t total = EntriesFor(count.kind, document.value());
        if (total == 0) return;
        const std::string name = NameOfKind(count.kind);
        callback({.kind = name, .done = std::int64_t{count.added} + count.updated + count.removed, .total = total});
      });
}

}  // namespace qv::host
