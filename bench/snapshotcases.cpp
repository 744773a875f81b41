#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>

#include "cases.h"
#include "comparison.h"
#include "documents.h"
#include "host.h"
#include "json/document.h"
#include "rowloop.h"
#include "setmerge.h"
#include "snapshotfloor.h"

namespace bench {
namespace {

constexpr int kRepetitions = 9;

/// What a snapshot finds on the host.
enum class Change { Nothing, OnePercent, Everything, AllNew };

/// The library and its yardsticks before hosts that are equal in the beginning. Each turn applies the one document of
/// a pair and the next turn the other, so that every turn has the same changes to make.
class SnapshotScene {
 public:
  SnapshotScene(int count, int foreign_rows, Change change, qv::db::Durability durability = qv::db::Durability::Process)
      : change_(change),
        durability_(durability),
        host_(foreign_rows, durability),
        changed_rows_(change == Change::Nothing      ? 0
                      : change == Change::OnePercent ? count / 100
                                                     : count) {
    const int every = change == Change::OnePercent ? 100 : 1;
    documents_[0] = Snapshot(count, 0, every);
    documents_[1] = Snapshot(count, change == Change::Nothing ? 0 : 1, every);
    host_.Apply(documents_[0].value);
    digests_[0] = DigestOfCameras(host_.raw(), kZr);
    host_.Apply(documents_[1].value);
    digests_[1] = DigestOfCameras(host_.raw(), kZr);
    if ((digests_[0] == digests_[1]) != (change == Change::Nothing)) throw std::logic_error("the documents are wrong");
    host_.Apply(documents_[0].value);
  }

  Contender Library() {
    return {"library", [this] { PrepareLibrary(); }, [this] { written_ = host_.Apply(Next().value); },
            [this] { Check(host_.raw()); }};
  }
  /// Reads the text too, as a command would.
  Contender WholeCommand() {
    return {"library", [this] { PrepareLibrary(); },
            [this] { written_ = host_.Apply(qv::json::ReadDocument(Next().text, {})); },
            [this] { Check(host_.raw()); }};
  }
  Contender Floor() {
    floor_ = std::make_unique<SnapshotFloor>(host_.CopyDatabase("floor.db"));
    return {"floor", [this] { PrepareYardstick(floor_->database()); },
            [this] { written_ = floor_->Apply(Next().cameras(), kZr); }, [this] { Check(floor_->database()); }};
  }
  Contender Merge() {
    merge_ = std::make_unique<SetMerge>(host_.CopyDatabase("merge.db"));
    return {"set merge", [this] { PrepareYardstick(merge_->database()); },
            [this] { written_ = merge_->Apply(Next().text, kZr); }, [this] { Check(merge_->database()); }};
  }
  Contender Loop() {
    loop_ = std::make_unique<RowLoop>(host_.CopyDatabase("loop.db"), durability_ == qv::db::Durability::Power);
    return {"row loop", [this] { PrepareYardstick(loop_->database()); },
            [this] { written_ = loop_->Apply(Next().cameras(), kZr); }, [this] { Check(loop_->database()); }};
  }
  std::string Note() const {
    return host_.Statements() + "; rows to write: " + std::to_string(changed_rows_) +
           ", written: " + std::to_string(written_);
  }

 private:
  /// The document that is not the state of the host.
  const Document& Next() const { return documents_[1 - state_]; }

  /// @param execute  runs SQL on the contender's own connection: a write by another one would empty its page cache
  template <class Execute>
  void PrepareTurn(const RawDatabase& database, Execute&& execute) {
    const std::string digest = DigestOfCameras(database, kZr);
    state_ = digest == digests_[0] ? 0 : 1;
    if (digest != digests_[state_]) throw std::logic_error("the host does not hold what the last turn left");
    if (change_ == Change::AllNew) execute("DELETE FROM camera WHERE owner_zr_id=" + std::to_string(kZr));
    execute("DELETE FROM message");
  }

  void PrepareLibrary() {
    PrepareTurn(host_.raw(), [](const std::string& sql) { qv::db::ThisThread().Execute(sql); });
  }
  void PrepareYardstick(const RawDatabase& database) {
    PrepareTurn(database, [&](const std::string& sql) { database.Execute(sql); });
  }

  void Check(const RawDatabase& database) const {
    if (DigestOfCameras(database, kZr) != digests_[1 - state_]) {
      throw std::logic_error("the host does not hold what the document says");
    }
    if (written_ != changed_rows_) {
      throw std::logic_error(std::to_string(written_) + " rows were written instead of " +
                             std::to_string(changed_rows_));
    }
  }

