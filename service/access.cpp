#include "access.h"

#include "page/session.h"
#include "service.h"

namespace qvcmsd {
namespace {

/// A host name without its port.
std::string_view NameIn(std::string_view host) {
  if (host.starts_with('[')) return host.substr(0, host.find(']') + 1);
  return host.substr(0, host.find(':'));
}

bool IsThisMachine(std::string_view name) { return name == "localhost" || name == "[::1]" || name.starts_with("127."); }

}  // namespace

bool Allows(const qv::Scope& scope, Need need, int zr) {
  switch (need) {
    case Need::Nothing:
      return true;
    case Need::Documents:
      return scope.operate || scope.slaves.contains(zr);
    case Need::Read:
      return scope.read;
    case Need::Operate:
      return scope.operate;
    case Need::Metrics:
      return scope.metrics;
  }
  return false;
}

std::string WordsFor(Need need, int zr) {
  switch (need) {
    case Need::Documents:
      return "slave:" + std::to_string(zr) + " or operate";
    case Need::Read:
      return "read";
    case Need::Operate:
      return "operate";
    case Need::Metrics:
      return "metrics";
    default:
      return "";
  }
}

std::optional<Response> Service::WhyNotAllowed(const Request& request, Need need, int zr) const {
  if (need == Need::Nothing) return std::nullopt;
  qv::Scope scope;
  if (auto problem = WhoAsks(request, scope)) return problem;
  if (Allows(scope, need, zr)) return std::nullopt;
  return Problem(403, "forbidden", "this needs the scope " + WordsFor(need, zr));
}

std::optional<Response> Service::WhoAsks(const Request& request, qv::Scope& scope) const {
  const auto tokens = this->tokens();
  const std::string_view authorization = request.Header("authorization");
  const std::string_view cookie = TokenInCookie(request);
  if (authorization.empty() && IsForeign(request)) {
    return Problem(403, "foreign-origin", "pages of other services are not let in");
  }
  if (!tokens->are_wanted() && !options_.wants_credentials && authorization.empty()) {
    // Only this machine gets here. Pages of others in its browsers must not: they come with another host's name, or
    // say where they are from.
    if (!IsThisMachine(NameIn(request.Header("host")))) {
      return Problem(421, "wrong-host", "without tokens the service answers for localhost only");
    }
    scope = qv::Scope::All();
    return std::nullopt;
  }
  if (authorization.empty() && cookie.empty()) {
    if (!request.certificate) return Problem(401, "unauthorized", "a token is needed: Authorization: Bearer TOKEN");
    scope = *request.certificate;
    return std::nullopt;
  }
  if (authorization.empty() && !MayUseCookie(request)) {
    return Problem(403, "foreign-origin", "with a cookie, only the page of this service changes something");
  }
  constexpr std::string_view kBearer = "Bearer ";
  const std::string_view text = authorization.empty()                ? cookie
                                : authorization.starts_with(kBearer) ? authorization.substr(kBearer.size())
                                                                     : "";
  const qv::TokenInfo* const token = tokens->Find(text);
  if (token == nullptr) return Problem(401, "unauthorized", "the token is not known");
  scope = token->scope;
  return std::nullopt;
}

}  // namespace qvcmsd
