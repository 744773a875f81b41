/// A writing transaction of one session.
#pragma once

#include "session.h"

namespace qv::db {

/// Begins on construction and holds the writer lock until destruction; goes back unless committed.
class Transaction {
 public:
  /// Throws `Error` (Busy) when the writer lock is not free within `limit`.
  Transaction(Session& session, std::chrono::milliseconds limit);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  /// Throws `Error`; the transaction goes back on destruction then.
  void Commit();
  bool is_open() const { return open_; }

 private:
  Session& session_;
  WriterHold hold_;
  bool open_ = false;
};

}  // namespace qv::db
