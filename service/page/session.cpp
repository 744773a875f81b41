#include "page/session.h"

#include <algorithm>

#include "service.h"

namespace qvcmsd {
namespace {

constexpr std::string_view kCookie = "qvcmsd=";
constexpr int kMonth = 30 * 24 * 3600;  ///< seconds

/// The host and port of an origin such as "https://host:8480".
std::string_view AuthorityIn(std::string_view origin) {
  const std::size_t mark = origin.find("://");
  return mark == std::string_view::npos ? "" : origin.substr(mark + 3);
}

}  // namespace

std::string_view TokenInCookie(const Request& request) {
  std::string_view rest = request.Header("cookie");
  while (!rest.empty()) {
    const std::string_view cookie = rest.substr(0, rest.find(';'));
    if (cookie.starts_with(kCookie)) return cookie.substr(kCookie.size());
    rest.remove_prefix(std::min(rest.size(), cookie.size() + 1));
    rest.remove_prefix(std::min(rest.size(), rest.find_first_not_of(' ')));
  }
  return {};
}

bool IsForeign(const Request& request) {
  const std::string_view site = request.Header("sec-fetch-site");
  const std::string_view mode = request.Header("sec-fetch-mode");
  const std::string_view origin = request.Header("origin");
  if (!origin.empty() && AuthorityIn(origin) != request.Header("host")) return true;
  // A link on another page may lead here.
  return !site.empty() && site != "same-origin" && site != "none" && mode != "navigate";
}

bool MayUseCookie(const Request& request) {
  if (IsForeign(request)) return false;
  if (request.method == "GET" || request.method == "HEAD") return true;
  return request.Header("sec-fetch-site") == "same-origin" || !request.Header("origin").empty();
}

std::pair<std::string, std::string> CookieHeader(const Request& request, std::string_view token) {
  std::string cookie = std::string(kCookie).append(token) + "; Path=/; HttpOnly; SameSite=Strict; Max-Age=";
  cookie += std::to_string(token.empty() ? 0 : kMonth);
  return {"Set-Cookie", cookie + (request.is_encrypted ? "; Secure" : "")};
}

Response Service::Session(const Call& call) const {
  const auto show = [](const qv::Scope& scope, bool wants_token) {
    Json::Value session(Json::objectValue);
    session["scope"] = Json::Value(Json::arrayValue);
    for (const std::string& word : scope.Words()) session["scope"].append(word);
    session["wants_token"] = wants_token;
    session["version"] = QVCMS_VERSION;
    return Response{.body = qv::ToJson(session, false) + '\n'};
  };
  const auto tokens = this->tokens();
  const bool wants_token = tokens->are_wanted() || options_.wants_credentials;
  if (call.match.route->operation == Operation::ShowSession) {
    qv::Scope scope;
    if (WhoAsks(call.request, scope)) scope = {};
    return show(scope, wants_token);
  }
  if (IsForeign(call.request)) return Problem(403, "foreign-origin", "pages of other services are not let in");
  if (call.match.route->operation == Operation::LogOut) {
    Response response = show({}, wants_token);
    response.headers.push_back(CookieHeader(call.request, ""));
    return response;
  }
  const Json::Value body = qv::Document::Parse(call.request.body).value();
  if (!body["token"].isString()) return Problem(400, "bad-argument", "the body is {\"token\":\"...\"}");
  const std::string text = body["token"].asString();
  const qv::TokenInfo* const token = tokens->Find(text);
  if (token == nullptr) return Problem(401, "unauthorized", "the token is not known");
  Response response = show(token->scope, wants_token);
  response.headers.push_back(CookieHeader(call.request, text));
  return response;
}

}  // namespace qvcmsd
