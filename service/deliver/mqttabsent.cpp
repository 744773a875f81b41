/// In place of mqttreceiver.cpp, in a build without libmosquitto.

#include "deliver/receiver.h"

namespace qvcmsd {

std::unique_ptr<Receiver> ConnectToBroker(const DeliveryRoute& /*route*/) {
  throw Away("this program was built without MQTT (libmosquitto)");
}

}  // namespace qvcmsd
