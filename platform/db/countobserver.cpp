#include "db/countobserver.h"

#include <utility>

namespace qv::db {
namespace {

thread_local const CountObserver* current = nullptr;

}  // namespace

CountObserver::CountObserver(std::function<void(const UnitOfWork::Count&)> observe) : observe_(std::move(observe)) {
  current = this;
}

CountObserver::~CountObserver() { current = nullptr; }

void CountObserver::Tell(const UnitOfWork::Count& count) {
  if (current != nullptr) current->observe_(count);
}

}  // namespace qv::db
