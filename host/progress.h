/// Telling a caller how far a unit of work has come.
#pragma once

#include <optional>

#include "db/countobserver.h"
#include "qv/host.h"

namespace qv::host {

/// While it lives, has `callback`, if there is one, told of the rows that this thread's unit of work changes.
class ProgressReport {
 public:
  /// Both must live as long as the report.
  ProgressReport(const Document& document, const ProgressCallback& callback);

 private:
  std::optional<db::CountObserver> observer_;
};

}  // namespace qv::host
