#include "options.h"

#include <utf8.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <climits>
#include <functional>
#include <iostream>
#include <sstream>

#include "exitcodes.h"
#include "output.h"

namespace qvcms {
namespace {

/// A decimal number. The parser would take one that starts with 0 for an octal or a hexadecimal one.
CLI::Validator Number(std::uint64_t least, std::uint64_t most) {
  return {
      [least, most](const std::string& text) {
        std::uint64_t number = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        const bool decimal = error == std::errc() && end == text.data() + text.size() && std::to_string(number) == text;
        if (decimal && least <= number && number <= most) return std::string();
        return "\"" + text + "\" is not a decimal number from " + std::to_string(least) + " to " + std::to_string(most);
      },
      ""};
}

/// A number of bytes; with K, M or G behind it, of as many times 1024 of them. Becomes plain bytes.
CLI::Validator Size() {
  return {[](std::string& text) {
            constexpr std::string_view kUnits = "KkMmGg";
            std::uint64_t size = 0;
            const char* const end = text.data() + text.size();
            const auto [unit, error] = std::from_chars(text.data(), end, size);
            const std::size_t place = unit == end ? 0 : kUnits.find(*unit);
            const std::size_t shift = unit == end ? 0 : 10 * (place / 2 + 1);
            if (error != std::errc() || text.starts_with('0') || end - unit > 1 || place == std::string_view::npos ||
                size > UINT64_MAX >> shift) {
              return '"' + text + "\" is not a size such as 1000000, 512K, 300M or 1G";
            }
            text = std::to_string(size << shift);
            return std::string();
          },
          ""};
}

CLI::Validator NotEmpty() {
  return {[](const std::string& text) { return std::string(text.empty() ? "the name is empty" : ""); }, ""};
}

CLI::Validator Utf8() {
  return {[](const std::string& text) {
            return std::string(utf8::is_valid(text.begin(), text.end()) ? "" : "the name is not UTF-8");
          },
          ""};
}

bool IsKind(const std::string& name) {
  const auto kinds = qv::Host::Kinds();
  return std::any_of(kinds.begin(), kinds.end(), [&](const qv::KindInfo& kind) { return kind.name == name; });
}

/// Every name, joined by ", ".
std::string KindNames() {
  std::string names;
  for (const qv::KindInfo& kind : qv::Host::Kinds()) names += (names.empty() ? "" : ", ") + std::string(kind.name);
  return names;
}

/// Collects what the parser finds. The parser keeps references into it, so it stays where it is.
class CommandLine {
 public:
  CommandLine() {
    app_.name("qvcms");
    app_.set_version_flag("--version", std::string("qvcms ") + QVCMS_VERSION);
    app_.require_subcommand(1);
    app_.fallthrough();
    for (const auto& [word, shown] :
         {std::pair("SUBCOMMAND", "COMMAND"), {"Positionals", "Arguments"}, {"INT", "N"}, {"UINT", "N"}}) {
      app_.get_formatter()->label(word, shown);
    }
    app_.footer(
        "Exit status: 0 done; 1 failed, nothing applied unless the message says so; 2 `plan --exit-code`\n"
        "found changes; 64 wrong usage; 65 the document cannot be read or used.\n"
        "`qvcms COMMAND --help` shows an example of each command.");
    AddGlobalOptions();
    AddImports();
    AddStatusAndRemove();
    AddList();
    AddConfiguring();
    AddMessages();
    AddMigrate();
    AddToken();
  }

  std::variant<Options, int> Parse(int argc, const char* const* argv) {
    try {
      app_.parse(argc, argv);
    } catch (const CLI::Success& success) {
      std::ostringstream text;
      const int status = app_.exit(success, text, text);
      Print(text.str());
      return status;
    } catch (const CLI::ParseError& error) {
      Complain(Explain(error));
      std::cerr << "Run \"qvcms --help\" for the commands and options";
      for (const CLI::App* command : app_.get_subcommands()) {
        std::cerr << ", \"qvcms " << command->get_name() << " --help\" for what " << command->get_name() << " takes";
      }
      std::cerr << ".\n";
      return kUsage;
    }
    for (const auto& [subcommand, make] : makers_) {
      if (subcommand->parsed()) return Options{global_, make()};
    }
    return kUsage;
  }

