/// A program on this machine that listens on a socket: each message is a JSON line, and is answered by a line, in
/// order: "ok", or why it is refused.

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <deque>

#include "deliver/receiver.h"

namespace qvcmsd {
namespace {

class SocketReceiver : public Receiver {
 public:
  explicit SocketReceiver(const std::string& path)
      : socket_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const bool fits = path.size() < sizeof address.sun_path;
    if (fits) std::memcpy(address.sun_path, path.data(), path.size());
    if (!fits) errno = ENAMETOOLONG;
    if (fits && connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return;
    const std::string reason = std::strerror(errno);
    close(socket_);
    throw Away(reason);
  }
  ~SocketReceiver() override { close(socket_); }
  SocketReceiver(const SocketReceiver&) = delete;
  SocketReceiver& operator=(const SocketReceiver&) = delete;

  void Send(const qv::Message& message) override {
    unanswered_.push_back(message.id);
    to_send_ += ToJson(message) + '\n';
  }
  pollfd Awaits() const override {
    return {.fd = socket_,
            .events = static_cast<short>(sent_ == to_send_.size() ? POLLIN : POLLIN | POLLOUT),
            .revents = 0};
  }
  /// Reads answers also when nothing can be sent any more: a receiver may answer and go.
  void Work() override {
    const int send_error = SendWhatGoes();
    char part[4096];
    ssize_t size = 0;
    while ((size = recv(socket_, part, sizeof part, 0)) > 0) {
      answers_.append(part, static_cast<std::size_t>(size));
      ReadAnswers();
    }
    if (size == 0) throw Away("it has closed the connection");
    if (errno != EAGAIN && errno != EINTR) throw Away(std::strerror(errno));
    if (send_error != 0) throw Away(std::strerror(send_error));
  }
  std::vector<Receipt> TakeReceipts() override { return std::exchange(receipts_, {}); }

 private:
  /// @return the error that it ended with; 0: all is sent, or the rest must wait
  int SendWhatGoes() {
    int error = 0;
    while (error == 0 && sent_ < to_send_.size()) {
      const ssize_t size = send(socket_, to_send_.data() + sent_, to_send_.size() - sent_, MSG_NOSIGNAL);
      if (size < 0) {
        error = errno;
      } else {
        sent_ += static_cast<std::size_t>(size);
      }
    }
    if (sent_ > to_send_.size() / 2) {
      to_send_.erase(0, sent_);
      sent_ = 0;
    }
    return error == EAGAIN || error == EINTR ? 0 : error;
  }
  void ReadAnswers() {
    constexpr std::size_t kLongest = 4096;
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = answers_.find('\n', begin)) != std::string::npos; begin = end + 1) {
      if (unanswered_.empty()) throw Away("it answers more than it was sent");
      const std::string answer = answers_.substr(begin, end - begin);
      receipts_.push_back({.id = unanswered_.front(), .refusal = answer == "ok" ? "" : "refused: " + answer});
      unanswered_.pop_front();
    }
    answers_.erase(0, begin);
    if (answers_.size() > kLongest) throw Away("its answer is too long");
  }

  const int socket_;
  std::string to_send_;
  std::size_t sent_ = 0;  ///< bytes of it
  std::string answers_;
  std::deque<std::int64_t> unanswered_;
  std::vector<Receipt> receipts_;
};

}  // namespace

std::unique_ptr<Receiver> ConnectToSocket(const DeliveryRoute& route) {
  return std::make_unique<SocketReceiver>(route.path);
}

}  // namespace qvcmsd
