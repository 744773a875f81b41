/// Pages of a long list: what a page costs does not depend on its place, nor the memory on the length of the list.
#include <fcntl.h>
#include <malloc.h>
#include <qv/host.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "cases.h"
#include "columns.h"
#include "comparison.h"
#include "documents.h"
#include "host.h"
#include "rawsqlite.h"

namespace bench {
namespace {

constexpr int kCameras = 100'000;
constexpr int kPage = 100;
constexpr int kTemplates = 1'000;  ///< cameras that come from a document; the others are copies

/// Fills the data folder with cameras that belong to two servers in turn.
void Fill(const std::filesystem::path& folder, int cameras) {
  qv::Host({.data_folder = folder, .log = {.level = 0}}).Update(kZr, qv::Document(Snapshot(kTemplates, 0).value));
  std::vector<Column> copied = CameraColumns();
  std::erase_if(copied, [](const Column& column) { return column.info.column == std::string("owner_zr_id"); });
  const std::string names = ColumnNames(copied);
  RawDatabase(folder / "qvcms.db", false)
      .Execute("WITH RECURSIVE copy(n) AS (SELECT 1 UNION ALL SELECT n+1 FROM copy WHERE n<" +
               std::to_string(cameras / kTemplates - 1) + ") INSERT INTO camera (owner_zr_id," + names + ") SELECT " +
               std::to_string(kZr) + "+id%2," + names + " FROM copy CROSS JOIN camera WHERE id<=" +
               std::to_string(kTemplates) + ";UPDATE camera SET owner_zr_id=" + std::to_string(kZr + 1) +
               " WHERE id<=" + std::to_string(kTemplates) + " AND id%2=1");
}

/// A host with all these cameras, and a connection beside it.
class Scene {
 public:
  explicit Scene(bool one_server) : one_server_(one_server) {
    Fill(folder_.path(), kCameras);
    host_ = std::make_unique<qv::Host>(qv::HostOptions{.data_folder = folder_.path()});
    raw_ = std::make_unique<RawDatabase>(folder_.path() / "qvcms.db", false);
    select_ = raw_->Prepare("SELECT id," + ColumnNames(CameraColumns()) + " FROM camera WHERE " +
                            (one_server ? "owner_zr_id=" + std::to_string(kZr) + " AND " : "") +
                            "id>?1 ORDER BY id LIMIT " + std::to_string(kPage));
  }

  /// Reads the page behind an id through the library.
  void ReadPage(int after) {
    qv::ListQuery query{.kind = "camera", .after = after, .limit = kPage};
    if (one_server_) query.zr = kZr;
    rows_ = host_->List(query).rows.size();
  }
  /// Does what a program written for this query alone would do: it keeps every value as text.
  void QueryPage(int after) {
    std::vector<std::vector<std::string>> rows;
    raw_->Check(sqlite3_bind_int(select_.get(), 1, after));
    while (raw_->Check(sqlite3_step(select_.get()))) {
      std::vector<std::string>& row = rows.emplace_back();
      for (int column = 0; column < sqlite3_column_count(select_.get()); ++column) {
        row.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(select_.get(), column)));
      }
    }
    raw_->Check(sqlite3_reset(select_.get()));
    rows_ = rows.size();
  }
  void Check() const {
    if (rows_ != kPage) throw std::logic_error("not a whole page");
  }

 private:
  Folder folder_;
  const bool one_server_;
  std::unique_ptr<qv::Host> host_;
  std::unique_ptr<RawDatabase> raw_;
  RawStatement select_;
  std::size_t rows_ = 0;
};

void ComparePages(const std::string& name, bool one_server) {
  Compare(name, 9, [=] {
    const auto scene = std::make_shared<Scene>(one_server);
    constexpr int kEnd = kCameras - 2 * kPage;  // the last page of a server that has every other camera
    Comparison comparison;
    const auto check = [=] { scene->Check(); };
    comparison.contenders = {{"last page", {}, [=] { scene->ReadPage(kEnd); }, check},
                             {"keyset query", {}, [=] { scene->QueryPage(kEnd); }, check},
                             {"first page", {}, [=] { scene->ReadPage(0); }, check},
                             {"in the middle", {}, [=] { scene->ReadPage(kCameras / 2); }, check}};
    comparison.goals = {{1, 8}, {2, 1.3}, {3, 1.3}};
    comparison.rounds = 20;
    return comparison;
  });
}

struct Listing {
  double first_row = 0;    ///< milliseconds until there was one
  double all = 0;          ///< milliseconds
  double peak_memory = 0;  ///< MiB
};

/// Runs `qvcms list`.
Listing ListCameras(const std::filesystem::path& folder) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  malloc_trim(0);  // the memory of the process that forks counts as a peak of its child
  const auto start = std::chrono::steady_clock::now();
  const auto elapsed = [&] {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
  };
  const pid_t child = fork();
  if (child == 0) {
    dup2(ends[1], STDOUT_FILENO);
    execl(QVCMS_PATH, QVCMS_PATH, "--data-dir", folder.c_str(), "list", "camera", nullptr);
    _exit(127);
  }
  close(ends[1]);
  Listing listing;
  int lines = 0;
  char block[65536];
  for (ssize_t size = 0; (size = read(ends[0], block, sizeof block)) > 0;) {
    for (ssize_t i = 0; i < size; ++i) lines += static_cast<int>(block[i] == '\n');
    if (lines > 1 && listing.first_row == 0) listing.first_row = elapsed();
  }
  close(ends[0]);
  int status = 0;
  rusage usage{};
  if (child < 0 || wait4(child, &status, 0, &usage) != child || status != 0) {
    throw std::runtime_error("qvcms list failed");
  }
  listing.all = elapsed();
  listing.peak_memory = static_cast<double>(usage.ru_maxrss) / 1024;
  return listing;
}

std::string MeasureCommand() {
  const Folder folder;
  Fill(folder.path(), 2 * kTemplates);
  const Listing few = ListCameras(folder.path());
  const Folder other;
  Fill(other.path(), kCameras);
  const Listing many = ListCameras(other.path());
  char text[160];
  std::snprintf(text, sizeof text,
                "first row after %.0f ms (target: 50 ms), all after %.1f s; %.1f MiB, of 2000 cameras %.1f MiB",
                many.first_row, many.all / 1000, many.peak_memory, few.peak_memory);
  if (many.first_row > 50 || many.peak_memory > 1.2 * few.peak_memory) {
    throw std::runtime_error(std::string(text) + ": MISSED");
  }
  return text;
}

}  // namespace

void RegisterListCases() {
  ComparePages("page of 100 of 100000 cameras", false);
  ComparePages("page of 100 of a server's 50000 cameras", true);
  Report("qvcms list camera, 100000 cameras", MeasureCommand);
}

}  // namespace bench