 private:
  /// What is wrong with the command line. The parser's own words name no command, and arguments in reverse.
  std::string Explain(const CLI::ParseError& error) const {
    const std::vector<std::string> unexpected = app_.remaining(true);
    const auto word = std::find_if(unexpected.begin(), unexpected.end(),
                                   [](const std::string& argument) { return !argument.starts_with('-'); });
    const bool has_command = !app_.get_subcommands().empty();
    if (!unexpected.empty() && (has_command || word == unexpected.end())) {
      return "not expected: " + CLI::detail::join(unexpected, " ");
    }
    std::string text = error.what();
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
      return text.substr(0, text.find(':')) + (text.ends_with("missing") ? ": its value is missing" : ": given twice");
    }
    if (dynamic_cast<const CLI::RequiredError*>(&error) == nullptr || has_command) return text;
    std::string commands;
    for (const CLI::App* command : app_.get_subcommands([](const CLI::App*) { return true; })) {
      commands += (commands.empty() ? "" : ", ") + command->get_name();
    }
    return (word == unexpected.end() ? "a command is missing" : "unknown command '" + *word + "'") +
           "; the commands are " + commands;
  }

  CLI::App* AddCommand(const std::string& name, const std::string& text, const std::string& example,
                       std::function<Command()> make) {
    CLI::App* command = app_.add_subcommand(name, text)->group("Commands");
    command->footer("Example:\n" + example + "\n\n`qvcms --help` shows the options that every command has.");
    makers_.emplace_back(command, std::move(make));
    return command;
  }

  void AddZr(CLI::App* command, int& zr) {
    command->add_option("ZR", zr, "Server id of the slave")->required()->check(Number(1, INT_MAX));
  }

  void AddDocument(CLI::App* command, const std::string& what) {
    command->add_option("DOC", import_.document, what + ", - for standard input")->required()->check(NotEmpty());
  }

  void AddImport(CLI::App* command) {
    AddZr(command, import_.zr);
    AddDocument(command, "The slave's JSON document");
    command->add_option("--model", import_.model, "Model of the slave; default: the one remembered")
        ->type_name("NAME")
        ->check(Utf8());
  }

  void AddGlobalOptions() {
    app_.add_option("--data-dir", global_.data_dir, "Folder with the host's data, made on first use")
        ->type_name("DIR")
        ->envname("QVCMS_DATA_DIR")
        ->check(NotEmpty())
        ->capture_default_str();
    app_.add_option("--database", global_.database,
                    "PostgreSQL database of the host; without it, SQLite in the data folder")
        ->type_name("URI")
        ->envname("QVCMS_DATABASE");
    app_.add_option("--log-level", global_.log_level, "Least severe level that is logged, 0 (fatal) to 7 (dump)")
        ->check(Number(0, 7))
        ->capture_default_str();
    app_.add_option("--log-file", global_.log_file, "Append the log to this file too")
        ->type_name("FILE")
        ->check(NotEmpty());
    app_.add_option("--log-max-size", global_.log_max_size,
                    "Rotate the log file before it is larger, such as 10M; default: never")
        ->transform(Size());
    app_.add_option("--log-files", global_.log_files, "Rotated log files that are kept")
        ->check(Number(0, 1000))
        ->capture_default_str();
    app_.add_option_function<std::string>(
            "-o,--output",
            [this](const std::string& word) { global_.format = word == "json" ? Format::Json : Format::Table; },
            "What to print; default: table")
        ->check(CLI::IsMember({"table", "json"}))
        ->option_text("table|json");
    app_.add_option_function<std::string>(
            "--color",
            [this](const std::string& word) {
              global_.color = word == "always" ? Color::Always : word == "never" ? Color::Never : Color::Auto;
            },
            "Colours in the counts; default: auto, on a terminal unless NO_COLOR is set")
        ->check(CLI::IsMember({"auto", "always", "never"}))
        ->option_text("auto|always|never");
    app_.add_option("--max-depth", global_.limits.depth, "Deepest nesting of a document")
        ->check(Number(1, qv::DocumentLimits::kMaxDepth))
        ->capture_default_str();
    app_.add_option("--max-size", global_.limits.size, "Largest document, in bytes; or with a unit: 512K, 300M, 1G")
        ->transform(Size())
        ->capture_default_str();
    app_.add_option("--max-values", global_.limits.values,
                    "Most values in a document; each takes up to 400 bytes of memory")
        ->check(Number(1, UINT64_MAX))
        ->capture_default_str();
    app_.add_option_function<std::string>(
            "--synchronous",
            [this](const std::string& word) {
              global_.durability = word == "normal" ? qv::Durability::Process : qv::Durability::PowerCut;
            },
            "full (default): what is done survives a power cut; normal: faster, a power cut may undo the last "
            "commands")
        ->check(CLI::IsMember({"full", "normal"}))
        ->option_text("full|normal");
  }

