#include "takenrows.h"

namespace qv::analytics {
namespace {

thread_local TakenRows* current = nullptr;

}  // namespace

TakenRows::TakenRows() : outer_(std::exchange(current, this)) {}
TakenRows::~TakenRows() { current = outer_; }

bool TakenRows::Has(const record::AnyTable& table, int id) {
  return current != nullptr && current->rows_.contains({&table, id});
}

void TakenRows::Add(const record::AnyTable& table, int id) {
  if (current != nullptr) current->rows_.emplace(&table, id);
}

}  // namespace qv::analytics