  Change change_;
  qv::db::Durability durability_;
  Host host_;
  int changed_rows_;
  Document documents_[2];
  std::string digests_[2];
  int state_ = 0;  ///< which of the documents the host of this turn holds
  int written_ = 0;
  std::unique_ptr<SnapshotFloor> floor_;
  std::unique_ptr<SetMerge> merge_;
  std::unique_ptr<RowLoop> loop_;
};

/// What the disk takes to keep a page, on which the price of saving row by row depends more than on anything else.
std::string SyncTime() {
  constexpr int kSyncs = 200;
  const Folder folder;
  const int file = open((folder.path() / "file").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR);
  const std::string page(4096, 'x');
  const auto begin = std::chrono::steady_clock::now();
  for (int i = 0; i < kSyncs; ++i) {
    if (write(file, page.data(), page.size()) < 0 || fdatasync(file) != 0) throw std::runtime_error("cannot sync");
  }
  const std::chrono::duration<double, std::micro> time = std::chrono::steady_clock::now() - begin;
  close(file);
  return std::to_string(static_cast<int>(time.count() / kSyncs)) + " us";
}

int RoundsOf(int count) { return std::max(1, 2000 / count); }

/// The library beside the floor, and beside the set merge if that has a limit.
void CompareWithFloor(const std::string& name, int count, Change change, double floor_limit, double merge_limit) {
  Compare(name + ", " + std::to_string(count) + " entries", kRepetitions, [=] {
    const auto scene = std::make_shared<SnapshotScene>(count, 10'000, change);
    Comparison comparison;
    comparison.contenders = {scene->Library(), scene->Floor()};
    comparison.goals = {{1, floor_limit}};
    if (merge_limit > 0) {
      comparison.contenders.push_back(scene->Merge());
      comparison.goals.push_back({2, merge_limit});
    }
    comparison.rounds = RoundsOf(count);
    comparison.note = [scene] { return scene->Note(); };
    return comparison;
  });
}

}  // namespace

void RegisterSnapshotCases() {
  for (const int count : {100, 1'000, 10'000}) {
    CompareWithFloor("unchanged snapshot", count, Change::Nothing, 1.5, 0);
    CompareWithFloor("1 % changed", count, Change::OnePercent, 1.5, 0);
    CompareWithFloor("all changed", count, Change::Everything, 1.6, 1);
    CompareWithFloor("all new", count, Change::AllNew, 1.6, 1);
    Compare("whole command, unchanged, " + std::to_string(count) + " entries", kRepetitions, [=] {
      const auto scene = std::make_shared<SnapshotScene>(count, 10'000, Change::Nothing);
      Comparison comparison;
      comparison.contenders = {scene->WholeCommand(), scene->Merge()};
      comparison.goals = {{1, 1}};
      comparison.rounds = RoundsOf(count);
      comparison.note = [scene] { return scene->Note(); };
      return comparison;
    });
  }
  // A row that is saved by itself is on the disk before the next one; both sides are as durable as a host is.
  Compare("all changed, 10000 entries, row by row", 3, [] {
    const auto scene = std::make_shared<SnapshotScene>(10'000, 10'000, Change::Everything, qv::db::Durability::Power);
    Comparison comparison;
    comparison.contenders = {scene->Library(), scene->Loop()};
    comparison.goals = {{1, 0.05}};
    comparison.waits = true;
    comparison.note = [scene] { return scene->Note() + "; a page to the disk: " + SyncTime(); };
    return comparison;
  });
  Compare("cost per entry, unchanged, 10000 against 100", kRepetitions, [] {
    const auto host = std::make_shared<Host>(10'000);
    const auto apply = [host](int count, int zr) {
      const auto document = std::make_shared<Document>(Snapshot(count, 0));
      host->Apply(document->value, zr);
      const std::string digest = DigestOfCameras(host->raw(), zr);
      return Contender{std::to_string(count),
                       {},
                       [=] { host->Apply(document->value, zr); },
                       [=] {
                         if (DigestOfCameras(host->raw(), zr) != digest) throw std::logic_error("a camera changed");
                       },
                       static_cast<double>(count)};
    };
    Comparison comparison;
    comparison.contenders = {apply(10'000, kZr), apply(100, kZr + 1)};
    comparison.goals = {{1, 1.3}};
    return comparison;
  });
}

}  // namespace bench