  void AddImports() {
    AddImport(AddCommand("pair", "Take over everything of a newly paired slave",
                         "  qvcms pair 7 examples/slave7-pair.json --model QVA-3216",
                         [this] { return PairOptions{import_}; }));
    CLI::App* update =
        AddCommand("update", "Apply a slave's configuration snapshot", "  qvcms update 7 snapshot.json", [this] {
          return UpdateOptions{import_, allow_removals_};
        });
    AddImport(update);
    update->add_flag("--allow-removals", allow_removals_,
                     "Apply a snapshot that removes more than half of ten or more devices");
    CLI::App* plan =
        AddCommand("plan", "Show what update would do, and do nothing; the log tells of changes that are taken back",
                   "  qvcms plan --exit-code 7 snapshot.json || echo \"status $?\"", [this] {
                     return PlanOptions{import_, exit_code_};
                   });
    AddImport(plan);
    plan->add_flag("--exit-code", exit_code_, "Exit with 2 when there are changes");
  }

  void AddStatusAndRemove() {
    CLI::App* status = AddCommand("status", "Apply a slave's status report", "  qvcms status 7 status.json", [this] {
      return StatusOptions{import_.zr, import_.document};
    });
    AddZr(status, import_.zr);
    AddDocument(status, "The status report");
    AddZr(AddCommand("remove", "Delete everything held for a slave", "  qvcms remove 7",
                     [this] { return RemoveOptions{import_.zr}; }),
          import_.zr);
  }

  void AddList() {
    CLI::App* list =
        AddCommand("list", "Show what the host holds", "  qvcms list pos --zr 7\n  qvcms -o json list message", [this] {
          return ListOptions{kind_, list_zr_, wide_, extra_values_};
        });
    list->add_option("KIND", kind_, "One of " + KindNames())->required()->check([](const std::string& name) {
      return IsKind(name) ? "" : "unknown kind \"" + name + "\"; the kinds are " + KindNames();
    });
    list->add_option("--zr", list_zr_, "Only what belongs to this slave")->check(Number(1, INT_MAX));
    list->add_flag("--wide", wide_, "Show every column, whole");
    list->add_flag("--extra-values", extra_values_,
                   "Show what slaves report without this host knowing it with its values, not only by name");
  }

  void AddConfiguring() {
    CLI::App* configuring = AddCommand("configuring", "Mark a device as being configured on the host, or as free again",
                                       "  qvcms configuring camera 3 on", [this] { return configuring_; });
    configuring->add_option("DEVICE", configuring_.device, "Kind of device")
        ->required()
        ->check(CLI::IsMember(
            std::vector<std::string>(qv::Host::ConfigurableKinds().begin(), qv::Host::ConfigurableKinds().end())));
    configuring->add_option("ID", configuring_.id, "Id of the device on the host")
        ->required()
        ->check(Number(1, INT_MAX));
    configuring
        ->add_option_function<std::string>(
            "STATE", [this](const std::string& word) { configuring_.on = word == "on"; }, "on or off")
        ->required()
        ->check(CLI::IsMember({"on", "off"}));
  }

