#include "document.h"

#include <optional>

#include "documentkind.h"
#include "json/document.h"
#include "sections.h"

namespace qvcms {
namespace {

std::string DisplayName(const std::string& path) { return path == "-" ? "standard input" : path; }

Failure Refusal(const std::string& path, const std::string& reason) {
  return {kBadDocument, DisplayName(path) + ": " + reason};
}

void RefuseFault(const std::string& path, const std::optional<Fault>& fault) {
  if (fault) throw Refusal(path, fault->place + ": " + fault->reason + "; nothing was applied");
}

/// "if that is meant: qvcms status 7 report.json"
std::string Suggestion(const std::string& command, int zr, const std::string& path) {
  return "; nothing was applied. If that is meant: qvcms " + command + ' ' + std::to_string(zr) + ' ' + path;
}

}  // namespace

Json::Value ReadDocument(const std::string& path, const GlobalOptions& options) {
  try {
    const qv::json::ReadLimits limits{
        .depth = options.max_depth, .size = options.max_size, .values = options.max_values};
    Json::Value document = qv::json::ReadDocumentFile(path, limits);
    if (!document.isObject()) throw Refusal(path, "the document must be a JSON object");
    return document;
  } catch (const qv::json::DocumentError& error) {
    std::string place = DisplayName(path);
    if (error.line() > 0) place += ':' + std::to_string(error.line()) + ':' + std::to_string(error.column());
    throw Failure(kBadDocument, place + ": " + error.reason());
  }
}

Json::Value ReadSnapshot(const std::string& path, int zr, const GlobalOptions& options) {
  Json::Value document = ReadDocument(path, options);
  if (KindOf(document) == DocumentKind::StatusReport) {
    throw Refusal(path, "this is a status report, not a configuration snapshot" + Suggestion("status", zr, path));
  }
  RefuseFault(path, FindFaultInSnapshot(document));
  return document;
}

void RequireSections(const std::string& path, const Json::Value& document) {
  if (!HasSections(document)) throw Refusal(path, "no section that a snapshot has; nothing was applied");
}

Json::Value ReadReport(const std::string& path, int zr, const GlobalOptions& options) {
  Json::Value document = ReadDocument(path, options);
  switch (KindOf(document)) {
    case DocumentKind::Snapshot:
      throw Refusal(path, "this is a configuration snapshot, not a status report" + Suggestion("update", zr, path));
    case DocumentKind::Neither:
      throw Refusal(path, "nothing that a status report has; nothing was applied");
    case DocumentKind::StatusReport:
      break;
  }
  RefuseFault(path, FindFaultInReport(document));
  // Without it the server would count as offline, and lose what is known of it.
  if (document["status"].isNull()) throw Refusal(path, "status: every status report has it; nothing was applied");
  return document;
}

Failure WrongTypeSomewhere(const std::string& path, const std::string& outcome) {
  return Refusal(path, "a value has the wrong type; " + outcome);
}

}  // namespace qvcms
