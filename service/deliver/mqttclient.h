/// A connection to a broker of MQTT 5, which tells why it refuses a message. Older versions of MQTT do not.
#pragma once

#include <poll.h>

#include <memory>
#include <string>
#include <vector>

#include "deliver/receiver.h"
#include "deliver/route.h"

struct mosquitto;

namespace qvcmsd {

/// A retained message.
struct Retained {
  std::string topic;
  std::string payload;  ///< empty: the topic has none
};

/// Belongs to one thread. All functions throw `Away`; the connection is then of no further use.
class MqttClient {
 public:
  struct Options {
    std::string id = {};  ///< another connection with it is ended; empty: one is made up
    Retained will = {};   ///< what the broker publishes when the connection is lost; without a topic: nothing
  };
  /// Connects; takes some seconds at most.
  MqttClient(const DeliveryRoute& route, const Options& options);
  ~MqttClient();  ///< Loses the connection, if it was not ended.
  /// Ends the connection, so that there is no will.
  void End();
  MqttClient(const MqttClient&) = delete;
  MqttClient& operator=(const MqttClient&) = delete;

  struct Sent {
    int number = 0;            ///< of this connection
    std::string refusal = {};  ///< the library refuses it; it was not sent
  };
  /// Sends a message, which is delivered at least once. Does not wait.
  Sent Publish(const std::string& topic, const std::string& payload, bool retain);
  void Subscribe(const std::string& topic);
  void Unsubscribe(const std::string& topic);

  struct Taken {
    int number = 0;
    std::string refusal = {};  ///< the broker refuses it
  };
  /// What the broker has answered since the last call.
  std::vector<Taken> TakeAnswers() { return std::exchange(answers_, {}); }
  struct Received {
    std::string topic;
    std::string payload;
    bool was_retained = false;  ///< before the subscription
  };
  std::vector<Received> TakeReceived() { return std::exchange(received_, {}); }

  /// What to poll for.
  pollfd Awaits() const;
  /// Does what is possible without waiting.
  void Work();

 private:
  struct Callbacks;
  struct Destroy {
    void operator()(mosquitto* client) const;
  };
  void UseTls(const DeliveryRoute& route);
  void Check(int result) const;

  std::unique_ptr<mosquitto, Destroy> client_;
  std::vector<Taken> answers_;
  std::vector<Received> received_;
  bool is_connected_ = false;
  std::string trouble_;
  std::string last_error_;  ///< in the words of the library
};

}  // namespace qvcmsd
