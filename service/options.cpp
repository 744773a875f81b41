#include "options.h"

#include <CLI/CLI.hpp>
#include <iostream>

namespace qvcmsd {
namespace {

constexpr int kUsage = 64;

/// What is wrong with the options. The parser's own words about an unknown option of the file would puzzle people.
std::string Explain(const CLI::ParseError& error) {
  constexpr std::string_view kUnknown = "INI was not able to parse ";
  std::string text = error.what();
  if (!text.starts_with(kUnknown)) return text;
  return "the configuration file has an option that is not known: " + text.substr(kUnknown.size());
}

/// An option that is a number of seconds, such as 60 or 0.5.
void AddSeconds(CLI::App& app, const std::string& name, std::chrono::milliseconds& value, const std::string& text) {
  app.add_option_function<double>(
         name,
         [&value](double seconds) { value = std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000)); },
         text + "; default: " + std::to_string(value.count() / 1000))
      ->check(CLI::Range(0.1, 1e6))
      ->type_name("SECONDS");
}

template <class Number>
void AddCount(CLI::App& app, const std::string& name, Number& value, const std::string& text, std::size_t least = 1) {
  app.add_option(name, value, text)
      ->check(CLI::Range(static_cast<Number>(least), std::numeric_limits<Number>::max()))
      ->type_name("N")
      ->capture_default_str();
}

void AddOptions(CLI::App& app, Options& options) {
  app.add_option("--data-dir", options.data_dir, "Folder with the host's data, made on first use")
      ->type_name("DIR")
      ->envname("QVCMS_DATA_DIR")
      ->capture_default_str();
  app.add_option("--database", options.database,
                 "PostgreSQL database of the host; without it, SQLite in the data folder")
      ->type_name("URI")
      ->envname("QVCMS_DATABASE");
  app.add_option(
         "--listen", options.listen,
         "Address to listen on, such as 127.0.0.1:8480 or [::]:8480; may be given several times; \"none\": only "
         "deliver messages. Without it: the sockets that systemd hands over, else 127.0.0.1:8480")
      ->type_name("ADDR:PORT")
      ->allow_extra_args(false);
  auto* certificate = app.add_option("--tls-certificate", options.tls.certificate,
                                     "Certificate of the service and those that lead to its authority, PEM");
  auto* key = app.add_option("--tls-key", options.tls.key, "Its key, PEM");
  certificate->needs(key)->type_name("FILE");
  key->needs(certificate)->type_name("FILE");
  app.add_option("--client-ca", options.tls.client_ca,
                 "Authorities of client certificates, PEM; the common name of a client is its scope")
      ->needs(certificate)
      ->type_name("FILE");
  app.add_option("--log-level", options.log_level, "Least severe level that is logged, 0 (fatal) to 7 (dump)")
      ->check(CLI::Range(0, 7))
      ->type_name("N")
      ->capture_default_str();
  app.add_option("--log-file", options.log_file, "Append the log to this file in place of standard error")
      ->type_name("FILE");
  app.add_option_function<std::string>(
         "--synchronous",
         [&options](const std::string& word) {
           options.durability = word == "normal" ? qv::Durability::Process : qv::Durability::PowerCut;
         },
         "full (default): what is answered survives a power cut; normal: faster, a power cut may undo the last "
         "documents")
      ->check(CLI::IsMember({"full", "normal"}))
      ->option_text("full|normal");
  AddSeconds(app, "--silent-after", options.service.silent_after, "A slave that does not report for so long is silent");
  AddSeconds(app, "--drain-time", options.drain_time, "How long to go on with what waits when the service is stopped");
}

void AddRoute(std::vector<DeliveryRoute>& routes, DeliveryRoute route) {
  for (const DeliveryRoute& known : routes) {
    if (known.target == route.target) throw std::invalid_argument("the target " + route.target + " is named twice");
  }
  routes.push_back(std::move(route));
}

