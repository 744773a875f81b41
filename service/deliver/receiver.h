/// Who takes messages at the other end of a connection.
#pragma once

#include <poll.h>
#include <qv/outbox.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "deliver/route.h"

namespace qvcmsd {

/// The receiver is not there, or takes nothing now. `what()` says why.
class Away : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What became of a message that was sent.
struct Receipt {
  std::int64_t id = 0;
  std::string refusal = {};  ///< empty: the receiver has taken it
};

/// A connection. Belongs to one thread. All functions but `TakeReceipts` throw `Away`; the connection is then of no
/// further use.
class Receiver {
 public:
  virtual ~Receiver() = default;
  /// Sends a message, in order, behind those sent before. Does not wait for its receipt.
  virtual void Send(const qv::Message& message) = 0;
  /// What to poll for.
  virtual pollfd Awaits() const = 0;
  /// Does what is possible without waiting.
  virtual void Work() = 0;
  /// The receipts that came since the last call; also those that came before `Work` threw.
  virtual std::vector<Receipt> TakeReceipts() = 0;
};

/// Connects; takes some seconds at most. Throws `Away`.
std::unique_ptr<Receiver> ConnectToBroker(const DeliveryRoute& route);
std::unique_ptr<Receiver> ConnectToSocket(const DeliveryRoute& route);

}  // namespace qvcmsd
