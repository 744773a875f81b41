/// The command line: what was asked for, one struct per command.
#pragma once

#include <qv/host.h>

#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace qvcms {

enum class Format { Table, Json };
enum class Color { Auto, Always, Never };

struct GlobalOptions {
  std::filesystem::path data_dir = "qvcms-data";
  std::string database;  ///< connection URI; empty: in the data folder
  int log_level = 3;     ///< least severe level that is logged
  std::string log_file;
  std::size_t log_max_size = 0;  ///< the log file is rotated before it grows beyond this; 0: never
  std::size_t log_files = 4;     ///< rotated log files that are kept
  Format format = Format::Table;
  Color color = Color::Auto;
  qv::DocumentLimits limits;
  qv::Durability durability = qv::Durability::PowerCut;
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
  std::string kind;
  std::optional<int> zr;
  bool wide = false;
  bool extra_values = false;  ///< show the values of members that the host has no field for
};

struct ConfiguringOptions {
  std::string device;
  int id = 0;
  bool on = false;
};

struct MessagesOptions {
  std::string target;  ///< empty: all
  std::optional<int> zr;
  bool follow = false;
  bool ack = false;
  bool set_aside = false;
  bool retry = false;
};

struct MigrateOptions {
  std::filesystem::path from;
  std::string from_database;
};

struct TokenMakeOptions {
  std::vector<std::string> scope;
  std::string note;
};

struct TokenListOptions {};

struct TokenRevokeOptions {
  std::string id;
};

using Command =
    std::variant<PairOptions, UpdateOptions, PlanOptions, StatusOptions, RemoveOptions, ListOptions, ConfiguringOptions,
                 MessagesOptions, MigrateOptions, TokenMakeOptions, TokenListOptions, TokenRevokeOptions>;

struct Options {
  GlobalOptions global;
  Command command;
};

/// Reads the command line. Help, the version and complaints are printed here.
/// @return the options, or the exit status of a program that has nothing more to do
std::variant<Options, int> ParseOptions(int argc, const char* const* argv);

}  // namespace qvcms
