#include <algorithm>
#include <iterator>

#include "guard.h"

namespace qv {
namespace {

struct CodeName {
  RefusalCode code;
  std::string_view name;
};

constexpr CodeName kCodeNames[] = {{RefusalCode::BadArgument, "bad-argument"},
                                   {RefusalCode::UnreadableDocument, "unreadable-document"},
                                   {RefusalCode::DocumentTooDeep, "document-too-deep"},
                                   {RefusalCode::DocumentTooLarge, "document-too-large"},
                                   {RefusalCode::TooManyValues, "too-many-values"},
                                   {RefusalCode::WrongDocumentKind, "wrong-document-kind"},
                                   {RefusalCode::EmptyDocument, "empty-document"},
                                   {RefusalCode::WrongType, "wrong-type"},
                                   {RefusalCode::TooManyRemovals, "too-many-removals"},
                                   {RefusalCode::UnknownServer, "unknown-server"},
                                   {RefusalCode::UnknownDevice, "unknown-device"},
                                   {RefusalCode::NotRemoved, "not-removed"},
                                   {RefusalCode::NotAHost, "not-a-host"},
                                   {RefusalCode::Busy, "busy"},
                                   {RefusalCode::Unusable, "unusable"},
                                   {RefusalCode::Failed, "failed"}};

}  // namespace

std::string_view NameOf(RefusalCode code) {
  const auto found = std::find_if(std::begin(kCodeNames), std::end(kCodeNames),
                                  [code](const CodeName& each) { return each.code == code; });
  return found == std::end(kCodeNames) ? "unknown" : found->name;
}

Refusal::Refusal(RefusalCode code, const std::string& reason, const std::string& place, std::size_t line,
                 std::size_t column)
    : std::runtime_error(place.empty() ? reason : place + ": " + reason),
      code_(code),
      place_(place),
      line_(line),
      column_(column) {}

Refusal::~Refusal() = default;

namespace host {

Refusal RefusalOf(const db::Error& error) {
  switch (error.kind()) {
    case db::Error::Kind::Busy:
      return {RefusalCode::Busy, error.what() + std::string("; try again when it is done")};
    case db::Error::Kind::Lost:
      return {RefusalCode::Failed, error.what() + std::string("; no row was changed")};
    case db::Error::Kind::Unusable:
      return {RefusalCode::Unusable, error.what()};
    default:
      return {RefusalCode::Failed, error.what()};
  }
}

void CheckServerId(int zr) {
  if (zr < 1) throw Refusal(RefusalCode::BadArgument, "a server id is 1 or more, not " + std::to_string(zr));
}

void Commit(db::UnitOfWork& work, ChangeResult& result) {
  result.failed_operations = work.failures();
  work.Commit();
  result.round_trips = work.round_trips();
  result.failed_files = work.failures() - result.failed_operations;
  NotePart(work);
}

}  // namespace host
}  // namespace qv