  void AddMessages() {
    CLI::App* messages = AddCommand("messages", "Show messages to other services as JSON lines, and take them out",
                                    "  qvcms messages --target msgd --follow --ack | while read -r line; do ...; done",
                                    [this] { return messages_; });
    auto* target = messages->add_option("--target", messages_.target, "Only messages to this service, such as msgd");
    target->type_name("NAME")->check(NotEmpty());
    messages->add_option("--zr", messages_.zr, "Only messages about this slave; 0: about several or none")
        ->check(Number(0, INT_MAX));
    auto* follow = messages->add_flag("--follow", messages_.follow, "Go on with those to come");
    auto* ack = messages->add_flag("--ack", messages_.ack, "Delete each batch of messages once it is written");
    auto* set_aside =
        messages->add_flag("--set-aside", messages_.set_aside, "Those that were refused, in place of those that wait");
    messages->add_flag("--retry", messages_.retry, "Have those that were refused delivered again, with new ids")
        ->excludes(follow)
        ->excludes(ack)
        ->excludes(set_aside);
    ack->needs(target);
  }

  void AddMigrate() {
    CLI::App* migrate = AddCommand("migrate", "Copy a whole host into another, empty database",
                                   "  qvcms migrate --from old-data --data-dir data --database postgresql://db/qv",
                                   [this] { return migrate_; });
    migrate->add_option("--from", migrate_.from, "Data folder of the host that is copied")
        ->required()
        ->type_name("DIR")
        ->check(NotEmpty());
    migrate->add_option("--from-database", migrate_.from_database, "Its PostgreSQL database, if it has one")
        ->type_name("URI");
  }

  void AddToken() {
    CLI::App* token = app_.add_subcommand("token", "Say who may use the service (qvcmsd)")->group("Commands");
    token->require_subcommand(1);
    const auto add = [&](const char* name, const char* text, const char* example, std::function<Command()> make) {
      CLI::App* command = token->add_subcommand(name, text);
      command->footer(std::string("Example:\n") + example);
      makers_.emplace_back(command, std::move(make));
      return command;
    };
    CLI::App* make = add("make", "Make a token and print it; it cannot be shown again",
                         "  qvcms token make --scope slave:7 --note \"north gate\"", [this] {
                           return TokenMakeOptions{token_scope_, token_note_};
                         });
    make->add_option("--scope", token_scope_,
                     "What its bearer may do: slave:ZR (send documents of this slave), read, operate, metrics; several "
                     "may be given")
        ->required()
        ->type_name("SCOPE");
    make->add_option("--note", token_note_, "What it is for")->type_name("TEXT")->check(Utf8());
    add("list", "Show the tokens, without their secrets", "  qvcms token list", [] { return TokenListOptions{}; });
    CLI::App* revoke = add("revoke", "Make a token worthless; the service takes notice within a second",
                           "  qvcms token revoke 1a2b3c4d", [this] { return TokenRevokeOptions{token_id_}; });
    revoke->add_option("ID", token_id_, "Id of the token")->required()->check(NotEmpty());
  }

  CLI::App app_{"Keeps a video-surveillance host's database in agreement with its recording servers.", "qvcms"};
  std::vector<std::pair<CLI::App*, std::function<Command()>>> makers_;
  GlobalOptions global_;
  Import import_;
  bool allow_removals_ = false;
  bool exit_code_ = false;
  std::string kind_;
  std::optional<int> list_zr_;
  bool wide_ = false;
  bool extra_values_ = false;
  ConfiguringOptions configuring_;
  MessagesOptions messages_;
  MigrateOptions migrate_;
  std::vector<std::string> token_scope_;
  std::string token_note_;
  std::string token_id_;
};

}  // namespace

std::variant<Options, int> ParseOptions(int argc, const char* const* argv) {
  CommandLine line;
  return line.Parse(argc, argv);
}

}  // namespace qvcms
