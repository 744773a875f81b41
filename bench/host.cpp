#include "host.h"

#include <cstdlib>
#include <stdexcept>

#include "columns.h"
#include "qvwebapicmssyncutils.h"
#include "slavezr.h"
#include "slavezrstatus.h"

namespace bench {
namespace {

Host* in_use = nullptr;

/// Rows of other slaves: long enough to be real cameras, made by the database itself.
std::string ForeignRows(int count) {
  return "WITH RECURSIVE number(n) AS (SELECT 1 UNION ALL SELECT n+1 FROM number WHERE n<" + std::to_string(count) +
         ") INSERT INTO camera (owner_zr_id,id_on_rec_server,name,host,vendor,model,stream_profile1) "
         "SELECT 1000+n/100,n%100,'Camera '||n,'192.0.2.'||(n%254),'Opticworks','OW-5240-DN',"
         "'{\"bit_rate\":4096,\"codec\":\"H.265\",\"frame_rate\":25}' FROM number";
}

/// Runs `call` and commits. @return the camera rows that it wrote
template <class Call>
int InUnitOfWork(int zr, Call&& call) {
  qv::db::UnitOfWork work(zr);
  call();
  int written = 0;
  for (const auto& count : work.counts()) {
    if (count.kind == "camera") written = count.added + count.updated + count.removed;
  }
  work.Commit();
  return written;
}

}  // namespace

Folder::Folder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "qvbench-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
  path_ = pattern;
}

Folder::~Folder() { std::filesystem::remove_all(path_); }

Host::Host(int foreign_rows, qv::db::Durability durability) : durability_(durability) {
  Use();
  if (foreign_rows > 0) qv::db::ThisThread().Execute(ForeignRows(foreign_rows));
}

Host::~Host() {
  raw_.reset();
  if (in_use == this) {
    qv::db::Close();
    in_use = nullptr;
  }
}

void Host::Use() {
  if (in_use == this) return;
  if (in_use != nullptr) qv::db::Close();
  in_use = nullptr;
  qv::db::Options options;
  options.driver.durability = durability_;
  qv::db::Open(folder_.path(), options);
  in_use = this;
  called_ = false;
}

int Host::Apply(const Json::Value& snapshot, int zr) {
  return Count([&] { return InUnitOfWork(zr, [&] { SaveSlaveInfoUpdate(SlaveZR(), snapshot, zr); }); });
}

int Host::ApplyStatus(const Json::Value& report) {
  return Count([&] { return ApplyReport(report, kZr); });
}

int Host::ApplyReport(const Json::Value& report, int zr) {
  SlaveZRStatus status;
  status.ZrId = zr;
  return InUnitOfWork(zr, [&] { SaveSlaveStatus(report, status); });
}

int Host::Count(const std::function<int()>& call) {
  const qv::db::Session::Statistics before = qv::db::ThisThread().statistics();
  const int written = call();
  const qv::db::Session::Statistics after = qv::db::ThisThread().statistics();
  last_call_ = {after.prepared - before.prepared, after.executed - before.executed};
  if (!called_) first_call_ = last_call_;
  called_ = true;
  return written;
}

std::uintmax_t Host::DatabaseSize() const {
  return std::filesystem::file_size(folder_.path() / "qvcms.db") +
         std::filesystem::file_size(folder_.path() / "qvcms.db-wal");
}

std::filesystem::path Host::CopyDatabase(const std::string& name) {
  raw_.reset();
  if (in_use == this) {
    qv::db::Close();  // moves everything into the one file
    in_use = nullptr;
  }
  const std::filesystem::path copy = folder_.path() / name;
  std::filesystem::copy_file(folder_.path() / "qvcms.db", copy);
  Use();
  return copy;
}

const RawDatabase& Host::raw() {
  if (!raw_) raw_ = std::make_unique<RawDatabase>(folder_.path() / "qvcms.db", false);
  return *raw_;
}

std::string Host::Statements() const {
  return "statements prepared in the first call: " + std::to_string(first_call_.prepared) +
         ", executed: " + std::to_string(first_call_.executed) +
         "; in the last call: " + std::to_string(last_call_.prepared) + ", " + std::to_string(last_call_.executed);
}

}  // namespace bench
