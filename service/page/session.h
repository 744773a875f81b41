/// Sessions of browsers. A browser shows its token as a cookie, which no script can read. A browser sends a cookie, and
/// a client certificate, also with requests that pages of others made: those are told apart here.
#pragma once

#include "http.h"

namespace qvcmsd {

/// The token in the cookie; empty if there is none.
std::string_view TokenInCookie(const Request& request);

/// Whether a page of another service made the request.
bool IsForeign(const Request& request);

/// Whether the cookie counts: for requests that change something only when the browser says that a page of this service
/// made them.
bool MayUseCookie(const Request& request);

/// The header that has the browser keep the token; an empty one has it forget the token it has.
std::pair<std::string, std::string> CookieHeader(const Request& request, std::string_view token);

}  // namespace qvcmsd
