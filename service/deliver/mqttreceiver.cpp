/// A broker of MQTT 5, by libmosquitto: it tells why it refuses a message. Older versions of MQTT do not.

#include <mosquitto.h>
#include <mqtt_protocol.h>
#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <mutex>
#include <unordered_map>

#include "deliver/receiver.h"

namespace qvcmsd {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kKeepAlive = 15;  ///< seconds
constexpr std::chrono::seconds kConnectTime{5};
constexpr int kFirstRefusal = 0x80;  ///< of the reasons that a broker gives

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

class MqttReceiver : public Receiver {
 public:
  explicit MqttReceiver(const DeliveryRoute& route) : route_(route) {
    static std::once_flag once;
    std::call_once(once, mosquitto_lib_init);
    RequireListener(route);
    client_.reset(mosquitto_new(nullptr, true, this));
    if (client_ == nullptr) throw Away(std::strerror(errno));
    mosquitto_int_option(client_.get(), MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
    mosquitto_int_option(client_.get(), MOSQ_OPT_TCP_NODELAY, 1);
    mosquitto_int_option(client_.get(), MOSQ_OPT_SEND_MAXIMUM, 65535);  // the broker lowers it
    mosquitto_connect_v5_callback_set(client_.get(), OnConnect);
    mosquitto_publish_v5_callback_set(client_.get(), OnPublish);
    mosquitto_disconnect_v5_callback_set(client_.get(), OnDisconnect);
    if (!route.user.empty()) {
      mosquitto_username_pw_set(client_.get(), route.user.c_str(),
                                route.password.empty() ? nullptr : route.password.c_str());
    }
    if (route.scheme == DeliveryRoute::Scheme::Mqtts) UseTls();
    Check(mosquitto_connect_bind_v5(client_.get(), route.host.c_str(), route.port, kKeepAlive, nullptr, nullptr));
    const auto deadline = Clock::now() + kConnectTime;
    while (!is_connected_) {
      pollfd awaited = MqttReceiver::Awaits();
      poll(&awaited, 1, 100);
      MqttReceiver::Work();
      if (Clock::now() > deadline) throw Away("it does not answer");
    }
  }
  ~MqttReceiver() override { mosquitto_disconnect(client_.get()); }
  MqttReceiver(const MqttReceiver&) = delete;
  MqttReceiver& operator=(const MqttReceiver&) = delete;

  void Send(const qv::Message& message) override {
    const std::string topic = route_.topics + "/outbox/" + message.target + '/' + std::to_string(message.zr);
    const std::string text = ToJson(message);
    int number = 0;
    const int result = mosquitto_publish_v5(client_.get(), &number, topic.c_str(), static_cast<int>(text.size()),
                                            text.data(), 1, false, nullptr);
    switch (result) {
      case MOSQ_ERR_SUCCESS:
        ids_[number] = message.id;
        return;
      case MOSQ_ERR_INVAL:
      case MOSQ_ERR_PAYLOAD_SIZE:
      case MOSQ_ERR_OVERSIZE_PACKET:
      case MOSQ_ERR_MALFORMED_UTF8:
        receipts_.push_back({.id = message.id, .refusal = mosquitto_strerror(result)});
        return;
      default:
        Check(result);
    }
  }
  pollfd Awaits() const override {
    const bool writes = mosquitto_want_write(client_.get());
    return {.fd = mosquitto_socket(client_.get()),
            .events = static_cast<short>(writes ? POLLIN | POLLOUT : POLLIN),
            .revents = 0};
  }
  void Work() override {
    constexpr int kPackets = 100;
    Check(mosquitto_loop_read(client_.get(), kPackets));
    if (mosquitto_want_write(client_.get())) Check(mosquitto_loop_write(client_.get(), kPackets));
    Check(mosquitto_loop_misc(client_.get()));
    if (!trouble_.empty()) throw Away(trouble_);
  }

 private:
  void UseTls() {
    const auto file = [](const std::string& name) { return name.empty() ? nullptr : name.c_str(); };
    if (route_.authorities.empty()) mosquitto_int_option(client_.get(), MOSQ_OPT_TLS_USE_OS_CERTS, 1);
    const int result = mosquitto_tls_set(client_.get(), file(route_.authorities),
                                         route_.authorities.empty() ? "/etc/ssl/certs" : nullptr,
                                         file(route_.certificate), file(route_.key), nullptr);
    if (result != MOSQ_ERR_SUCCESS) throw Away("a file of its URL cannot be used: " + Text(result));
  }
  static std::string Text(int result) {
    return result == MOSQ_ERR_ERRNO ? std::strerror(errno) : mosquitto_strerror(result);
  }
  void Check(int result) const {
    if (!trouble_.empty()) throw Away(trouble_);
    if (result != MOSQ_ERR_SUCCESS) throw Away(Text(result));
  }

  static MqttReceiver& Self(void* self) { return *static_cast<MqttReceiver*>(self); }
  static void OnConnect(mosquitto* /*client*/, void* self, int reason, int /*flags*/, const mosquitto_property*) {
    if (reason == 0) {
      Self(self).is_connected_ = true;
    } else {
      Self(self).trouble_ = std::string("it refuses the connection: ") + mosquitto_reason_string(reason);
    }
  }
  static void OnDisconnect(mosquitto* /*client*/, void* self, int reason, const mosquitto_property*) {
    MqttReceiver& receiver = Self(self);
    if (receiver.trouble_.empty()) {
      receiver.trouble_ = reason >= kFirstRefusal ? mosquitto_reason_string(reason) : "the connection is lost";
    }
  }
  static void OnPublish(mosquitto* /*client*/, void* self, int number, int reason, const mosquitto_property*) {
    MqttReceiver& receiver = Self(self);
    const auto found = receiver.ids_.find(number);
    if (found == receiver.ids_.end()) return;
    const std::int64_t id = found->second;
    receiver.ids_.erase(found);
    if (reason == MQTT_RC_NOT_AUTHORIZED) {  // about the user, not about the message
      receiver.trouble_ = "this user may not publish there";
    } else if (reason >= kFirstRefusal) {
      receiver.receipts_.push_back({.id = id, .refusal = mosquitto_reason_string(reason)});
    } else {
      receiver.receipts_.push_back({.id = id});
    }
  }

  const DeliveryRoute& route_;
  std::unique_ptr<mosquitto, decltype(&mosquitto_destroy)> client_{nullptr, mosquitto_destroy};
  std::unordered_map<int, std::int64_t> ids_;  ///< of messages, by the library's numbers
  bool is_connected_ = false;
  std::string trouble_;
};

}  // namespace

std::unique_ptr<Receiver> ConnectToBroker(const DeliveryRoute& route) { return std::make_unique<MqttReceiver>(route); }

}  // namespace qvcmsd
