#include <stdexcept>

#include "cases.h"
#include "comparison.h"
#include "documents.h"
#include "host.h"
#include "statusfloor.h"

namespace bench {
namespace {

constexpr int kCameras = 500;
constexpr int kRepetitions = 9;

/// A host with one slave, and reports that come in turn.
class StatusScene {
 public:
  /// @param changed_every  every n-th camera has another status in each report; 0: none
  StatusScene(int foreign_rows, int changed_every)
      : host_(foreign_rows), changed_rows_(changed_every == 0 ? 0 : kCameras / changed_every) {
    host_.Apply(Snapshot(kCameras, 0).value);
    for (int i = 0; i < 2; ++i) {
      reports_[i] = StatusReport(kCameras, changed_every == 0 ? 0 : i, changed_every == 0 ? 1 : changed_every);
    }
    for (const int report : {0, 1, 0}) {
      host_.ApplyStatus(reports_[report].value);
      digests_[report] = DigestOfCameras(host_.raw(), kZr);
    }
    if ((digests_[0] == digests_[1]) != (changed_every == 0)) throw std::logic_error("the reports are wrong");
  }

  Contender Library(const std::string& name) {
    return {name,
            [this] {
              host_.Use();
              FindState(host_.raw());
              host_.ApplyStatus(reports_[state_].value);  // fills the caches of a host that was just opened
            },
            [this] { written_ = host_.ApplyStatus(reports_[1 - state_].value); }, [this] { Check(host_.raw()); }};
  }
  Contender Floor() {
    floor_ = std::make_unique<StatusFloor>(host_.CopyDatabase("floor.db"));
    return {"floor",
            [this] {
              FindState(floor_->database());
              floor_->Apply(reports_[state_].value, kZr);
            },
            [this] { written_ = floor_->Apply(reports_[1 - state_].value, kZr); },
            [this] { Check(floor_->database()); }};
  }
  std::string Note() const {
    return host_.Statements() + "; rows to write: " + std::to_string(changed_rows_) +
           ", written: " + std::to_string(written_);
  }

 private:
  void FindState(const RawDatabase& database) { state_ = DigestOfCameras(database, kZr) == digests_[0] ? 0 : 1; }
  void Check(const RawDatabase& database) const {
    if (DigestOfCameras(database, kZr) != digests_[1 - state_] || written_ != changed_rows_) {
      throw std::logic_error("the host does not hold what the report says");
    }
  }

  Host host_;
  int changed_rows_;
  Document reports_[2];
  std::string digests_[2];
  int state_ = 0;  ///< which report the host of this turn holds
  int written_ = 0;
  std::unique_ptr<StatusFloor> floor_;
};

void CompareStatus(const std::string& name, int changed_every) {
  Compare(name, kRepetitions, [=] {
    const auto scene = std::make_shared<StatusScene>(10'000, changed_every);
    Comparison comparison;
    comparison.contenders = {scene->Library("library"), scene->Floor()};
    comparison.goals = {{1, 1.5}};
    comparison.rounds = 10;
    comparison.note = [scene] { return scene->Note(); };
    return comparison;
  });
}

}  // namespace

void RegisterStatusCases() {
  CompareStatus("status report, 500 cameras, unchanged", 0);
  CompareStatus("status report, 500 cameras, 5 % changed", 20);
  Compare("status report, 1000000 foreign rows", 5, [] {
    const auto large = std::make_shared<StatusScene>(1'000'000, 20);
    const auto small = std::make_shared<StatusScene>(10'000, 20);
    Comparison comparison;
    comparison.contenders = {large->Library("1000000 rows"), small->Library("10000 rows")};
    comparison.goals = {{1, 1.3}};
    comparison.rounds = 2;
    comparison.note = [large, small] { return large->Note(); };
    return comparison;
  });
}

}  // namespace bench
