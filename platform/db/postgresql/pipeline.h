/// The way of statements to a PostgreSQL server and of their results back. Statements are sent ahead, one after the
/// other, and their results are read later, all at once: a round trip for however many statements.
#pragma once

#include <libpq-fe.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "db/driver.h"

namespace qv::db {

struct FreeResult {
  void operator()(PGresult* result) const { PQclear(result); }
};
using Result = std::unique_ptr<PGresult, FreeResult>;

/// The value of a parameter; none for a null. Texts are borrowed until the statement is sent.
struct Parameters {
  std::vector<const char*> values;
  std::vector<int> lengths;
  std::vector<int> formats;  ///< 0: as text, 1: as bytes
};

/// Why a statement failed, as the server or the connection says.
struct Failure {
  std::string statement;  ///< its first words
  std::string state;      ///< SQLSTATE; empty: the connection is lost
  std::string reason;     ///< one sentence without values

  bool IsOf(std::string_view state_class) const { return state.starts_with(state_class); }
};

class Pipeline {
 public:
  /// Called with the result of a statement that succeeded.
  using Take = std::function<void(Result result)>;

  /// Connects. @param settings  SQL that every connection begins with. Throws `Error` (Unusable).
  Pipeline(const std::string& url, std::string settings);

  /// Connects again after the connection was lost; prepared statements are gone then. @return whether it succeeded
  bool Reconnect();
  bool IsLost() const { return PQstatus(connection_.get()) != CONNECTION_OK; }
  /// How often the connection was made, by which a statement knows whether it is prepared on it.
  int generation() const { return generation_; }

  /// A text that several statements have in common, which an error text is made of.
  using Sql = std::shared_ptr<const std::string>;

  /// @param prepared_on  the generation of the connection that knows the statement; set at once, and to 0 when the
  /// server has not prepared it
  void Prepare(const std::string& name, const Sql& sql, const std::shared_ptr<int>& prepared_on);
  void RunPrepared(const std::string& name, const Sql& sql, const Parameters& parameters, Take take);
  void Run(const std::string& sql, Take take = nullptr);
  /// Waits for the results of all that was sent, and hands them over in order. After a failure the statements behind it
  /// have not run. @return the first failure
  std::optional<Failure> Flush();
  bool IsEmpty() const { return sent_.empty(); }

  std::uint64_t round_trips() const { return round_trips_; }
  PGconn* get() const { return connection_.get(); }

 private:
  struct Sent {
    Sql sql;
    Take take;
    std::shared_ptr<int> prepared_on;
  };
  struct CloseConnection {
    void operator()(PGconn* connection) const { PQfinish(connection); }
  };

  void Begin();
  Failure Describe(const PGresult* result, const std::string& sql) const;
  Failure LostConnection(const std::string& sql) const;

  std::unique_ptr<PGconn, CloseConnection> connection_;
  const std::string settings_;
  int generation_ = 0;
  std::deque<Sent> sent_;
  std::uint64_t round_trips_ = 0;
};

}  // namespace qv::db