void AddDelivery(CLI::App& app, Options& options) {
  app.add_option_function<std::vector<std::string>>(
         "--deliver",
         [&options](const std::vector<std::string>& routes) {
           for (const std::string& route : routes) {
             try {
               AddRoute(options.delivery.routes, ParseRoute(route));
             } catch (const std::invalid_argument& fault) {
               throw CLI::ValidationError("--deliver", fault.what());
             }
           }
         },
         "Deliver the messages for a target (msgd, client, ...; * for the rest) to mqtt://HOST[:PORT][/TOPICS], "
         "mqtts://... or unix:PATH; may be given several times")
      ->type_name("TARGET=URL")
      ->allow_extra_args(false);
  app.add_option_function<std::string>(
         "--publish-state",
         [&options](const std::string& url) {
           try {
             options.state = ParseStateRoute(url);
           } catch (const std::invalid_argument& fault) {
             throw CLI::ValidationError("--publish-state", fault.what());
           }
         },
         "Publish the state of the slaves, as devices of the Homie convention, to mqtt://HOST[:PORT][/DOMAIN[/DEVICE]] "
         "or mqtts://...")
      ->type_name("URL");
  app.add_option_function<std::uint32_t>(
         "--keep-messages-for", [&options](std::uint32_t days) { options.delivery.keep_for = std::chrono::days(days); },
         "Delete messages for targets without --deliver that are older than so many days; default: never")
      ->type_name("DAYS");
  app.add_option("--keep-messages", options.delivery.keep_number,
                 "Delete the oldest messages for a target without --deliver when there are more; default: never")
      ->type_name("N");
}

void AddLimits(CLI::App& app, Options& options) {
  AddCount(app, "--max-body", options.service.max_body, "Bytes of a body as it is sent");
  AddCount(app, "--max-document", options.service.limits.size, "Bytes of a document once it is inflated");
  app.add_option("--max-depth", options.service.limits.depth, "Deepest nesting of a document")
      ->check(CLI::Range(std::size_t{1}, qv::DocumentLimits::kMaxDepth))
      ->type_name("N")
      ->capture_default_str();
  AddCount(app, "--max-values", options.service.limits.values, "Values in a document; each takes up to 400 bytes");
  AddCount(app, "--queue", options.service.pipeline.all, "Documents that may wait");
  AddCount(app, "--queue-per-slave", options.service.pipeline.per_slave, "Documents of one slave that may wait");
  AddCount(app, "--queue-bytes", options.service.pipeline.bytes, "Bytes of documents that may wait");
  AddCount(app, "--readers", options.service.pipeline.readers, "Threads that read documents; 0: one for each core", 0);
  AddCount(app, "--max-connections", options.server.connections, "Connections for each address that is listened on");
  AddCount(app, "--max-connections-per-client", options.server.connections_per_address,
           "Connections from one address; 0: any number", 0);
  AddSeconds(app, "--header-time", options.server.header_time, "Time for the first header of a connection");
  AddSeconds(app, "--body-time", options.server.body_time, "Time for a body, and a second more for each 64 KiB");
  AddSeconds(app, "--idle-time", options.server.idle_time, "Time from an answer to the next request");
}

}  // namespace

std::variant<Options, int> ParseOptions(int argc, const char* const* argv) {
  Options options;
  CLI::App app{
      "Takes the documents of slaves over HTTP, keeps the host's data in agreement with them, and shows what it holds.",
      "qvcmsd"};
  app.set_version_flag("--version", std::string("qvcmsd ") + QVCMS_VERSION);
  app.set_config("--config", "/etc/qvcmsd.conf", "Read options from this file: NAME=VALUE, one a line, without dashes");
  app.allow_config_extras(CLI::config_extras_mode::error);
  AddOptions(app, options);
  AddDelivery(app, options);
  AddLimits(app, options);
  app.footer("Exit status: 0 stopped by a signal, and all that waited was done; 1 failed; 64 wrong usage.");
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& success) {
    return app.exit(success, std::cout, std::cerr);
  } catch (const CLI::ParseError& error) {
    std::cerr << "qvcmsd: " << Explain(error) << "\nRun \"qvcmsd --help\" for the options.\n";
    return kUsage;
  }
  options.service.data_folder = options.data_dir;
  options.service.wants_credentials = !options.tls.client_ca.empty();
  return options;
}

}  // namespace qvcmsd
