/// Where the messages for a target go.
#pragma once

#include <string>

namespace qvcmsd {

/// As the option says it: TARGET=URL.
struct DeliveryRoute {
  /// For targets that no other route names.
  static constexpr const char* kRest = "*";

  enum class Scheme { Mqtt, Mqtts, Unix };
  std::string target;
  Scheme scheme = Scheme::Mqtt;
  std::string path;  ///< of a socket
  std::string host;
  int port = 0;
  std::string user;
  std::string password;
  std::string topics;            ///< what every topic begins with; empty: the usual
  std::string authorities;       ///< file with certificates; empty: those of the system
  std::string certificate, key;  ///< files; empty: none is shown

  /// For logs: without what is secret.
  std::string Name() const;
};

/// Throws `std::invalid_argument` with what is wrong, which repeats no password. Reads the file of a password.
DeliveryRoute ParseRoute(const std::string& text);
/// The same for the URL of a broker that the state goes to.
DeliveryRoute ParseStateRoute(const std::string& url);

}  // namespace qvcmsd
