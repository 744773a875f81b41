/// The host on PostgreSQL: beside the least work on libpq, far from its server, and several processes on one database.
/// They are there when `QVCMS_TEST_DATABASE` names a database, as tests/support/with-postgresql has it.
#include <json/reader.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>
#include <stdexcept>

#include "cases.h"
#include "columns.h"
#include "comparison.h"
#include "delayingproxy.h"
#include "documents.h"
#include "host.h"
#include "postgresqlfloor.h"
#include "qvwebapicmssyncutils.h"
#include "schema/kinds.h"
#include "slavezr.h"
#include "slavezrstatus.h"

namespace bench {
namespace {

constexpr int kFloorsZr = kZr + 1;

std::string Environment(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

struct Call {
  int written = 0;  ///< camera rows
  std::uint64_t round_trips = 0;
};

/// Does the work in a unit of work that sends its writes ahead, as the host does.
Call InUnitOfWork(int zr, const std::function<void()>& work) {
  const qv::db::FirstAttempt attempt;
  qv::db::UnitOfWork unit(zr);
  work();
  unit.Commit();
  Call call{.written = 0, .round_trips = unit.round_trips()};
  for (const auto& count : unit.counts()) {
    if (count.kind == "camera") call.written = count.added + count.updated + count.removed;
  }
  return call;
}

Call Apply(const Json::Value& snapshot, int zr) {
  return InUnitOfWork(zr, [&] {
    qv::schema::ForeseeSnapshot(zr);
    SaveSlaveInfoUpdate(SlaveZR(), snapshot, zr);
  });
}

Call ApplyReport(const Json::Value& report, int zr) {
  return InUnitOfWork(zr, [&] {
    SlaveZRStatus status;
    status.ZrId = zr;
    SlaveZRStatusLoad(status);
    SaveSlaveStatus(report, status);
    SlaveZRStatusSave(status);
  });
}

/// The host's database, empty in the beginning, while the object exists.
class OpenHost {
 public:
  /// @param database  empty: SQLite
  explicit OpenHost(std::string database) : database_(std::move(database)) {
    if (!database_.empty()) {
      PostgresqlFloor::Query(database_, "DROP SCHEMA public CASCADE; CREATE SCHEMA public");
    }
    Open();
  }
  ~OpenHost() { qv::db::Close(); }
  OpenHost(const OpenHost&) = delete;
  OpenHost& operator=(const OpenHost&) = delete;

  void Open() const { OpenAt(database_); }
  /// Opens the same host by another way to its server.
  void OpenAt(const std::string& database) const {
    qv::db::Close();
    qv::db::Options options;
    options.driver.database = database;
    qv::db::Open(folder_.path(), options);
  }

 private:
  const Folder folder_;
  const std::string database_;
};

enum class Change { Nothing, Everything, AllNew };

/// The library and the floor at two slaves of one database. Each turn applies the document that is not its state.
class Scene {
 public:
  Scene(int count, Change change)
      : change_(change), rows_(change == Change::Nothing ? 0 : count), host_(Environment("QVCMS_TEST_DATABASE")) {
    for (const int revision : {0, 1}) documents_[revision] = Snapshot(count, change == Change::Nothing ? 0 : revision);
    floor_ = std::make_unique<PostgresqlFloor>(Environment("QVCMS_TEST_DATABASE"));
    for (const int revision : {1, 0}) {
      floor_->Execute("DELETE FROM message");
      Apply(documents_[revision].value, kZr);
      digests_[revision] = DigestOf(kZr);
    }
    std::istringstream(
        floor_->Execute("SELECT coalesce(json_agg(json_build_array(zr_id::text,target,command,payload)),"
                        "'[]') FROM message")) >>
        messages_;
    floor_->Apply(documents_[0].cameras(), kFloorsZr);
  }

  Contender Library() {
    return Make("library", kZr, [this](const Document& document) {
      const Call call = bench::Apply(document.value, kZr);
      round_trips_ = call.round_trips;
      return call.written;
    });
  }
  Contender Floor() {
    return Make("floor", kFloorsZr,
                [this](const Document& document) { return floor_->Apply(document.cameras(), kFloorsZr, messages_); });
  }
  std::string Note() const {
    return "rows to write: " + std::to_string(rows_) + "; round trips: " + std::to_string(round_trips_);
  }

 private:
  Contender Make(const std::string& name, int zr, std::function<int(const Document&)> apply) {
    const auto state = std::make_shared<int>(0);
    const auto written = std::make_shared<int>(0);
    return {name, [this, zr] { Prepare(zr); },
            [=, this, apply = std::move(apply)] { *written = apply(documents_[*state ^= 1]); },
            [=, this] {
              if (*written != rows_ || DigestOf(zr) != digests_[*state]) {
                throw std::logic_error("the host does not hold what the document says");
              }
            }};
  }
  void Prepare(int zr) {
    if (change_ == Change::AllNew) floor_->Execute("DELETE FROM camera WHERE owner_zr_id=" + std::to_string(zr));
    floor_->Execute("DELETE FROM message");
    floor_->Execute("VACUUM camera");
    floor_->Execute("VACUUM message");
  }
  std::string DigestOf(int zr) {
    return floor_->Execute(
        "SELECT md5(string_agg(ROW(" + ColumnNames(ReportedCameraColumns()) +
        ")::text,'' ORDER BY id_on_rec_server)) FROM camera WHERE owner_zr_id=" + std::to_string(zr));
  }

  const Change change_;
  const int rows_;
  const OpenHost host_;
  Document documents_[2];
  std::string digests_[2];
  Json::Value messages_;  ///< that the library writes with each document
  std::unique_ptr<PostgresqlFloor> floor_;
  std::uint64_t round_trips_ = 0;
};

void CompareWithFloor(const std::string& name, int count, Change change, double limit) {
  Compare("PostgreSQL: " + name + ", " + std::to_string(count) + " entries", 5, [=] {
    const auto scene = std::make_shared<Scene>(count, change);
    Comparison comparison;
    comparison.contenders = {scene->Library(), scene->Floor()};
    comparison.goals = {{1, limit}};
    comparison.waits = true;
    comparison.rounds = count <= 1'000 ? 5 : 1;
    comparison.note = [scene] { return scene->Note(); };
    return comparison;
  });
}

double Seconds(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// What a call takes far from the server, and how often it waits for it.
std::string MeasureDelay() {
  std::string database = Environment("QVCMS_TEST_DATABASE");
  const std::string server = Environment("QVCMS_TEST_SERVER");
  const OpenHost host(database);
  const Folder folder;
  const Document snapshots[] = {Snapshot(1'000, 0), Snapshot(1'000, 1)};
  const Document report = StatusReport(1'000, 0);
  Apply(snapshots[0].value, kZr);
  const auto measure = [&] {
    ApplyReport(report.value, kZr);
    Apply(snapshots[0].value, kZr);
    Call calls[2];
    const double seconds[] = {Seconds([&] { calls[0] = ApplyReport(report.value, kZr); }),
                              Seconds([&] { calls[1] = Apply(snapshots[1].value, kZr); })};
    char text[128];
    std::snprintf(text, sizeof text, "unchanged report %.1f ms in %d round trips, 1000 changed cameras %.1f ms in %d",
                  seconds[0] * 1e3, static_cast<int>(calls[0].round_trips), seconds[1] * 1e3,
                  static_cast<int>(calls[1].round_trips));
    if (calls[1].written != 1'000) throw std::logic_error("the cameras were not written");
    return std::string(text);
  };
  const std::string near = measure();
  Apply(snapshots[0].value, kZr);
  std::string far;
  {
    const DelayingProxy proxy(server, folder.path().string(), std::chrono::milliseconds(2));
    host.OpenAt(database.replace(database.find(server), server.size(), folder.path().string()));
    far = measure();
    qv::db::Close();
  }
  return "beside it: " + near + "; 2 ms away: " + far;
}

constexpr int kSlaves = 5'000;
constexpr int kCamerasEach = 100;

/// Slaves like slave 1, made by the database itself.
std::string MoreSlaves() {
  std::string values;
  for (const Column& column : CameraColumns()) {
    const std::string name = column.info.column;
    values += (values.empty() ? "" : ",") + (name == "owner_zr_id" ? "n" : name);
  }
  const std::string numbers = "WITH RECURSIVE number(n) AS (SELECT 2 UNION ALL SELECT n+1 FROM number WHERE n<" +
                              std::to_string(kSlaves) + ") ";
  return numbers + "INSERT INTO server (id) SELECT n FROM number; " + numbers + "INSERT INTO camera (" +
         ColumnNames(CameraColumns()) + ") SELECT " + values + " FROM number,camera WHERE owner_zr_id=1";
}

/// All slaves report once, from several processes. @return reports per second
double Pass(const OpenHost& host, int processes, const Json::Value& report) {
  qv::db::Close();
  const double seconds = Seconds([&] {
    for (int process = 0; process < processes; ++process) {
      if (fork() != 0) continue;
      int status = 0;
      try {
        host.Open();
        for (int zr = 1 + process; zr <= kSlaves; zr += processes) ApplyReport(report, zr);
        qv::db::Close();
      } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        status = 1;
      }
      _exit(status);
    }
    for (int process = 0; process < processes; ++process) {
      int status = 0;
      wait(&status);
      if (status != 0) throw std::runtime_error("a process of the fleet failed");
    }
  });
  host.Open();
  return kSlaves / seconds;
}

std::string MeasureFleet(const std::string& database) {
  const OpenHost host(database);
  const Document reports[] = {StatusReport(kCamerasEach, 0, 20), StatusReport(kCamerasEach, 1, 20)};
  Apply(Snapshot(kCamerasEach, 0).value, 1);
  ApplyReport(reports[0].value, 1);
  qv::db::ThisThread().Execute(MoreSlaves());
  if (!database.empty()) PostgresqlFloor(database).Execute("VACUUM ANALYZE camera");
  Pass(host, 4, reports[0].value);  // writes what only first reports bring
  std::map<int, double> fastest;
  int revision = 0;
  for (int round = 0; round < 2; ++round) {
    for (const int processes : {1, 2, 4}) {
      sync();  // what was written before is not to slow this down
      fastest[processes] = std::max(fastest[processes], Pass(host, processes, reports[revision ^= 1].value));
    }
  }
  std::string text = "reports/s by 1, 2, 4 processes:";
  for (const auto& [processes, figure] : fastest) text += ' ' + std::to_string(std::lround(figure));
  return text;
}

}  // namespace

void RegisterPostgresqlCases() {
  if (Environment("QVCMS_TEST_DATABASE").empty()) return;
  for (const int count : {100, 1'000, 10'000}) {
    CompareWithFloor("unchanged snapshot", count, Change::Nothing, 1.5);
    CompareWithFloor("all changed", count, Change::Everything, 1.8);
    CompareWithFloor("all new", count, Change::AllNew, 1.8);
  }
  Report("PostgreSQL: far from the server", MeasureDelay);
  Report("PostgreSQL: fleet of 5000 slaves, 5 % changed",
         [] { return MeasureFleet(Environment("QVCMS_TEST_DATABASE")); });
  Report("PostgreSQL: the same fleet on SQLite", [] { return MeasureFleet(""); });
}

}  // namespace bench
