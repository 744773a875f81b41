#include "db/postgresql/commitmark.h"

#include <fmt/format.h>

#include <random>
#include <string_view>

namespace qv::db {
namespace {

// Someone who asks about a transaction leaves its number too, negated. The transaction's own number is then null, which
// the table refuses.
constexpr const char* kLeave = R"sql(
  INSERT INTO commit_mark AS mark (connection,number,made)
    SELECT $1::bigint,$2::bigint,now() WHERE pg_current_xact_id_if_assigned() IS NOT NULL
  ON CONFLICT (connection) DO UPDATE SET number = nullif(excluded.number, -mark.number), made = excluded.made)sql";
/// Changes a row unless the transaction was done.
constexpr const char* kAsk = R"sql(
  INSERT INTO commit_mark AS mark (connection,number,made) VALUES ({0},-{1},now())
  ON CONFLICT (connection) DO UPDATE SET number = excluded.number, made = excluded.made WHERE mark.number <> {1})sql";
/// Takes out the rows of connections that have not written for a day.
constexpr const char* kSweep = R"sql(
  DELETE FROM commit_mark WHERE connection IN
    (SELECT connection FROM commit_mark WHERE made < now() - interval '1 day' FOR UPDATE SKIP LOCKED))sql";

std::int64_t RandomNumber() {
  std::random_device source;
  return std::uniform_int_distribution<std::int64_t>(1)(source);
}

}  // namespace

const char* const CommitMark::kMakeTable =
    "CREATE TABLE IF NOT EXISTS commit_mark"
    " (connection BIGINT PRIMARY KEY, number BIGINT NOT NULL, made TIMESTAMPTZ NOT NULL)";

CommitMark::CommitMark()
    : connection_(std::to_string(RandomNumber())), sql_(std::make_shared<const std::string>(kLeave)) {}

void CommitMark::Leave(Pipeline& pipeline) {
  const std::string number = std::to_string(++transactions_);
  if (*prepared_on_ != pipeline.generation()) pipeline.Prepare("mark", sql_, prepared_on_);
  pipeline.RunPrepared("mark", sql_, {{connection_.c_str(), number.c_str()}, {0, 0}, {0, 0}}, nullptr);
  if (transactions_ == 1) pipeline.Run(kSweep);
}

void CommitMark::Ask(Pipeline& pipeline, bool& is_done) const {
  pipeline.Run(fmt::format(kAsk, connection_, transactions_),
               [&](const Result& result) { is_done = std::string_view(PQcmdTuples(result.get())) == "0"; });
}

}  // namespace qv::db
