#include "db/database.h"

namespace qv::db {
namespace {

thread_local FirstAttempt* current = nullptr;

}  // namespace

FirstAttempt::FirstAttempt() { current = this; }

FirstAttempt::~FirstAttempt() { current = nullptr; }

void FirstAttempt::DropLines() { lines_.Drop(); }

void FirstAttempt::Begin(Connection& connection) {
  if (current != nullptr && connection.BeginSendingAhead()) current->lines_.Begin();
}

}  // namespace qv::db
