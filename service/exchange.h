/// One request on its way through the HTTP library, and its answer.
#pragma once

#include <microhttpd.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

#include "connection.h"
#include "service.h"

namespace qvcmsd {

/// What the exchanges of a server share.
struct ServerState {
  Service& service;
  const class Tls* tls;
  std::size_t most_body_bytes;
  std::chrono::milliseconds body_time;
  std::chrono::milliseconds idle_time;
  Connections connections;
  std::atomic<std::size_t> body_bytes = 0;  ///< of all bodies that are held
  std::atomic<std::size_t> exchanges = 0;   ///< requests that were received and whose answers are not sent yet
};

/// The library calls it on the thread of the connection: `Begin` with the header, `Receive` with each piece of the
/// body, `Finish` at its end; then, once the answer is there, `Send`. The connection rests between these two.
class Exchange {
 public:
  Exchange(ServerState& server, std::string target) : server_(server), target_(std::move(target)) {}
  ~Exchange();
  Exchange(const Exchange&) = delete;
  Exchange& operator=(const Exchange&) = delete;

  bool has_begun() const { return connection_ != nullptr; }
  bool is_answered() const { return is_answered_; }

  /// @return false when the request is refused, and its answer is to be sent at once
  bool Begin(MHD_Connection* connection, const char* method);
  void Receive(const char* data, std::size_t size);
  /// Has the request carried out, and lets the connection rest meanwhile. @return whether the answer is there already
  bool Finish();
  MHD_Result Send();

 private:
  Request ReadHeader(const char* method) const;
  static bool HasShortBody(const Request& request);
  void Take(Response response);
  /// The answer came, from any thread.
  void Wake(Response response);
  static ssize_t NextPiece(void* exchange, std::uint64_t position, char* buffer, std::size_t size);
  ssize_t NextPiece(char* buffer, std::size_t size);
  void WakeStream();

  ServerState& server_;
  const std::string target_;
  MHD_Connection* connection_ = nullptr;
  Connection* limits_ = nullptr;
  std::string id_;
  std::unique_ptr<Call> call_;
  enum class Fault { None, Refused, TooLarge, NoRoom } fault_ = Fault::None;
  bool is_counted_ = false;  ///< in `ServerState::exchanges`
  std::size_t received_ = 0;
  std::size_t held_ = 0;  ///< bytes of the body that count in `ServerState::body_bytes`
  Connection::Clock::time_point begun_;
  Response response_;
  std::atomic<bool> is_answered_ = false;

  std::mutex stream_mutex_;
  bool is_resting_ = false;  ///< the stream had nothing to send
  bool is_woken_ = false;    ///< it had something since it was asked last
  std::string piece_;        ///< of the stream, what is still to be sent
};

}  // namespace qvcmsd
