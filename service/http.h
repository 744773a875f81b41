/// Requests and answers, apart from the library that carries them.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "access.h"

namespace qvcmsd {

/// What a client asked for: a path, and parameters behind "?". Both without the escapes of an address.
struct Target {
  std::vector<std::string> segments;
  std::map<std::string, std::string, std::less<>> parameters;
};

/// Reads "/v1/slaves/7?model=A%20B". None unless it is a path with escapes that stand for UTF-8 without control
/// characters, and with each parameter once.
std::optional<Target> ParseTarget(std::string_view text);

/// A request. Its body is there once all of it was received.
struct Request {
  std::string id = {};  ///< what the client called it, or a name made for it; in every line of the log about it
  std::string method = {};
  std::string target = {};
  std::map<std::string, std::string, std::less<>> headers = {};  ///< names in small letters
  std::string peer = {};                                         ///< address of the client
  bool is_encrypted = false;                                     ///< TLS
  std::optional<qv::Scope> certificate = {};                     ///< of a client certificate that was accepted
  std::string body = {};

  /// A header's value; empty when it was not sent.
  std::string_view Header(std::string_view name) const;
};

/// What is sent bit by bit: an answer without an end.
class Stream {
 public:
  virtual ~Stream() = default;
  /// What is to be sent next. Empty: nothing yet; `wake` is then called once there is. None: it ends.
  virtual std::optional<std::string> Next() = 0;
  /// Sets what wakes the sender; may be called from any thread, also when there is nothing to send.
  virtual void SetWake(std::function<void()> wake) = 0;
};

struct Response {
  int status = 200;
  std::string type = "application/json";
  std::string body = {};
  std::vector<std::pair<std::string, std::string>> headers = {};
  std::shared_ptr<Stream> stream = nullptr;  ///< in place of the body
  std::string code = {};                     ///< of a problem; empty: there is none
};

/// Takes the answer to a request, once, from any thread.
using Answer = std::function<void(Response)>;

/// Whether `accepted`, the value of Accept-Encoding, lets answers be sent as gzip.
bool TakesGzip(std::string_view accepted);

/// Compresses the answer if the client takes gzip and the answer is long enough to gain by it.
void Compress(const Request& request, Response& response);

/// "Not Found" for 404.
std::string_view ReasonOf(int status);

/// What keeps a request from being carried out, as application/problem+json. `code` is for programs, `detail` for
/// people.
Response Problem(int status, std::string_view code, const std::string& detail);
/// What the host refused: the status by the code, and the place in the document.
Response ProblemOf(const qv::Refusal& refusal);
/// The HTTP status for a refusal's code.
int StatusOf(qv::RefusalCode code);

}  // namespace qvcmsd
