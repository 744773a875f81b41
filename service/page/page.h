/// The page for people: files that the program carries in itself.
#pragma once

#include <span>

#include "http.h"

namespace qvcmsd {

/// A file of the page, compressed.
struct Asset {
  std::string_view name;  ///< "index.html"
  std::string_view type;
  std::string_view etag;
  std::string_view gzip;
};

/// All of them; none if the program was built without the page. Made from the files by build.mjs.
std::span<const Asset> Assets();

/// Answers a request for a file of the page. @param name  empty: the page itself
Response ShowPage(const Request& request, std::string_view name);

}  // namespace qvcmsd
