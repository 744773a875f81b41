/// The least work with which a snapshot can be applied to a PostgreSQL database through the library's interface.
#pragma once

#include <json/value.h>
#include <libpq-fe.h>

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace bench {

/// One SELECT of the slave's rows, one copy of each entry (the interface passes it by value), a comparison of the
/// reported fields, one pipeline of prepared statements for the rows that changed, the messages and the commit. Ids of
/// new rows come with one more call. It knows the cameras and nothing else: no lock, no log, no other kinds.
class PostgresqlFloor {
 public:
  explicit PostgresqlFloor(const std::string& database);

  /// @param messages  those to write with the cameras, each a list of slave, target, command and payload as texts
  /// @return the number of cameras written
  int Apply(const Json::Value& cameras, int zr, const Json::Value& messages = Json::arrayValue);
  /// Runs SQL. @return the first field of its first row
  std::string Execute(const std::string& sql);
  /// The same on a connection of its own.
  static std::string Query(const std::string& database, const std::string& sql);

 private:
  struct Finish {
    void operator()(PGconn* connection) const { PQfinish(connection); }
  };
  struct Clear {
    void operator()(PGresult* result) const { PQclear(result); }
  };
  using Result = std::unique_ptr<PGresult, Clear>;
  struct Write {
    int row;  ///< of the result that was read; -1: a new one
    const Json::Value* entry;
  };

  static std::string FirstField(PGconn* connection, const std::string& sql);
  Result TakeOne();
  void TakeSync();
  bool Equals(const PGresult* rows, int row, const Json::Value& entry) const;
  void Send(const char* statement, const Json::Value& entry, const std::string& last, const std::string& zr);

  std::unique_ptr<PGconn, Finish> connection_;
};

}  // namespace bench
