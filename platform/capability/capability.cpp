#include "capability/capability.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <set>
#include <system_error>

#include "camcap.h"
#include "capability/filenames.h"
#include "capability/filesync.h"
#include "db/database.h"
#include "log/message.h"
#include "qvjson.h"
#include "record/attempt.h"
#include "taggedfield.h"
#include "text/escape.h"

// A row for each server that reports the file. Its path is what a file is known by on its slave.
#define CAPABILITY_FILE_FIELDS(FIELD)                                \
  FIELD(CapabilityFileData, int, Id, "id", HostId)                   \
  FIELD(CapabilityFileData, int, OwnerZrId, "owner_zr_id", Owner)    \
  FIELD(CapabilityFileData, std::string, Path, "path", IdOnSlave)    \
  FIELD(CapabilityFileData, std::string, Vendor, "vendor", HostOnly) \
  FIELD(CapabilityFileData, std::string, Model, "model", HostOnly)   \
  FIELD(CapabilityFileData, std::string, Content, "content", Unlisted)

QV_DECLARE_FIELDS(CapabilityFileData, CAPABILITY_FILE_FIELDS)

namespace qv::capability {
namespace {

class CapabilityFile : public TaggedRecord<CapabilityFileData::Fields> {};
using Table = record::Table<CapabilityFile>;

const Table& Files() {
  static const Table table("capability_file");
  return table;
}

/// The paths that this thread's document has named so far: of several entries with one path the first counts, so that
/// the same document again finds its file as it left it.
std::set<std::string>& PathsOfThisDocument() {
  static thread_local std::set<std::string> paths;
  return paths;
}

/// Refuses a file that is to have the name of a folder of the same server's files, or is to be in a folder that has
/// the name of one.
void CheckFreeOfOthers(const std::string& path) {
  for (std::size_t slash = path.find('/', path.find('/') + 1); slash != std::string::npos;
       slash = path.find('/', slash + 1)) {
    const std::string folder = path.substr(0, slash);
    if (Files().Count(record::Where().Is("path", folder)) > 0) throw NameRefused("there is a file " + folder);
  }
  db::Query below = db::ThisThread().Prepare("SELECT COUNT(*) FROM capability_file WHERE path>$1 AND path<$2");
  const std::string first = path + '/';
  const std::string behind = path + char('/' + 1);
  below.Bind(std::string_view(first)).Bind(std::string_view(behind)).Next();
  if (below.Row().Int(0) > 0) throw NameRefused("there are files in a folder " + path);
}

/// The server that reports a shared file; 0: nobody says.
int Reporter() {
  const db::UnitOfWork* unit = db::UnitOfWork::Current();
  return unit == nullptr ? 0 : unit->zr();
}

/// The row of a file for its server to write.
CapabilityFile RowFor(const std::string& path, const std::string& model) {
  const int server = ServerOf(path);
  if (server != 0 && IsInteSupApi(model) != 0) throw NameRefused("a shared file cannot be in the folder of a server");
  const int owner = server != 0 ? server : Reporter();
  std::optional<CapabilityFile> row = Files().Find(record::Where().Is("path", path).Is("owner_zr_id", owner));
  // A shared file of which nobody knows who reported it goes to the first server that does.
  if (!row) row = Files().Find(record::Where().Is("path", path).Is("owner_zr_id", 0));
  if (!row && server != 0) CheckFreeOfOthers(path);
  CapabilityFile file = row.value_or(CapabilityFile());
  file.SetOwnerZrId(owner);
  file.SetPath(path);
  return file;
}

void SaveFile(const std::string& path, const std::string& vendor, const std::string& model, const Json::Value& cap) {
  db::AllOrNothing whole;
  CapabilityFile file = RowFor(path, model);
  file.SetVendor(vendor);
  file.SetModel(model);
  file.SetContent(JsonWrite(cap, false) + '\n');
  const bool changed = Files().Save(file);
  FilesFollow({path}, changed);
  whole.Keep();
}

/// A name for the log, whatever bytes it has and however long it is.
std::string Shown(const std::string& name) {
  constexpr std::size_t kLongest = 200;
  return text::EscapeLine(name.size() <= kLongest ? name : name.substr(0, kLongest) + "...");
}

/// Within a unit of work the folder comes with the first file that the commit moves into it.
int MakeFolder(const std::filesystem::path& folder) {
  const bool at_commit = db::UnitOfWork::Current() != nullptr;
  const int reason = !at_commit && mkdir(folder.c_str(), S_IRWXU) != 0 ? errno : EEXIST;
  std::error_code unreadable;  // whatever is there then is no folder
  const std::filesystem::file_status status = std::filesystem::symlink_status(folder, unreadable);
  if (std::filesystem::is_directory(status) || (at_commit && !std::filesystem::exists(status))) return 0;
  log::Error("Failed to make {}: {}", folder.string(), std::strerror(reason));
  return -1;
}

}  // namespace

const record::AnyTable& CapabilityFileTable() { return Files(); }

void DeleteFilesOf(int zr) {
  const record::Where owned = record::Where().Is("owner_zr_id", zr);
  std::vector<std::string> paths;
  for (const CapabilityFile& file : Files().Select(owned, Files().ColumnsOf({"path"}))) paths.push_back(file.GetPath());
  if (paths.empty()) return;
  Files().DeleteLater(owned);
  FilesFollow(paths, true);
}

std::string WhyRefused(const std::string& name, const std::string& model, int zr) try {
  RowFor(IsInteSupApi(model) != 0 ? PathOf(name) : PathOnHost(name, zr), model);
  return {};
} catch (const NameRefused& refusal) {
  return refusal.what();
}

}  // namespace qv::capability

using namespace qv;              // NOLINT(google-build-using-namespace): what follows is the package's interface
using namespace qv::capability;  // NOLINT(google-build-using-namespace)

int CheckAndMakeCapDir(std::string& path) {
  PathsOfThisDocument().clear();
  int result = -1;
  record::Attempt("Failed to make the folder of the capability files", [&] {
    const std::filesystem::path folder = db::DataFolder() / kFolder;
    path = folder.string();
    result = MakeFolder(folder);
  });
  return result;
}

int IsInteSupApi(const std::string& model) { return model.ends_with("-API") ? 1 : 0; }

int ReplaceZrIdInCapFilePath(std::string& path, int zrId) try {
  path = PathOnHost(path, zrId);
  return 0;
} catch (const NameRefused& refusal) {
  log::Error("Failed to name the capability file {}: {}", Shown(path), refusal.what());
  return -1;
}

int CreateCapFileByJsonInterface(const std::string& fileName, const std::string& vendor, const std::string& model,
                                 // NOLINTNEXTLINE(performance-unnecessary-value-param): the package's signature
                                 Json::Value cap) try {
  const std::string path = PathOf(fileName);
  if (PathsOfThisDocument().contains(path)) return 0;
  SaveFile(path, vendor, model, cap);
  PathsOfThisDocument().insert(path);
  return 0;
} catch (const NameRefused& refusal) {
  log::Error("Failed to write the capability file {}: {}", Shown(fileName), refusal.what());
  return -1;
} catch (const db::Error& error) {
  record::LogFailure("Failed to write the capability file {}", error, Shown(fileName));
  return -1;
}
