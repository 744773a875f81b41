#include "deliver/route.h"

#include <charconv>
#include <fstream>
#include <map>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "deliver/homie.h"

namespace qvcmsd {
namespace {

[[noreturn]] void Refuse(const std::string& what) { throw std::invalid_argument(what); }

std::string Decoded(std::string_view text) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned byte = 0;
    if (text[i] != '%') {
      decoded += text[i];
    } else if (const auto hex = text.substr(i + 1, 2);
               hex.size() == 2 && std::from_chars(hex.data(), hex.data() + 2, byte, 16).ptr == hex.data() + 2) {
      decoded += static_cast<char>(byte);
      i += 2;
    } else {
      Refuse("a % in a URL is followed by two hexadecimal digits");
    }
  }
  return decoded;
}

/// Cuts off `text` what stands before `separator`, if it is there.
std::optional<std::string_view> CutBefore(std::string_view& text, char separator) {
  const std::size_t place = text.find(separator);
  if (place == std::string_view::npos) return std::nullopt;
  const std::string_view before = text.substr(0, place);
  text.remove_prefix(place + 1);
  return before;
}

std::string FirstLineOf(const std::string& path) {
  std::ifstream file(path);
  std::string line;
  if (!std::getline(file, line)) Refuse("the password cannot be read from " + path);
  return line;
}

void ReadParameters(std::string_view text, DeliveryRoute& route) {
  const std::map<std::string_view, std::string DeliveryRoute::*> files = {
      {"ca", &DeliveryRoute::authorities}, {"certificate", &DeliveryRoute::certificate}, {"key", &DeliveryRoute::key}};
  while (!text.empty()) {
    std::string_view value = text;
    if (const auto parameter = CutBefore(text, '&')) {
      value = *parameter;
    } else {
      text = {};
    }
    const std::string_view name = CutBefore(value, '=').value_or("");
    const auto file = files.find(name);
    if (name == "password-file") {
      route.password = FirstLineOf(Decoded(value));
    } else if (file != files.end()) {
      route.*(file->second) = Decoded(value);
    } else {
      Refuse("a URL of a broker has the parameters ca, certificate, key and password-file");
    }
  }
  if (route.certificate.empty() != route.key.empty()) Refuse("a certificate needs its key, and a key its certificate");
}

void ReadBroker(std::string_view rest, DeliveryRoute& route) {
  const std::size_t question = rest.find('?');
  const std::string_view parameters = question == std::string_view::npos ? "" : rest.substr(question + 1);
  rest = rest.substr(0, question);
  const std::size_t slash = rest.find('/');
  if (slash != std::string_view::npos && slash + 1 < rest.size()) route.topics = Decoded(rest.substr(slash + 1));
  rest = rest.substr(0, slash);
  if (auto user = CutBefore(rest, '@')) {
    std::string_view name = *user;
    if (const auto before = CutBefore(name, ':')) {
      route.password = Decoded(name);
      name = *before;
    }
    route.user = Decoded(name);
  }
  route.port = route.scheme == DeliveryRoute::Scheme::Mqtts ? 8883 : 1883;
  const std::size_t colon = rest.rfind(':');
  if (colon != std::string_view::npos && rest.find(']', colon) == std::string_view::npos) {
    const std::string_view port = rest.substr(colon + 1);
    const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), route.port);
    if (error != std::errc() || end != port.data() + port.size() || route.port < 1 || route.port > 65535) {
      Refuse("the port of a broker is a number from 1 to 65535");
    }
    rest = rest.substr(0, colon);
  }
  if (rest.starts_with('[') && rest.ends_with(']')) rest = rest.substr(1, rest.size() - 2);
  route.host = rest;
  if (route.host.empty()) Refuse("the URL of a broker names no host");
  if (route.topics.find_first_of("+#") != std::string::npos) Refuse("topics have no + and no #");
  ReadParameters(parameters, route);
}

DeliveryRoute ReadUrl(std::string_view url) {
  DeliveryRoute route;
  constexpr std::string_view kMqtt = "mqtt://";
  constexpr std::string_view kMqtts = "mqtts://";
  constexpr std::string_view kUnix = "unix:";
  if (url.starts_with(kUnix) && url.size() > kUnix.size()) {
    route.scheme = DeliveryRoute::Scheme::Unix;
    route.path = url.substr(kUnix.size());
  } else if (url.starts_with(kMqtt)) {
    ReadBroker(url.substr(kMqtt.size()), route);
  } else if (url.starts_with(kMqtts)) {
    route.scheme = DeliveryRoute::Scheme::Mqtts;
    ReadBroker(url.substr(kMqtts.size()), route);
  } else {
    Refuse("the URL of a receiver begins with mqtt://, mqtts:// or unix:");
  }
  return route;
}

}  // namespace

std::string DeliveryRoute::Name() const {
  if (scheme == Scheme::Unix) return "unix:" + path;
  return (scheme == Scheme::Mqtts ? "mqtts://" : "mqtt://") + host + ':' + std::to_string(port);
}

DeliveryRoute ParseRoute(const std::string& text) {
  std::string_view url = text;
  const std::string target(CutBefore(url, '=').value_or(""));
  if (target.empty()) Refuse("TARGET=URL is expected, such as msgd=mqtt://127.0.0.1 or *=unix:/run/msgd.sock");
  DeliveryRoute route = ReadUrl(url);
  route.target = target;
  return route;
}

DeliveryRoute ParseStateRoute(const std::string& url) {
  DeliveryRoute route = ReadUrl(url);
  if (route.scheme == DeliveryRoute::Scheme::Unix) Refuse("the state goes to a broker: mqtt:// or mqtts://");
  const HomieTopics topics(route.topics);  // refuses wrong ones
  return route;
}

}  // namespace qvcmsd
