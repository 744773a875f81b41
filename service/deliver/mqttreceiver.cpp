/// A broker takes messages.

#include <unordered_map>

#include "deliver/mqttclient.h"

namespace qvcmsd {
namespace {

class MqttReceiver : public Receiver {
 public:
  explicit MqttReceiver(const DeliveryRoute& route)
      : topics_(route.topics.empty() ? "qvcms" : route.topics), client_(route, {}) {}
  ~MqttReceiver() override { client_.End(); }
  MqttReceiver(const MqttReceiver&) = delete;
  MqttReceiver& operator=(const MqttReceiver&) = delete;

  void Send(const qv::Message& message) override {
    const std::string topic = topics_ + "/outbox/" + message.target + '/' + std::to_string(message.zr);
    const MqttClient::Sent sent = client_.Publish(topic, ToJson(message), false);
    if (sent.refusal.empty()) {
      ids_[sent.number] = message.id;
    } else {
      receipts_.push_back({.id = message.id, .refusal = sent.refusal});
    }
  }
  pollfd Awaits() const override { return client_.Awaits(); }
  void Work() override { client_.Work(); }
  std::vector<Receipt> TakeReceipts() override {
    for (MqttClient::Taken& taken : client_.TakeAnswers()) {
      const auto message = ids_.extract(taken.number);
      if (message) receipts_.push_back({.id = message.mapped(), .refusal = std::move(taken.refusal)});
    }
    return std::exchange(receipts_, {});
  }

 private:
  const std::string topics_;
  MqttClient client_;
  std::unordered_map<int, std::int64_t> ids_;  ///< of messages, by the client's numbers
  std::vector<Receipt> receipts_;
};

}  // namespace

std::unique_ptr<Receiver> ConnectToBroker(const DeliveryRoute& route) { return std::make_unique<MqttReceiver>(route); }

}  // namespace qvcmsd
