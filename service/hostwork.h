/// What a request has the host do.
#pragma once

#include <variant>

#include "service.h"

namespace qvcmsd {

/// A document, a removal or a mark, on its way through the pipeline.
class HostWork : public Work {
 public:
  /// Throws `qv::Refusal` for a request that can be refused without the host.
  HostWork(Service& service, std::shared_ptr<Call> call, Answer answer);

  void Read() override;
  void Apply(qv::Host& host) override;
  void Finish(int failed_files) override;
  void Refuse(const qv::Refusal& refusal) override;

 private:
  qv::ImportOptions Options() const;
  void SetConfiguring(qv::Host& host);

  Service& service_;
  const std::shared_ptr<Call> call_;
  const Answer answer_;
  const Operation operation_;
  std::optional<qv::Document> document_;
  bool on_ = false;  ///< what the mark is set to
  std::variant<std::monostate, qv::ImportResult, qv::StatusResult, qv::RemoveResult, qv::ConfiguringResult> result_;
};

}  // namespace qvcmsd
