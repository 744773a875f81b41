#include "changes.h"

#include <algorithm>

#include "record/table.h"

namespace qv::host {

using db::UnitOfWork;

namespace {

const Kind* KindOfTable(std::string_view table) {
  for (const Kind& kind : AllKinds()) {
    if (kind.table->name() == table) return &kind;
  }
  return nullptr;
}

constexpr std::int64_t kFewDevices = 10;  ///< fewer may all go without asking

bool IsExcessive(std::int64_t removed, std::int64_t before) { return before >= kFewDevices && 2 * removed > before; }

std::string Share(std::int64_t removed, std::int64_t before, std::string_view what) {
  return std::to_string(removed) + " of " + std::to_string(before) + ' ' + std::string(what);
}

bool IsChange(const UnitOfWork::Count& count) { return count.added + count.updated + count.removed > 0; }

KindChanges ChangesOf(const UnitOfWork::Count& count) {
  return {.kind = NameOfKind(count.kind), .added = count.added, .updated = count.updated, .removed = count.removed};
}

}  // namespace

std::string NameOfKind(std::string_view table) {
  if (const Kind* kind = KindOfTable(table)) return std::string(kind->name);
  std::string name(table);
  std::replace(name.begin(), name.end(), '_', '-');
  return name;
}

std::vector<KindChanges> ChangesIn(const UnitOfWork& work) {
  std::vector<KindChanges> changes;
  for (const UnitOfWork::Count& count : work.counts()) {
    if (IsChange(count)) changes.push_back(ChangesOf(count));
  }
  return changes;
}

ChangeReport::ChangeReport(const UnitOfWork& work, int zr) : work_(&work), zr_(zr), before_(CountRows(zr)) {}

ChangeReport::RowsOfKinds ChangeReport::CountRows(int zr) {
  RowsOfKinds rows;
  std::vector<std::pair<std::int64_t*, db::Query>> sent;
  const auto read = [&] {
    for (auto& [count, query] : sent) {
      query.Next();
      *count = query.Row().Int(0);
    }
    sent.clear();
  };
  const bool travels = db::ThisThread().connection().IsSendingAhead();
  for (const auto& [owner, count] : {std::pair(zr, &Rows::owned), std::pair(0, &Rows::shared)}) {
    for (const Kind& kind : AllKinds()) {
      if (kind.role != Role::Outbox)
        sent.emplace_back(&(rows[&kind].*count), kind.table->SendCount(RowsOf(kind, owner)));
    }
    if (!travels) read();  // the same statements serve both
  }
  read();
  return rows;
}

UnitOfWork::Count ChangeReport::CountOf(const Kind& kind) const {
  UnitOfWork::Count count{.kind = kind.table->name()};
  for (const UnitOfWork::Count& changed : work_->counts()) {
    if (changed.kind == count.kind) count = changed;
  }
  // What went with a device that it referred to was deleted by the database, uncounted.
  if (const auto before = before_.find(&kind); before != before_.end()) {
    if (!after_) after_ = CountRows(zr_);
    const Rows after = after_->at(&kind);
    count.removed =
        static_cast<int>(before->second.owned + before->second.shared + count.added - after.owned - after.shared);
  }
  return count;
}

std::vector<KindChanges> ChangeReport::OfImport() const {
  std::vector<KindChanges> changes;
  for (const Kind& kind : AllKinds()) {
    const UnitOfWork::Count count = CountOf(kind);
    KindChanges of_kind = ChangesOf(count);
    if (kind.role != Role::Outbox) {  // some messages are about no single slave, so nobody knows how many waited
      of_kind.unchanged = std::max<std::int64_t>(0, before_.at(&kind).owned - count.updated - count.removed);
      if (kind.role == Role::Settings && !IsChange(count) && *of_kind.unchanged == 0) continue;
    }
    changes.push_back(std::move(of_kind));
  }
  // Rows of the host's own that refer to the slave.
  for (const UnitOfWork::Count& count : work_->counts()) {
    if (KindOfTable(count.kind) == nullptr && IsChange(count)) changes.push_back(ChangesOf(count));
  }
  return changes;
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
  for (const Kind& kind : AllKinds()) {
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

}  // namespace qv::host
