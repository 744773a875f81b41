#include "document.h"

#include <qvjson.h>

#include "json/document.h"

namespace qvcms {
namespace {

std::string DisplayName(const std::string& path) { return path == "-" ? "standard input" : path; }

/// Whether a section lists devices or tasks: its entries are objects with a number for their id.
bool ListsRecords(const std::string& section) { return section.ends_with("_info"); }

/// Where in the document an entry is that no step can use: "POS_info[2].id". Empty when none stands out.
std::string FindFault(const Json::Value& document) {
  for (const std::string& section : document.getMemberNames()) {
    const Json::Value& entries = document[section];
    for (auto entry = entries.begin(); entry != entries.end(); ++entry) {
      std::string place = section + '[' + JsonWrite(entry.key(), true) + ']';
      if (entry->isObject() && !(*entry)["id"].isConvertibleTo(Json::intValue)) return place + ".id";
      if (ListsRecords(section) && !entry->isObject() && !entry->isNull()) return place;
    }
  }
  return "";
}

}  // namespace

Json::Value ReadDocument(const std::string& path, const GlobalOptions& options) {
  try {
    Json::Value document =
        qv::json::ReadDocumentFile(path, qv::json::ReadLimits{.depth = options.max_depth, .size = options.max_size});
    if (!document.isObject()) {
      throw Failure(kBadDocument, DisplayName(path) + ": the document must be a JSON object");
    }
    return document;
  } catch (const qv::json::DocumentError& error) {
    std::string place = DisplayName(path);
    if (error.line() > 0) place += ':' + std::to_string(error.line()) + ':' + std::to_string(error.column());
    throw Failure(kBadDocument, place + ": " + error.reason());
  }
}

Failure WrongType(const std::string& path, const Json::Value& document, const std::string& reason) {
  return WrongTypeAt(path, FindFault(document), reason);
}

Failure WrongTypeAt(const std::string& path, const std::string& place, const std::string& reason) {
  const std::string where = DisplayName(path) + (place.empty() ? "" : ": " + place);
  return Failure(kBadDocument, where + ": wrong type: " + reason + "; nothing was applied");
}

}  // namespace qvcms
