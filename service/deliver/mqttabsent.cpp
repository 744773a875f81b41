/// In place of mqttclient.cpp, in a build without libmosquitto.

#include "deliver/mqttclient.h"

namespace qvcmsd {

MqttClient::MqttClient(const DeliveryRoute& /*route*/, const Options& /*options*/) {
  throw Away("this program was built without MQTT (libmosquitto)");
}
MqttClient::~MqttClient() = default;
void MqttClient::Destroy::operator()(mosquitto* /*client*/) const {}

// Nothing was connected.
void MqttClient::End() {}
MqttClient::Sent MqttClient::Publish(const std::string& /*topic*/, const std::string& /*payload*/, bool /*retain*/) {
  return {};
}
void MqttClient::Subscribe(const std::string& /*topic*/) {}
void MqttClient::Unsubscribe(const std::string& /*topic*/) {}
pollfd MqttClient::Awaits() const { return {}; }
void MqttClient::Work() {}

}  // namespace qvcmsd
