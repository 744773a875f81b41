/// What tells whether a commit was done whose answer was lost, also after a crash of the server or on the standby that
/// took over: each transaction that writes leaves its number in the row of its connection.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "db/postgresql/pipeline.h"

namespace qv::db {

/// The marks of one connection, in the table `commit_mark`.
class CommitMark {
 public:
  static const char* const kMakeTable;

  CommitMark();
  /// Sends the mark of the open transaction, if that has written. Comes last before the COMMIT.
  void Leave(Pipeline& pipeline);
  /// Sends the question whether the transaction of the last mark was done; `is_done` receives the answer. It waits for
  /// one that is still at work. One that comes to its mark after the question fails there.
  void Ask(Pipeline& pipeline, bool& is_done) const;

 private:
  const std::string connection_;  ///< a random number
  std::int64_t transactions_ = 0;
  const Pipeline::Sql sql_;
  const std::shared_ptr<int> prepared_on_ = std::make_shared<int>(0);
};

}  // namespace qv::db
