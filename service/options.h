/// The command line of the service.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "deliver/delivery.h"
#include "server.h"
#include "service.h"
#include "tls.h"

namespace qvcmsd {

struct Options {
  std::filesystem::path data_dir = "qvcms-data";
  std::string database = {};  ///< URI; empty: SQLite in the data folder
  /// None: the sockets that were handed over, else 127.0.0.1:8480. "none" alone: nowhere.
  std::vector<std::string> listen = {};
  TlsFiles tls;
  int log_level = 3;
  std::string log_file;
  std::chrono::milliseconds drain_time{30'000};
  qv::Durability durability = qv::Durability::PowerCut;
  ServiceOptions service;
  ServerLimits server;
  DeliveryOptions delivery;
  std::optional<DeliveryRoute> state;  ///< where it is published
};

/// Reads the command line and the configuration file. Help, the version and complaints are printed here.
/// @return the options, or the exit status of a program that has nothing more to do
std::variant<Options, int> ParseOptions(int argc, const char* const* argv);

}  // namespace qvcmsd
