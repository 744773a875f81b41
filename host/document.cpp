#include "json/document.h"

#include <utility>

#include "documentkind.h"
#include "json/storable.h"
#include "qv/host.h"
#include "sections.h"

namespace qv {

/// A value, and what was found in it.
struct Document::Content {
  explicit Content(Json::Value given) : value(std::move(given)) {
    if (!value.isObject()) throw Refusal(RefusalCode::UnreadableDocument, "the document must be a JSON object");
    kind = host::KindOf(value);
    fault = kind == DocumentKind::StatusReport ? host::FindFaultInReport(value) : host::FindFaultInSnapshot(value);
  }

  Json::Value value;
  DocumentKind kind = DocumentKind::Neither;
  std::optional<Fault> fault;
};

namespace {

json::ReadLimits ReadLimitsOf(const DocumentLimits& limits) {
  return {.depth = limits.depth, .size = limits.size, .values = limits.values};
}

RefusalCode CodeOf(json::Limit limit) {
  switch (limit) {
    case json::Limit::Depth:
      return RefusalCode::DocumentTooDeep;
    case json::Limit::Size:
      return RefusalCode::DocumentTooLarge;
    case json::Limit::Values:
      return RefusalCode::TooManyValues;
    case json::Limit::None:
      break;
  }
  return RefusalCode::UnreadableDocument;
}

template <class Read>
Json::Value ReadStrictly(Read&& read) {
  try {
    return read();
  } catch (const json::DocumentError& error) {
    throw Refusal(CodeOf(error.limit()), error.reason(), "", error.line(), error.column());
  }
}

void RefuseFault(const std::optional<Fault>& fault) {
  if (fault) throw Refusal(RefusalCode::WrongType, fault->reason + "; nothing was applied", fault->place);
}

/// A value that a program made may hold what no text can.
Json::Value Storable(Json::Value value) {
  if (const char* reason = json::WhyNotStorable(value)) {
    throw Refusal(RefusalCode::UnreadableDocument, std::string("the document cannot be kept: ") + reason);
  }
  return value;
}

}  // namespace

Document Document::Parse(std::string_view text, const DocumentLimits& limits) {
  Document document;
  document.content_ =
      std::make_shared<const Content>(ReadStrictly([&] { return json::ReadDocument(text, ReadLimitsOf(limits)); }));
  return document;
}

Document Document::ReadFile(const std::string& path, const DocumentLimits& limits) {
  Document document;
  document.content_ =
      std::make_shared<const Content>(ReadStrictly([&] { return json::ReadDocumentFile(path, ReadLimitsOf(limits)); }));
  return document;
}

Document::Document(Json::Value value) : content_(std::make_shared<const Content>(Storable(std::move(value)))) {}

const Json::Value& Document::value() const { return content_->value; }

DocumentKind Document::kind() const { return content_->kind; }

void Document::RequireSnapshot(bool may_be_empty) const {
  if (kind() == DocumentKind::StatusReport) {
    throw Refusal(RefusalCode::WrongDocumentKind,
                  "this is a status report, not a configuration snapshot; nothing was applied");
  }
  RefuseFault(content_->fault);
  if (!may_be_empty && kind() == DocumentKind::Neither) {
    throw Refusal(RefusalCode::EmptyDocument, "no section that a snapshot has; nothing was applied");
  }
}

void Document::RequireStatusReport() const {
  if (kind() == DocumentKind::Snapshot) {
    throw Refusal(RefusalCode::WrongDocumentKind,
                  "this is a configuration snapshot, not a status report; nothing was applied");
  }
  if (kind() == DocumentKind::Neither) {
    throw Refusal(RefusalCode::EmptyDocument, "nothing that a status report has; nothing was applied");
  }
  RefuseFault(content_->fault);
  // Without it the server would count as offline, and lose what is known of it.
  if (value()["status"].isNull()) {
    throw Refusal(RefusalCode::WrongType, "every status report has it; nothing was applied", "status");
  }
}

}  // namespace qv
