#include "changes.h"

#include <algorithm>

#include "output.h"
#include "record/table.h"

namespace qvcms {

using qv::db::UnitOfWork;
using qv::record::ListedRow;

namespace {

constexpr std::int64_t kFewDevices = 10;  ///< fewer may all go without asking

bool IsExcessive(std::int64_t removed, std::int64_t before) { return before >= kFewDevices && 2 * removed > before; }

std::string Share(std::int64_t removed, std::int64_t before, std::string_view what) {
  return std::to_string(removed) + " of " + std::to_string(before) + ' ' + std::string(what);
}

const Kind* KindOfTable(std::string_view table) {
  for (const Kind& kind : Kinds()) {
    if (kind.table->name() == table) return &kind;
  }
  return nullptr;
}

/// What the kind of a table is called on the command line, or would be.
std::string NameOf(std::string_view table) {
  if (const Kind* kind = KindOfTable(table)) return std::string(kind->name);
  std::string name(table);
  std::replace(name.begin(), name.end(), '_', '-');
  return name;
}

bool IsChange(const UnitOfWork::Count& count) { return count.added + count.updated + count.removed > 0; }

ListedRow MakeRow(std::string_view kind, const UnitOfWork::Count& count, const Json::Value& unchanged) {
  return {{"kind", Json::Value(std::string(kind))},
          {"added", Json::Value(count.added)},
          {"updated", Json::Value(count.updated)},
          {"removed", Json::Value(count.removed)},
          {"unchanged", unchanged}};
}

}  // namespace

ChangeReport::ChangeReport(const UnitOfWork& work, int zr) : work_(&work), zr_(zr) {
  for (const Kind& kind : Kinds()) {
    if (kind.role != Role::Outbox) before_[&kind] = CountRows(kind, zr);
  }
}

ChangeReport::Rows ChangeReport::CountRows(const Kind& kind, int zr) {
  return {kind.table->Count(RowsOf(kind, zr)), kind.table->Count(RowsOf(kind, 0))};
}

UnitOfWork::Count ChangeReport::CountOf(const Kind& kind) const {
  UnitOfWork::Count count{.kind = kind.table->name()};
  for (const UnitOfWork::Count& changed : work_->counts()) {
    if (changed.kind == count.kind) count = changed;
  }
  // What went with a device that it referred to was deleted by the database, uncounted.
  if (const auto before = before_.find(&kind); before != before_.end()) {
    const Rows after = CountRows(kind, zr_);
    count.removed =
        static_cast<int>(before->second.owned + before->second.shared + count.added - after.owned - after.shared);
  }
  return count;
}

std::string ChangeReport::Text(Format format, const std::vector<Fault>& unused) const {
  std::vector<ListedRow> rows;
  for (const Kind& kind : Kinds()) {
    const UnitOfWork::Count count = CountOf(kind);
    if (kind.role == Role::Outbox) {  // some messages are about no single slave, so nobody knows how many waited
      rows.push_back(MakeRow(kind.name, count, Json::Value()));
      continue;
    }
    const std::int64_t unchanged = std::max<std::int64_t>(0, before_.at(&kind).owned - count.updated - count.removed);
    if (kind.role == Role::Settings && !IsChange(count) && unchanged == 0) continue;
    rows.push_back(MakeRow(kind.name, count, Json::Value(static_cast<Json::Int64>(unchanged))));
  }
  // Rows of the host's own that speak of the slave.
  for (const UnitOfWork::Count& count : work_->counts()) {
    if (KindOfTable(count.kind) != nullptr || !IsChange(count)) continue;
    rows.push_back(MakeRow(NameOf(count.kind), count, Json::Value()));
  }
  if (format == Format::Json) {
    const std::vector<ListedRow> unused_rows = UnusedRows(unused);
    rows.insert(rows.end(), unused_rows.begin(), unused_rows.end());
  }
  return FormatRows(format, {"kind", "added", "updated", "removed", "unchanged"}, rows, true) +
         (format == Format::Table ? UnusedText(unused) : "");
}

std::string ChangeReport::RemovalText(Format format) const {
  std::vector<ListedRow> rows;
  for (const UnitOfWork::Count& count : work_->counts()) {
    if (count.removed + count.updated == 0) continue;
    rows.push_back({{"kind", Json::Value(NameOf(count.kind))},
                    {"removed", Json::Value(count.removed)},
                    {"updated", Json::Value(count.updated)}});
  }
  return FormatRows(format, {"kind", "removed", "updated"}, rows, true);
}

bool ChangeReport::HasChanges() const {
  return std::any_of(work_->counts().begin(), work_->counts().end(), [](const UnitOfWork::Count& count) {
    const Kind* kind = KindOfTable(count.kind);
    return IsChange(count) && (kind == nullptr || kind->role != Role::Outbox);
  });
}

std::string ChangeReport::ExcessiveRemovals() const {
  std::string text;
  std::int64_t all_before = 0;
  std::int64_t all_removed = 0;
  for (const Kind& kind : Kinds()) {
    if (kind.role != Role::Device) continue;
    const std::int64_t before = before_.at(&kind).owned;
    const std::int64_t removed = CountOf(kind).removed;
    all_before += before;
    all_removed += removed;
    if (IsExcessive(removed, before)) text += Share(removed, before, kind.name) + ", ";
  }
  if (text.empty() && !IsExcessive(all_removed, all_before)) return "";
  return text + Share(all_removed, all_before, "devices in all");
}

}  // namespace qvcms
