/// Prepared statements of a PostgreSQL connection.
#pragma once

#include <array>
#include <charconv>
#include <deque>

#include "db/postgresql/pipeline.h"

namespace qv::db {

/// What a statement needs of its connection.
class Executor {
 public:
  virtual ~Executor() = default;
  virtual Pipeline& pipeline() = 0;
  /// Runs what `send` sends, and waits for it. Throws `Error`; the transaction around it is as it was before.
  virtual void Execute(const std::function<void()>& send) = 0;
  /// Runs `send` if statements are sent ahead at present. @return false: nothing was sent
  virtual bool SendAhead(const std::function<void()>& send) = 0;
  /// Waits for what was sent ahead.
  virtual void Await() = 0;
  virtual bool InTransaction() const = 0;
};

class PostgresqlStatement final : public Statement {
 public:
  PostgresqlStatement(Executor& executor, std::string name, std::string sql);
  ~PostgresqlStatement() override;
  PostgresqlStatement(const PostgresqlStatement&) = delete;
  PostgresqlStatement& operator=(const PostgresqlStatement&) = delete;

  void BindNull(int parameter) override;
  void BindInt(int parameter, std::int64_t value) override;
  void BindReal(int parameter, double value) override;
  void BindText(int parameter, std::string_view text) override;

  void Send() override;
  bool Next() override;
  Written Run() override;
  void RunLater(TakeWritten take) override;
  void Reset() override;

  int ColumnCount() const override { return PQnfields(rows_->get()); }
  std::string_view ColumnName(int column) const override { return PQfname(rows_->get(), column); }
  bool IsNull(int column) const override { return PQgetisnull(rows_->get(), row_, column) != 0; }
  std::int64_t Int(int column) const override;
  double Real(int column) const override;
  std::string_view Text(int column) const override;

 private:
  void SendToServer(Pipeline::Take take);
  void Set(int parameter, const char* value, std::size_t length, bool as_bytes);

  Executor& executor_;
  const std::string name_;
  const Pipeline::Sql sql_;
  const std::shared_ptr<int> prepared_on_ = std::make_shared<int>(0);
  Parameters parameters_;
  std::deque<std::array<char, 32>> numbers_;  ///< the texts of bound numbers
  std::shared_ptr<Result> rows_;              ///< null: it was not sent; empty: they are still to come
  int row_ = -1;
};

}  // namespace qv::db
