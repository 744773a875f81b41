/// The command line: what was asked for, one struct per command.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <variant>

#include "db/driver.h"
#include "kinds.h"

namespace qvcms {

enum class Format { Table, Json };

struct GlobalOptions {
  std::filesystem::path data_dir = "qvcms-data";
  int log_level = 3;  ///< least severe level that is logged
  std::string log_file;
  Format format = Format::Table;
  std::size_t max_depth = 0;   ///< of a document's arrays and objects
  std::size_t max_size = 0;    ///< of a document, in bytes
  std::size_t max_values = 0;  ///< in a document: itself, and all elements and members
  qv::db::Durability durability = qv::db::Durability::Power;
};

/// A slave's document and the slave that sent it.
struct Import {
  int zr = 0;
  std::string document;              ///< file name, or "-" for standard input
  std::optional<std::string> model;  ///< none: the one remembered
};

struct PairOptions {
  Import import;
};

struct UpdateOptions {
  Import import;
  bool allow_removals = false;
};

struct PlanOptions {
  Import import;
  bool exit_code = false;  ///< tell changes by the exit status
};

struct StatusOptions {
  int zr = 0;
  std::string document;
};

struct RemoveOptions {
  int zr = 0;
};

struct ListOptions {
  const Kind* kind = nullptr;
  std::optional<int> zr;
  bool wide = false;
  bool extra_values = false;  ///< show the values of members that the host has no field for
};

struct ConfiguringOptions {
  std::string device;  ///< one of `ConfigurableKindNames`
  int id = 0;
  bool on = false;
};

/// The kinds of devices that users configure on the host.
std::vector<std::string> ConfigurableKindNames();

using Command = std::variant<PairOptions, UpdateOptions, PlanOptions, StatusOptions, RemoveOptions, ListOptions,
                             ConfiguringOptions>;

struct Options {
  GlobalOptions global;
  Command command;
};

/// Reads the command line. Help, the version and complaints are printed here.
/// @return the options, or the exit status of a program that has nothing more to do
std::variant<Options, int> ParseOptions(int argc, const char* const* argv);

}  // namespace qvcms
