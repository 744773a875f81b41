#include "stagedfiles.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <set>
#include <system_error>

#include "dbglog.h"
#include "foldertree.h"

namespace qv::db {
namespace {

constexpr std::string_view kStaging = "staging";
constexpr std::string_view kWrite = "write";
constexpr std::string_view kRemove = "remove";

struct Operation {
  std::int64_t id;
  bool is_write;
  std::string staged;  ///< name in the staging folder; empty for a removal
  std::string target;  ///< path below the data folder
};

[[noreturn]] void FailStaging(const std::string& what) {
  throw Error(Error::Kind::Statement, what + ": " + std::strerror(errno));
}

void LogFailure(const std::string& text) {
  QVPrintf(LOG_TYPE_DIAGNOSTIC, "DATABASE", "ERR", __FILE__, __LINE__, __func__, "%s\n", text.c_str());
}

bool IsDurable(Session& session) { return session.state().folder->options.driver.durability == Durability::Power; }

FileDescriptor OpenRoot(Session& session) {
  const std::filesystem::path& path = session.state().folder->path;
  FileDescriptor root(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!root) FailStaging("cannot open the data folder " + path.string());
  return root;
}

FileDescriptor MakeStaging(int root) {
  const std::string name(kStaging);
  if (mkdirat(root, name.c_str(), S_IRWXU) != 0 && errno != EEXIST) FailStaging("cannot make the staging folder");
  FileDescriptor staging = OpenFolderIn(root, name);
  if (!staging) FailStaging("cannot open the staging folder");
  return staging;
}

void WriteContent(int file, std::string_view content) {
  while (!content.empty()) {
    const ssize_t written = write(file, content.data(), content.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) FailStaging("cannot write a staged file");
    content.remove_prefix(static_cast<std::size_t>(written));
  }
}

/// @return the name of the new file in the staging folder
std::string WriteStaged(int staging, std::string_view content) {
  static std::atomic<std::uint64_t> counter{0};
  std::string name = std::to_string(getpid()) + "-" + std::to_string(++counter);
  const FileDescriptor file(
      openat(staging, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
  if (!file) FailStaging("cannot make a staged file");
  try {
    WriteContent(file.get(), content);
  } catch (const Error&) {
    unlinkat(staging, name.c_str(), 0);
    throw;
  }
  return name;
}

void InsertOperation(Session& session, std::string_view operation, std::string_view staged, std::string_view target) {
  session.Prepare("INSERT INTO staged_file (operation, staged, target) VALUES ($1, $2, $3)")
      .Bind(operation)
      .Bind(staged)
      .Bind(target)
      .Run();
  session.state().has_staged = true;
}

std::vector<Operation> PendingOperations(Session& session) {
  std::vector<Operation> operations;
  Query query = session.Prepare("SELECT id, operation, staged, target FROM staged_file ORDER BY id");
  while (query.Next()) {
    const Statement& row = query.Row();
    operations.push_back({row.Int(0), row.Text(1) == kWrite, std::string(row.Text(2)), std::string(row.Text(3))});
  }
  return operations;
}

bool Exists(const FileDescriptor& staging, const std::string& name) {
  return staging && faccessat(staging.get(), name.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
}

/// Operations are carried out in order, so a staged file that has left its place shows that it and all before it are
/// done. Repeating a removal in front of it would remove what it wrote.
std::size_t CountDone(const std::vector<Operation>& operations, const FileDescriptor& staging) {
  std::size_t done = 0;
  for (std::size_t i = 0; i < operations.size(); ++i) {
    if (operations[i].is_write && !Exists(staging, operations[i].staged)) done = i + 1;
  }
  return done;
}

Outcome CarryOut(const Operation& operation, int root, int staging) {
  const PathNames target = SplitNames(operation.target);
  const Outcome outcome =
      operation.is_write ? MoveIntoPlace(root, staging, operation.staged, target) : RemoveAll(root, target);
  const std::string what = (operation.is_write ? "write " : "remove ") + operation.target;
  if (outcome == Outcome::Failed) LogFailure("Cannot " + what + " yet: " + std::strerror(errno));
  if (outcome == Outcome::Refused) LogFailure("Cannot " + what + ": a link, a file or a folder is in the way");
  return outcome;
}

/// The folders that the operations change: those on the way may be new too.
std::set<PathNames> FoldersOf(std::span<const Operation> operations) {
  std::set<PathNames> folders;
  for (const Operation& operation : operations) {
    PathNames names = SplitNames(operation.target);
    while (!names.empty()) {
      names.pop_back();
      if (!folders.insert(names).second) break;
    }
  }
  return folders;
}

void DeleteOperations(Session& session, std::int64_t last_id) {
  session.Prepare("DELETE FROM staged_file WHERE id <= $1").Bind(last_id).Run();
}

/// The names of a path that a file may have; none when it is refused.
std::optional<PathNames> NamesOfFile(int root, std::string_view folder, std::string_view relative) {
  std::optional<PathNames> names = NamesOf(folder, relative);
  if (!names || relative.back() == '/') return std::nullopt;
  const Place place = LookAt(root, *names);
  if (place == Place::Folder || place == Place::Obstructed) return std::nullopt;
  return names;
}

/// Whether something is staged for the file, or for a folder that it is in.
bool IsStaged(Session& session, PathNames names) {
  for (; !names.empty(); names.pop_back()) {
    Query query = session.Prepare("SELECT COUNT(*) FROM staged_file WHERE target=$1");
    const std::string path = JoinNames(names);
    query.Bind(std::string_view(path)).Next();
    if (query.Row().Int(0) > 0) return true;
  }
  return false;
}

/// Whether all that can be read of `file` is `content`.
bool Holds(const FileDescriptor& file, std::string_view content) {
  char buffer[16384];
  while (true) {
    const ssize_t count = read(file.get(), buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return count == 0 && content.empty();
    const std::string_view part(buffer, static_cast<std::size_t>(count));
    if (!content.starts_with(part)) return false;
    content.remove_prefix(part.size());
  }
}

/// Drops the staged files that no operation waits for, and the folder with the last one.
void Sweep(int root, const FileDescriptor& staging, std::span<const Operation> waiting) {
  if (!staging) return;
  std::set<std::string_view> needed;
  for (const Operation& operation : waiting) needed.insert(operation.staged);
  for (const std::string& name : NamesIn(staging.get())) {
    if (!needed.contains(name)) unlinkat(staging.get(), name.c_str(), 0);
  }
  if (waiting.empty()) unlinkat(root, std::string(kStaging).c_str(), AT_REMOVEDIR);
}

}  // namespace

void CreateStagedFileTable(Session& session) {
  session
      .Prepare(
          "CREATE TABLE IF NOT EXISTS staged_file (id INTEGER PRIMARY KEY AUTOINCREMENT, operation TEXT NOT NULL,"
          " staged TEXT NOT NULL, target TEXT NOT NULL)")
      .Run();
  session.Prepare("CREATE INDEX IF NOT EXISTS staged_file_by_target ON staged_file (target)").Run();
}

void SyncStagedFiles(Session& session) {
  if (!IsDurable(session)) return;
  const FileDescriptor root = OpenRoot(session);
  const FileDescriptor staging = OpenFolderIn(root.get(), std::string(kStaging));
  if (!staging) return;  // removals only
  // All at once, just before they are needed: the first write of the file system's journal serves the others too.
  for (const std::string& name : NamesIn(staging.get())) {
    const FileDescriptor file(openat(staging.get(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    if (!file || fsync(file.get()) != 0) FailStaging("cannot write a staged file");
  }
  if (fsync(staging.get()) != 0 || fsync(root.get()) != 0) FailStaging("cannot write the staging folder");
}

void FinishStagedFiles(Session& session) {
  const std::vector<Operation> operations = PendingOperations(session);
  const FileDescriptor root = OpenRoot(session);
  const FileDescriptor staging = OpenFolderIn(root.get(), std::string(kStaging));
  std::size_t done = CountDone(operations, staging);
  while (done < operations.size() && CarryOut(operations[done], root.get(), staging.get()) != Outcome::Failed) ++done;
  const std::span<const Operation> finished = std::span(operations).first(done);
  if (IsDurable(session) && !SyncFolders(root.get(), FoldersOf(finished))) FailStaging("cannot write a folder");
  if (done > 0) DeleteOperations(session, operations[done - 1].id);
  Sweep(root.get(), staging, std::span(operations).subspan(done));
}

void FinishStagedFilesQuietly(Session& session) noexcept {
  session.state().has_staged = false;
  try {
    FinishStagedFiles(session);
  } catch (const std::exception& error) {
    LogFailure(std::string("Staged files wait for the next unit of work: ") + error.what());
  }
}

void FinishStagedFilesOfOthers(Session& session) {
  if (PendingOperations(session).empty()) return;
  try {
    const WriterHold hold(session.state(), std::chrono::milliseconds(0));
    FinishStagedFiles(session);
  } catch (const Error& error) {
    if (error.kind() != Error::Kind::Busy) throw;  // busy: the lock's holder is alive and at it
  }
}

bool StageFile(std::string_view folder, std::string_view relative, std::string_view content) {
  Session& session = ThisThread();
  const FileDescriptor root = OpenRoot(session);
  const std::optional<PathNames> names = NamesOfFile(root.get(), folder, relative);
  if (!names) return false;

  AllOrNothing step(session);
  const FileDescriptor staging = MakeStaging(root.get());
  session.state().has_staged = true;  // also when the rest fails: what it left is to be swept
  const std::string staged = WriteStaged(staging.get(), content);
  InsertOperation(session, kWrite, staged, JoinNames(*names));
  step.Keep();
  return true;
}

std::optional<std::string> FilePlace(std::string_view folder, std::string_view relative) {
  std::optional<PathNames> names = NamesOfFile(OpenRoot(ThisThread()).get(), folder, relative);
  if (!names) return std::nullopt;
  const auto depth = static_cast<std::ptrdiff_t>(NamesOf(folder, "x")->size() - 1);
  names->erase(names->begin(), names->begin() + depth);
  return JoinNames(*names);
}

bool FileHolds(std::string_view folder, std::string_view relative, std::string_view content) {
  Session& session = ThisThread();
  const FileDescriptor root = OpenRoot(session);
  const std::optional<PathNames> names = NamesOfFile(root.get(), folder, relative);
  if (!names || IsStaged(session, *names)) return false;
  const FileDescriptor file = OpenFile(root.get(), *names);
  return file && Holds(file, content);
}

bool StageRemoval(std::string_view folder, std::string_view relative) {
  const std::optional<PathNames> names = NamesOf(folder, relative);
  if (!names) return false;
  Session& session = ThisThread();
  if (LookAt(OpenRoot(session).get(), *names) == Place::Obstructed) return false;

  AllOrNothing step(session);
  InsertOperation(session, kRemove, "", JoinNames(*names));
  step.Keep();
  return true;
}

}  // namespace qv::db
