#include "capability.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "../db/database.h"
#include "../log/message.h"
#include "../record/attempt.h"
#include "camcap.h"
#include "qvjson.h"
#include "taggedfield.h"

struct CapabilityFileData {
  enum Fields : int { FIELD_COUNT = 5 };
};

// Its path is what a file is known by on its slave; the index over owner and id covers it.
#define CAPABILITY_FILE_FIELDS(FIELD)                                   \
  FIELD(CapabilityFileData, 0, int, Id, "id", HostId)                   \
  FIELD(CapabilityFileData, 1, int, OwnerZrId, "owner_zr_id", Owner)    \
  FIELD(CapabilityFileData, 2, std::string, Path, "path", IdOnSlave)    \
  FIELD(CapabilityFileData, 3, std::string, Vendor, "vendor", HostOnly) \
  FIELD(CapabilityFileData, 4, std::string, Model, "model", HostOnly)

CAPABILITY_FILE_FIELDS(QV_TAGGED_FIELD)

namespace qv::capability {
namespace {

class CapabilityFile : public TaggedRecord<CapabilityFileData::Fields> {};
using Table = record::Table<CapabilityFile, CapabilityFileData::Fields>;

const Table& Files() {
  static const Table table("capability_file");
  return table;
}

/// The first name of a path that is a number and followed by another; empty when there is none.
std::string_view ServerName(std::string_view path) {
  const std::size_t slash = path.find('/');
  if (slash == 0 || slash == std::string_view::npos) return {};
  const std::string_view name = path.substr(0, slash);
  const bool is_number = std::all_of(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; });
  return is_number ? name : std::string_view();
}

int OwnerOf(const std::string& path, const std::string& model) {
  int owner = 0;
  const std::string_view name = ServerName(path);
  if (IsInteSupApi(model) == 0) std::from_chars(name.data(), name.data() + name.size(), owner);
  return owner;
}

/// The only row of the file, for `owner` to write. A shared file that has a server's own path becomes the server's; the
/// other way round it is refused, since a path that is used as a slave sent it may name a file of another slave.
CapabilityFile RowFor(int owner, const std::string& path) {
  CapabilityFile file = Files().Find(record::Where().Is("path", path)).value_or(CapabilityFile());
  if (owner == 0 && file.GetOwnerZrId() != 0) {
    throw db::Error(db::Error::Kind::Statement, "the file is a server's own");
  }
  file.SetOwnerZrId(owner);
  file.SetPath(path);
  return file;
}

void Remove(const std::string& path) {
  if (!db::StageRemoval(kFolder, path)) {
    throw db::Error(db::Error::Kind::Statement, "a link is on the way to " + path);
  }
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
  const std::list<CapabilityFile> files = Files().Select(record::Where().Is("owner_zr_id", zr));
  if (files.empty()) return;
  for (const CapabilityFile& file : files) Remove(file.GetPath());
  const std::string folder = std::to_string(zr);
  const std::list<CapabilityFile> shared = Files().Select(record::Where().Is("owner_zr_id", 0));
  const bool has_shared = std::any_of(shared.begin(), shared.end(), [&](const CapabilityFile& file) {
    return file.GetPath().starts_with(folder + '/');
  });
  if (!has_shared) Remove(folder);
  Files().DeleteWhere(record::Where().Is("owner_zr_id", zr));
}

}  // namespace qv::capability

using namespace qv;              // NOLINT(google-build-using-namespace): what follows is the package's interface
using namespace qv::capability;  // NOLINT(google-build-using-namespace)

int CheckAndMakeCapDir(std::string& path) {
  int result = -1;
  record::Attempt("Failed to make the folder of the capability files", [&] {
    const std::filesystem::path folder = db::DataFolder() / kFolder;
    path = folder.string();
    result = MakeFolder(folder);
  });
  return result;
}

int IsInteSupApi(const std::string& model) { return model.ends_with("-API") ? 1 : 0; }

int ReplaceZrIdInCapFilePath(std::string& path, int zrId) {
  const std::string_view server = ServerName(path);
  if (server.empty()) return -1;
  std::string rewritten;
  int result = -1;
  record::Attempt("Failed to look up a capability file of server [{}]", zrId, [&] {
    const std::optional<std::string> place = db::FilePlace(kFolder, std::to_string(zrId) + path.substr(server.size()));
    if (!place) return;
    path = *place;
    result = 0;
  });
  return result;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the package's signature
int CreateCapFileByJsonInterface(const std::string& fileName, const std::string& vendor, const std::string& model,
                                 Json::Value cap) {
  return record::Attempt("Failed to write a capability file", [&] {
    db::AllOrNothing whole;
    const std::optional<std::string> path = db::FilePlace(kFolder, fileName);
    if (!path) throw db::Error(db::Error::Kind::Statement, "its path is refused");
    CapabilityFile file = RowFor(OwnerOf(*path, model), *path);
    file.SetVendor(vendor);
    file.SetModel(model);
    const std::string content = JsonWrite(cap, false) + '\n';
    if (!db::FileHolds(kFolder, *path, content) && !db::StageFile(kFolder, *path, content)) {
      throw db::Error(db::Error::Kind::Statement, "its path is refused");
    }
    Files().Save(file);
    whole.Keep();
  });
}
