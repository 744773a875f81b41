#include "http.h"

#include <utf8.h>

#include <algorithm>
#include <array>
#include <iterator>

#include "gzip.h"

namespace qvcmsd {
namespace {

struct Status {
  int number;
  std::string_view reason;
};

constexpr Status kStatuses[] = {{200, "OK"},
                                {304, "Not Modified"},
                                {400, "Bad Request"},
                                {401, "Unauthorized"},
                                {403, "Forbidden"},
                                {404, "Not Found"},
                                {405, "Method Not Allowed"},
                                {408, "Request Timeout"},
                                {409, "Conflict"},
                                {413, "Content Too Large"},
                                {415, "Unsupported Media Type"},
                                {421, "Misdirected Request"},
                                {422, "Unprocessable Content"},
                                {500, "Internal Server Error"},
                                {503, "Service Unavailable"}};

struct RefusalStatus {
  qv::RefusalCode code;
  int status;
};

constexpr RefusalStatus kRefusals[] = {
    {qv::RefusalCode::BadArgument, 400},     {qv::RefusalCode::UnreadableDocument, 400},
    {qv::RefusalCode::DocumentTooDeep, 400}, {qv::RefusalCode::DocumentTooLarge, 413},
    {qv::RefusalCode::TooManyValues, 413},   {qv::RefusalCode::WrongDocumentKind, 422},
    {qv::RefusalCode::EmptyDocument, 422},   {qv::RefusalCode::WrongType, 422},
    {qv::RefusalCode::TooManyRemovals, 409}, {qv::RefusalCode::UnknownServer, 404},
    {qv::RefusalCode::UnknownDevice, 404},   {qv::RefusalCode::NotRemoved, 500},
    {qv::RefusalCode::NotAHost, 500},        {qv::RefusalCode::Busy, 503},
    {qv::RefusalCode::Unusable, 500},        {qv::RefusalCode::Failed, 500}};

int HexDigit(char digit) {
  constexpr std::string_view kDigits = "0123456789abcdefABCDEF";
  const std::size_t place = kDigits.find(digit);
  if (place == std::string_view::npos) return -1;
  return static_cast<int>(place < 16 ? place : place - 6);
}

/// The text that an escaped one stands for.
std::optional<std::string> Unescape(std::string_view escaped, bool is_query) {
  std::string text;
  for (std::size_t i = 0; i < escaped.size(); ++i) {
    if (escaped[i] == '+' && is_query) {
      text += ' ';
    } else if (escaped[i] != '%') {
      text += escaped[i];
    } else {
      if (i + 2 >= escaped.size()) return std::nullopt;
      const int high = HexDigit(escaped[i + 1]);
      const int low = HexDigit(escaped[i + 2]);
      if (high < 0 || low < 0) return std::nullopt;
      text += static_cast<char>(high * 16 + low);
      i += 2;
    }
  }
  const bool is_plain = std::none_of(text.begin(), text.end(), [](char each) {
    const auto byte = static_cast<unsigned char>(each);
    return byte < 0x20 || byte == 0x7f;
  });
  if (!is_plain || !utf8::is_valid(text.begin(), text.end())) return std::nullopt;
  return text;
}

/// The parts of a text between separators.
std::vector<std::string_view> Split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  for (;;) {
    const std::size_t end = text.find(separator);
    parts.push_back(text.substr(0, end));
    if (end == std::string_view::npos) return parts;
    text.remove_prefix(end + 1);
  }
}

}  // namespace

std::optional<Target> ParseTarget(std::string_view text) {
  if (!text.starts_with('/')) return std::nullopt;
  Target target;
  const std::size_t mark = text.find('?');
  for (const std::string_view part : Split(text.substr(1, mark == std::string_view::npos ? mark : mark - 1), '/')) {
    auto segment = Unescape(part, false);
    if (!segment) return std::nullopt;
    target.segments.push_back(std::move(*segment));
  }
  if (mark == std::string_view::npos) return target;
  for (const std::string_view part : Split(text.substr(mark + 1), '&')) {
    if (part.empty()) continue;
    const std::size_t equals = part.find('=');
    auto name = Unescape(part.substr(0, equals), true);
    auto value = Unescape(equals == std::string_view::npos ? "" : part.substr(equals + 1), true);
    if (!name || !value || !target.parameters.emplace(*name, *value).second) return std::nullopt;
  }
  return target;
}

std::string_view Request::Header(std::string_view name) const {
  const auto found = headers.find(name);
  return found == headers.end() ? std::string_view() : found->second;
}

bool TakesGzip(std::string_view accepted) {
  while (!accepted.empty()) {
    std::string_view coding = accepted.substr(0, accepted.find(','));
    accepted.remove_prefix(std::min(accepted.size(), coding.size() + 1));
    coding.remove_prefix(std::min(coding.size(), coding.find_first_not_of(" \t")));
    if (coding.substr(0, coding.find_first_of("; \t")) != "gzip") continue;
    const std::size_t weight = coding.find("q=");
    return weight == std::string_view::npos || coding.find_first_of("123456789", weight) != std::string_view::npos;
  }
  return false;
}

void Compress(const Request& request, Response& response) {
  constexpr std::size_t kWorthIt = 1024;
  if (response.status != 200 || response.body.size() < kWorthIt) return;
  response.headers.emplace_back("Vary", "Accept-Encoding");
  if (!TakesGzip(request.Header("accept-encoding"))) return;
  response.body = Deflate(response.body);
  response.headers.emplace_back("Content-Encoding", "gzip");
}

std::string_view ReasonOf(int status) {
  const auto* const found = std::find_if(std::begin(kStatuses), std::end(kStatuses),
                                         [&](const Status& each) { return each.number == status; });
  return found == std::end(kStatuses) ? "Unknown" : found->reason;
}

namespace {

Response ProblemWith(int status, std::string_view code, const std::string& detail, Json::Value members) {
  members["title"] = std::string(ReasonOf(status));
  members["status"] = status;
  members["detail"] = detail;
  members["code"] = std::string(code);
  Response response{.status = status,
                    .type = "application/problem+json",
                    .body = qv::ToJson(members, false) + '\n',
                    .code = std::string(code)};
  if (status == 503) response.headers.emplace_back("Retry-After", "1");
  if (status == 401) response.headers.emplace_back("WWW-Authenticate", "Bearer");
  return response;
}

}  // namespace

Response Problem(int status, std::string_view code, const std::string& detail) {
  return ProblemWith(status, code, detail, Json::Value(Json::objectValue));
}

int StatusOf(qv::RefusalCode code) {
  const auto* const found = std::find_if(std::begin(kRefusals), std::end(kRefusals),
                                         [&](const RefusalStatus& each) { return each.code == code; });
  return found == std::end(kRefusals) ? 500 : found->status;
}

Response ProblemOf(const qv::Refusal& refusal) {
  Json::Value members(Json::objectValue);
  if (!refusal.place().empty()) members["place"] = refusal.place();
  if (refusal.line() > 0) {
    members["line"] = Json::UInt64{refusal.line()};
    members["column"] = Json::UInt64{refusal.column()};
  }
  const int status = StatusOf(refusal.code());
  // What is wrong with the host itself names files: that is for its log.
  const std::string detail = status == 500 ? "the host could not do it; its log tells why" : refusal.what();
  return ProblemWith(status, qv::NameOf(refusal.code()), detail, std::move(members));
}

}  // namespace qvcmsd
