#include "analytics/takenrows.h"

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

int TakenRows::FirstRowOfWidget(int id_on_slave, int row) {
  return current == nullptr ? row : current->first_rows_.try_emplace(id_on_slave, row).first->second;
}

}  // namespace qv::analytics
