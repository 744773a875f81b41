#include "page/page.h"

#include <algorithm>

#include "gzip.h"

namespace qvcmsd {
namespace {

constexpr std::size_t kLargest = std::size_t{16} * 1024 * 1024;

/// What the browser lets the page do: run its own files, ask this service, and nothing else.
constexpr std::pair<const char*, const char*> kHeaders[] = {
    {"Content-Security-Policy",
     "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; base-uri 'none'; "
     "form-action 'none'; frame-ancestors 'none'; require-trusted-types-for 'script'; trusted-types 'none'"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Opener-Policy", "same-origin"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Permissions-Policy", "camera=(), geolocation=(), microphone=()"},
    // A new version of the program has other files: ask each time, which costs an answer without a body.
    {"Cache-Control", "no-cache"},
    {"Vary", "Accept-Encoding"}};

}  // namespace

Response ShowPage(const Request& request, std::string_view name) {
  const std::span<const Asset> assets = Assets();
  if (assets.empty()) {
    return Problem(404, "no-page", "this program was built without its page; /v1/openapi.json tells what it serves");
  }
  const std::string_view wanted = name.empty() ? "index.html" : name;
  const auto asset = std::find_if(assets.begin(), assets.end(), [&](const Asset& each) { return each.name == wanted; });
  if (asset == assets.end()) return Problem(404, "not-found", "the page has no such file");
  Response response{.type = std::string(asset->type)};
  for (const auto& [header, value] : kHeaders) response.headers.emplace_back(header, value);
  response.headers.emplace_back("ETag", asset->etag);
  if (request.Header("if-none-match").find(asset->etag) != std::string_view::npos) {
    response.status = 304;
  } else if (TakesGzip(request.Header("accept-encoding"))) {
    response.headers.emplace_back("Content-Encoding", "gzip");
    response.body = asset->gzip;
  } else {
    response.body = Inflate(asset->gzip, kLargest);
  }
  return response;
}

}  // namespace qvcmsd
