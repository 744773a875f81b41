#include "exchange.h"

#include <arpa/inet.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <charconv>

#include "tls.h"

namespace qvcmsd {
namespace {

constexpr std::size_t kBytesPerMillisecond = 64;  ///< slower bodies and readers are cut off

std::chrono::milliseconds TimeFor(std::size_t bytes) { return std::chrono::milliseconds(bytes / kBytesPerMillisecond); }

std::string AddressOf(MHD_Connection* connection) {
  const MHD_ConnectionInfo* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
  if (info == nullptr || info->client_addr == nullptr) return "-";
  std::array<char, INET6_ADDRSTRLEN> text{};
  const sockaddr* const address = info->client_addr;
  const void* const bytes = address->sa_family == AF_INET6
                                ? static_cast<const void*>(&reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr)
                                : &reinterpret_cast<const sockaddr_in*>(address)->sin_addr;
  return inet_ntop(address->sa_family, bytes, text.data(), text.size()) == nullptr ? "-" : text.data();
}

MHD_Result TakeHeader(void* request, MHD_ValueKind, const char* name, const char* value) {
  std::string small(name);
  std::transform(small.begin(), small.end(), small.begin(),
                 [](char each) { return each >= 'A' && each <= 'Z' ? static_cast<char>(each + ('a' - 'A')) : each; });
  auto& headers = static_cast<Request*>(request)->headers;
  const auto [header, is_new] = headers.emplace(small, value == nullptr ? "" : value);
  if (!is_new && value != nullptr) header->second.append(", ").append(value);
  return MHD_YES;
}

}  // namespace

Exchange::~Exchange() {
  if (response_.stream != nullptr) response_.stream->SetWake(nullptr);
  server_.body_bytes -= held_;
  if (is_counted_) --server_.exchanges;
}

Request Exchange::ReadHeader(const char* method) const {
  Request request{
      .method = method, .target = target_, .peer = AddressOf(connection_), .is_encrypted = server_.tls != nullptr};
  MHD_get_connection_values(connection_, MHD_HEADER_KIND, &TakeHeader, &request);
  if (server_.tls != nullptr) {
    const MHD_ConnectionInfo* info = MHD_get_connection_info(connection_, MHD_CONNECTION_INFO_GNUTLS_SESSION);
    if (info != nullptr) request.certificate = server_.tls->ScopeOf(static_cast<gnutls_session_t>(info->tls_session));
  }
  return request;
}

bool Exchange::Begin(MHD_Connection* connection, const char* method) {
  connection_ = connection;
  const MHD_ConnectionInfo* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
  limits_ = static_cast<Connection*>(info->socket_context);
  begun_ = Connection::Clock::now();
  limits_->ReceiveUntil(begun_ + server_.body_time);
  Request request = ReadHeader(method);
  Response refusal;
  call_ = server_.service.Begin(request, refusal);
  id_ = request.id;
  if (call_ != nullptr) return true;
  if (HasShortBody(request)) {
    fault_ = Fault::Refused;
    response_ = std::move(refusal);
    return true;
  }
  Take(std::move(refusal));
  return false;
}

/// Whether the client sends a body, and not much: it may be deaf for an answer until it has sent all of it, and would
/// find the connection closed instead.
bool Exchange::HasShortBody(const Request& request) {
  constexpr std::size_t kMost = std::size_t{1024} * 1024;
  if (!request.Header("expect").empty()) return false;
  const std::string_view length = request.Header("content-length");
  std::size_t bytes = 0;
  const auto [end, error] = std::from_chars(length.data(), length.data() + length.size(), bytes);
  return error == std::errc() && end == length.data() + length.size() && 0 < bytes && bytes <= kMost;
}

void Exchange::Receive(const char* data, std::size_t size) {
  if (fault_ != Fault::None) return;  // the rest is received, for the client to listen then, and dropped
  received_ += size;
  limits_->ReceiveUntil(begun_ + server_.body_time + TimeFor(received_));
  std::string& body = call_->request.body;
  if (received_ > call_->body_limit) {
    fault_ = Fault::TooLarge;
  } else if (server_.body_bytes + size > server_.most_body_bytes) {
    fault_ = Fault::NoRoom;
  } else {
    server_.body_bytes += size;
    held_ += size;
    body.append(data, size);
    return;
  }
  server_.body_bytes -= std::exchange(held_, 0);
  std::string().swap(body);
}

bool Exchange::Finish() {
  limits_->NeverEnd();
  if (fault_ == Fault::Refused) {
    Take(std::move(response_));
    return true;
  }
  if (fault_ == Fault::TooLarge) {
    Take(server_.service.Refuse(
        *call_, Problem(413, "too-large", "the body is larger than " + std::to_string(call_->body_limit) + " bytes")));
    return true;
  }
  if (fault_ == Fault::NoRoom) {
    Take(server_.service.Refuse(*call_, Problem(503, "overloaded", "too many documents are being received")));
    return true;
  }
  is_counted_ = true;
  ++server_.exchanges;
  MHD_suspend_connection(connection_);
  server_.service.Handle(std::move(call_), [this](Response response) { Wake(std::move(response)); });
  return false;
}

void Exchange::Take(Response response) {
  response_ = std::move(response);
  is_answered_ = true;
}

void Exchange::Wake(Response response) {
  MHD_Connection* const connection = connection_;
  Take(std::move(response));
  MHD_resume_connection(connection);
}

MHD_Result Exchange::Send() {
  MHD_Response* response = nullptr;
  if (response_.stream != nullptr) {
    limits_->NeverEnd();
    response = MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, 16'384, &Exchange::NextPiece, this, nullptr);
    response_.stream->SetWake([this] { WakeStream(); });
  } else {
    limits_->SendFor(server_.body_time + TimeFor(response_.body.size()));
    response = MHD_create_response_from_buffer(response_.body.size(), response_.body.data(), MHD_RESPMEM_PERSISTENT);
  }
  if (response == nullptr) return MHD_NO;
  MHD_add_response_header(response, "Content-Type", response_.type.c_str());
  MHD_add_response_header(response, "X-Request-Id", id_.c_str());
  MHD_add_response_header(response, "X-Content-Type-Options", "nosniff");
  if (std::none_of(response_.headers.begin(), response_.headers.end(),
                   [](const auto& header) { return header.first == "Cache-Control"; })) {
    MHD_add_response_header(response, "Cache-Control", "no-store");
  }
  for (const auto& [name, value] : response_.headers) MHD_add_response_header(response, name.c_str(), value.c_str());
  const MHD_Result result = MHD_queue_response(connection_, static_cast<unsigned>(response_.status), response);
  MHD_destroy_response(response);
  return result;
}

ssize_t Exchange::NextPiece(void* exchange, std::uint64_t, char* buffer, std::size_t size) {
  return static_cast<Exchange*>(exchange)->NextPiece(buffer, size);
}

ssize_t Exchange::NextPiece(char* buffer, std::size_t size) {
  while (piece_.empty()) {
    std::optional<std::string> next = response_.stream->Next();
    if (!next) return MHD_CONTENT_READER_END_OF_STREAM;
    piece_ = std::move(*next);
    if (!piece_.empty()) break;
    const std::lock_guard lock(stream_mutex_);
    if (std::exchange(is_woken_, false)) continue;
    is_resting_ = true;
    limits_->NeverEnd();
    MHD_suspend_connection(connection_);
    return 0;
  }
  limits_->SendFor(server_.body_time);  // to take this piece
  const std::size_t taken = std::min(size, piece_.size());
  std::copy_n(piece_.data(), taken, buffer);
  piece_.erase(0, taken);
  return static_cast<ssize_t>(taken);
}

void Exchange::WakeStream() {
  const std::lock_guard lock(stream_mutex_);
  if (std::exchange(is_resting_, false)) {
    MHD_resume_connection(connection_);
  } else {
    is_woken_ = true;
  }
}

}  // namespace qvcmsd
