#include "hostwork.h"

#include <charconv>

#include "gzip.h"

namespace qvcmsd {
namespace {

bool IsFlagSet(const Target& target, std::string_view name) {
  const auto found = target.parameters.find(name);
  return found != target.parameters.end() && found->second == "true";
}

int IdIn(const std::string& text) {
  int id = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), id);
  const bool is_number = error == std::errc() && end == text.data() + text.size();
  return is_number ? id : 0;
}

}  // namespace

HostWork::HostWork(Service& service, std::shared_ptr<Call> call, Answer answer)
    : Work(call->zr, call->request.id, call->request.body.size()),
      service_(service),
      call_(std::move(call)),
      answer_(std::move(answer)),
      operation_(call_->match.route->operation) {
  if (operation_ != Operation::SetConfiguring) return;
  const Json::Value body = qv::Document::Parse(call_->request.body).value();
  if (!body["configuring"].isBool() || body.size() != 1) {
    throw qv::Refusal(qv::RefusalCode::BadArgument, "the body is {\"configuring\":true} or {\"configuring\":false}");
  }
  on_ = body["configuring"].asBool();
}

void HostWork::Read() {
  if (call_->match.route->body != Body::Document) return;
  std::string text = std::move(call_->request.body);
  if (call_->request.Header("content-encoding") == "gzip") text = Inflate(text, service_.options_.limits.size);
  document_ = qv::Document::Parse(text, service_.options_.limits);
  // What can be refused without the host does not wait for its turn.
  if (operation_ == Operation::Status) {
    document_->RequireStatusReport();
  } else {
    document_->RequireSnapshot(operation_ == Operation::Plan || Options().allow_removals);
  }
}

qv::ImportOptions HostWork::Options() const {
  qv::ImportOptions options{.allow_removals = IsFlagSet(call_->target, "allow_removals")};
  if (const auto model = call_->target.parameters.find("model"); model != call_->target.parameters.end()) {
    options.model = model->second;
  }
  return options;
}

void HostWork::SetConfiguring(qv::Host& host) {
  result_ = host.SetConfiguring(call_->match.values[0], IdIn(call_->match.values[1]), on_);
}

void HostWork::Apply(qv::Host& host) {
  switch (operation_) {
    case Operation::Pair:
      result_ = host.Pair(zr(), *document_, Options());
      return;
    case Operation::Snapshot:
      result_ = host.Update(zr(), *document_, Options());
      return;
    case Operation::Plan:
      result_ = host.Plan(zr(), *document_, Options());
      return;
    case Operation::Status:
      result_ = host.Status(zr(), *document_);
      return;
    case Operation::Remove:
      result_ = host.Remove(zr());
      return;
    default:
      SetConfiguring(host);
  }
}

void HostWork::Finish(int failed_files) {
  Response response;
  qv::ChangeResult changes;
  Json::Value event(Json::objectValue);
  event["zr"] = zr();
  if (const auto* import = std::get_if<qv::ImportResult>(&result_)) {
    changes = *import;
    response.body = qv::ToJson(*import);
  } else if (const auto* status = std::get_if<qv::StatusResult>(&result_)) {
    changes = *status;
    response.body = qv::ToJson(*status);
  } else if (const auto* removal = std::get_if<qv::RemoveResult>(&result_)) {
    changes = *removal;
    response.body = qv::ToJson(*removal);
  } else {
    const auto& configuring = std::get<qv::ConfiguringResult>(result_);
    changes = configuring;
    const qv::Row row = qv::ConfiguringRow(call_->match.values[0], IdIn(call_->match.values[1]), on_);
    response.body = qv::ToJson(std::span(&row, 1));
    event["zr"] = configuring.zr;
    for (const auto& [name, value] : row) event[name] = value;
  }
  changes.failed_files += failed_files;
  if (changes.failed_operations > 0) {
    response.headers.emplace_back("Qv-Failed-Operations", std::to_string(changes.failed_operations));
  }
  if (changes.failed_files > 0) response.headers.emplace_back("Qv-Failed-Files", std::to_string(changes.failed_files));
  if (operation_ != Operation::Plan) service_.Applied(*call_, changes, std::move(event));
  answer_(std::move(response));
}

void HostWork::Refuse(const qv::Refusal& refusal) { answer_(ProblemOf(refusal)); }

}  // namespace qvcmsd
