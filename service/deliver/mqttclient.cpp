#include "deliver/mqttclient.h"

#include <mosquitto.h>
#include <mqtt_protocol.h>
#include <netdb.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <mutex>

namespace qvcmsd {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kKeepAlive = 15;  ///< seconds
constexpr std::chrono::seconds kConnectTime{5};
constexpr int kFirstRefusal = 0x80;  ///< of the reasons that a broker gives
constexpr int kAtLeastOnce = 1;
/// Messages without an answer at most; the others wait in the library. For each answer it looks through all of these.
constexpr int kOnTheirWay = 300;

std::string Text(int result) { return result == MOSQ_ERR_ERRNO ? std::strerror(errno) : mosquitto_strerror(result); }

/// Whether anybody listens there. The library would wait for minutes for a machine that is off.
void RequireListener(const DeliveryRoute& route) {
  addrinfo wanted = {};
  wanted.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int failure = getaddrinfo(route.host.c_str(), std::to_string(route.port).c_str(), &wanted, &found);
  if (failure != 0) throw Away(gai_strerror(failure));
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> addresses(found, freeaddrinfo);
  int reason = 0;
  for (const addrinfo* address = found; address != nullptr; address = address->ai_next) {
    const int tried = socket(address->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    reason = connect(tried, address->ai_addr, address->ai_addrlen) == 0 ? 0 : errno;
    if (reason == EINPROGRESS) {
      pollfd connected = {.fd = tried, .events = POLLOUT, .revents = 0};
      socklen_t size = sizeof reason;
      const int limit = static_cast<int>(std::chrono::milliseconds(kConnectTime).count());
      if (poll(&connected, 1, limit) <= 0) {
        reason = ETIMEDOUT;
      } else if (getsockopt(tried, SOL_SOCKET, SO_ERROR, &reason, &size) != 0) {
        reason = errno;
      }
    }
    close(tried);
    if (reason == 0) return;
  }
  throw Away(std::strerror(reason));
}

/// While it lives, what is written to the connection goes out in full segments. The library writes each message by
/// itself, and a segment costs both ends more than the message in it.
class InFullSegments {
 public:
  explicit InFullSegments(mosquitto* client) : client_(client) { Set(1); }
  ~InFullSegments() { Set(0); }
  InFullSegments(const InFullSegments&) = delete;
  InFullSegments& operator=(const InFullSegments&) = delete;

 private:
  /// Without a connection it does nothing.
  void Set(int on) const { setsockopt(mosquitto_socket(client_), IPPROTO_TCP, TCP_CORK, &on, sizeof on); }
  mosquitto* const client_;
};

}  // namespace

struct MqttClient::Callbacks {
  static MqttClient& Self(void* self) { return *static_cast<MqttClient*>(self); }
  static void OnConnect(mosquitto* /*client*/, void* self, int reason, int /*flags*/, const mosquitto_property*) {
    if (reason == 0) {
      Self(self).is_connected_ = true;
    } else {
      Self(self).trouble_ = std::string("it refuses the connection: ") + mosquitto_reason_string(reason);
    }
  }
  static void OnDisconnect(mosquitto* /*client*/, void* self, int reason, const mosquitto_property*) {
    if (!Self(self).trouble_.empty()) return;
    Self(self).trouble_ = reason >= kFirstRefusal ? mosquitto_reason_string(reason) : "the connection is lost";
  }
  static void OnPublish(mosquitto* /*client*/, void* self, int number, int reason, const mosquitto_property*) {
    const bool is_about_message = reason == MQTT_RC_TOPIC_NAME_INVALID || reason == MQTT_RC_PACKET_TOO_LARGE ||
                                  reason == MQTT_RC_PAYLOAD_FORMAT_INVALID;
    if (reason < kFirstRefusal || is_about_message) {
      Self(self).answers_.push_back({number, is_about_message ? mosquitto_reason_string(reason) : ""});
    } else {  // about the user, or about the broker
      Self(self).trouble_ = std::string("it takes no message: ") + mosquitto_reason_string(reason);
    }
  }
  static void OnLog(mosquitto* /*client*/, void* self, int level, const char* text) {
    if (level == MOSQ_LOG_ERR) Self(self).last_error_ = text;
  }
  static void OnMessage(mosquitto* /*client*/, void* self, const mosquitto_message* message,
                        const mosquitto_property*) {
    const std::string_view payload(static_cast<const char*>(message->payload),
                                   static_cast<std::size_t>(message->payloadlen));
    Self(self).received_.push_back({message->topic, std::string(payload), message->retain});
  }
};

void MqttClient::Destroy::operator()(mosquitto* client) const { mosquitto_destroy(client); }

MqttClient::MqttClient(const DeliveryRoute& route, const Options& options) {
  static std::once_flag once;
  std::call_once(once, mosquitto_lib_init);
  RequireListener(route);
  client_.reset(mosquitto_new(options.id.empty() ? nullptr : options.id.c_str(), true, this));
  if (client_ == nullptr) throw Away(std::strerror(errno));
  mosquitto_int_option(client_.get(), MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
  mosquitto_int_option(client_.get(), MOSQ_OPT_TCP_NODELAY, 1);
  mosquitto_int_option(client_.get(), MOSQ_OPT_SEND_MAXIMUM, kOnTheirWay);  // the broker may lower it
  mosquitto_connect_v5_callback_set(client_.get(), Callbacks::OnConnect);
  mosquitto_publish_v5_callback_set(client_.get(), Callbacks::OnPublish);
  mosquitto_disconnect_v5_callback_set(client_.get(), Callbacks::OnDisconnect);
  mosquitto_message_v5_callback_set(client_.get(), Callbacks::OnMessage);
  mosquitto_log_callback_set(client_.get(), Callbacks::OnLog);
  if (const auto& [topic, payload] = options.will; !topic.empty()) {
    Check(mosquitto_will_set_v5(client_.get(), topic.c_str(), static_cast<int>(payload.size()), payload.data(),
                                kAtLeastOnce, true, nullptr));
  }
  if (!route.user.empty()) {
    mosquitto_username_pw_set(client_.get(), route.user.c_str(),
                              route.password.empty() ? nullptr : route.password.c_str());
  }
  if (route.scheme == DeliveryRoute::Scheme::Mqtts) UseTls(route);
  Check(mosquitto_connect_bind_v5(client_.get(), route.host.c_str(), route.port, kKeepAlive, nullptr, nullptr));
  const auto deadline = Clock::now() + kConnectTime;
  while (!is_connected_) {
    pollfd awaited = Awaits();
    poll(&awaited, 1, 100);
    Work();
    if (Clock::now() > deadline) throw Away("it does not answer");
  }
}

MqttClient::~MqttClient() = default;

void MqttClient::End() { mosquitto_disconnect(client_.get()); }

MqttClient::Sent MqttClient::Publish(const std::string& topic, const std::string& payload, bool retain) {
  int number = 0;
  const int result = mosquitto_publish_v5(client_.get(), &number, topic.c_str(), static_cast<int>(payload.size()),
                                          payload.data(), kAtLeastOnce, retain, nullptr);
  switch (result) {
    case MOSQ_ERR_INVAL:
    case MOSQ_ERR_PAYLOAD_SIZE:
    case MOSQ_ERR_OVERSIZE_PACKET:
    case MOSQ_ERR_MALFORMED_UTF8:
      return {.refusal = mosquitto_strerror(result)};
    default:
      Check(result);
      return {.number = number};
  }
}

void MqttClient::Subscribe(const std::string& topic) {
  Check(mosquitto_subscribe(client_.get(), nullptr, topic.c_str(), kAtLeastOnce));
}

void MqttClient::Unsubscribe(const std::string& topic) {
  Check(mosquitto_unsubscribe(client_.get(), nullptr, topic.c_str()));
}

pollfd MqttClient::Awaits() const {
  const bool writes = mosquitto_want_write(client_.get());
  return {.fd = mosquitto_socket(client_.get()),
          .events = static_cast<short>(writes ? POLLIN | POLLOUT : POLLIN),
          .revents = 0};
}

void MqttClient::Work() {
  constexpr int kPackets = 100;
  const InFullSegments until_all_is_done(client_.get());
  Check(mosquitto_loop_read(client_.get(), kPackets));
  if (mosquitto_want_write(client_.get())) Check(mosquitto_loop_write(client_.get(), kPackets));
  Check(mosquitto_loop_misc(client_.get()));
  if (!trouble_.empty()) throw Away(trouble_);
}

void MqttClient::UseTls(const DeliveryRoute& route) {
  const auto file = [](const std::string& name) { return name.empty() ? nullptr : name.c_str(); };
  if (route.authorities.empty()) mosquitto_int_option(client_.get(), MOSQ_OPT_TLS_USE_OS_CERTS, 1);
  const int result =
      mosquitto_tls_set(client_.get(), file(route.authorities), route.authorities.empty() ? "/etc/ssl/certs" : nullptr,
                        file(route.certificate), file(route.key), nullptr);
  if (result != MOSQ_ERR_SUCCESS) throw Away("a file of its URL cannot be used: " + Text(result));
}

void MqttClient::Check(int result) const {
  if (!trouble_.empty()) throw Away(trouble_);
  if (result == MOSQ_ERR_TLS) throw Away("TLS: " + last_error_);
  if (result != MOSQ_ERR_SUCCESS) throw Away(Text(result));
}

}  // namespace qvcmsd
