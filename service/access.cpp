#include "access.h"

namespace qvcmsd {

bool Allows(const qv::Scope& scope, Need need, int zr) {
  switch (need) {
    case Need::Nothing:
      return true;
    case Need::Documents:
      return scope.operate || scope.slaves.contains(zr);
    case Need::Read:
      return scope.read;
    case Need::Operate:
      return scope.operate;
    case Need::Metrics:
      return scope.metrics;
  }
  return false;
}

std::string WordsFor(Need need, int zr) {
  switch (need) {
    case Need::Documents:
      return "slave:" + std::to_string(zr) + " or operate";
    case Need::Read:
      return "read";
    case Need::Operate:
      return "operate";
    case Need::Metrics:
      return "metrics";
    default:
      return "";
  }
}

}  // namespace qvcmsd
