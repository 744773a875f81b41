/// A writing transaction of one session.
#pragma once

#include "db/session.h"

namespace qv::db {

/// Begins on construction, and keeps its turn to write until destruction; goes back unless committed.
class Transaction {
 public:
  /// Throws `Error` (Busy) when its turn does not come within `limit`.
  Transaction(Session& session, const Scope& scope, std::chrono::milliseconds limit);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  /// Throws `Error`; the transaction goes back on destruction then.
  void Commit();
  bool is_open() const { return open_; }
  /// How often the connection has waited for its server until the commit.
  std::uint64_t round_trips() const { return round_trips_; }

 private:
  void FollowCommit();

  Session& session_;
  bool open_ = false;
  const std::uint64_t round_trips_before_;
  std::uint64_t round_trips_ = 0;
};

}  // namespace qv::db
