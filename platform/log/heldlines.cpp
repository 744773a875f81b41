#include "log/heldlines.h"

#include <utility>

#include "log/log.h"

namespace qv::log {
namespace {

thread_local HeldLines* current = nullptr;

}  // namespace

HeldLines::HeldLines() = default;

HeldLines::~HeldLines() {
  if (current == this) current = nullptr;
  for (const Line& line : lines_) Write(line);
}

void HeldLines::Begin() { current = this; }

void HeldLines::Drop() { lines_.clear(); }

bool HeldLines::Take(const Line& line) {
  if (current == nullptr) return false;
  current->lines_.push_back(line);
  return true;
}

}  // namespace qv::log
