/// Hosts that the cases run on: data folders made by the library itself, and copies of them for the yardsticks.
#pragma once

#include <json/value.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "db/database.h"
#include "rawsqlite.h"

namespace bench {

/// The slave that is measured.
inline constexpr int kZr = 7;

/// A folder that goes with the object.
class Folder {
 public:
  Folder();
  ~Folder();
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

/// A host with a data folder of its own. One is open at a time in the process: `Use` opens this one.
class Host {
 public:
  /// @param foreign_rows  cameras of other slaves that the host holds already, a hundred of each
  explicit Host(int foreign_rows, qv::db::Durability durability = qv::db::Durability::Process);
  ~Host();

  void Use();
  /// Applies a snapshot of slave `zr` through the export, in one unit of work. @return the camera rows written
  int Apply(const Json::Value& snapshot, int zr = kZr);
  /// Applies a status report in the same way.
  int ApplyStatus(const Json::Value& report);
  /// The same for any slave, on the connection of the calling thread. @return the camera rows written
  static int ApplyReport(const Json::Value& report, int zr);
  std::uintmax_t DatabaseSize() const;
  /// Another database like this one, for a yardstick.
  std::filesystem::path CopyDatabase(const std::string& name);
  /// A connection beside the library's, for looking at the result.
  const RawDatabase& raw();

  /// "prepared 9, executed 12 (first call: prepared 9)" of the calls so far.
  std::string Statements() const;

 private:
  /// Runs `call`, and notes the statements that it took.
  int Count(const std::function<int()>& call);

  Folder folder_;
  qv::db::Durability durability_;
  std::unique_ptr<RawDatabase> raw_;
  qv::db::Session::Statistics first_call_;
  qv::db::Session::Statistics last_call_;
  bool called_ = false;
};

}  // namespace bench
