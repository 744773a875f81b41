/// The real driver with something around it: forwards every call, for tests that watch or disturb some of them.
#pragma once

#include <memory>
#include <utility>

#include "db/driver.h"

namespace support {

struct WrappedStatement : qv::db::Statement {
  explicit WrappedStatement(std::unique_ptr<qv::db::Statement> inner) : inner_(std::move(inner)) {}
  void BindNull(int parameter) override { inner_->BindNull(parameter); }
  void BindInt(int parameter, std::int64_t value) override { inner_->BindInt(parameter, value); }
  void BindReal(int parameter, double value) override { inner_->BindReal(parameter, value); }
  void BindText(int parameter, std::string_view text) override { inner_->BindText(parameter, text); }
  bool Next() override { return inner_->Next(); }
  qv::db::Written Run() override { return inner_->Run(); }
  void Reset() override { inner_->Reset(); }
  int ColumnCount() const override { return inner_->ColumnCount(); }
  std::string_view ColumnName(int column) const override { return inner_->ColumnName(column); }
  bool IsNull(int column) const override { return inner_->IsNull(column); }
  std::int64_t Int(int column) const override { return inner_->Int(column); }
  double Real(int column) const override { return inner_->Real(column); }
  std::string_view Text(int column) const override { return inner_->Text(column); }

  std::unique_ptr<qv::db::Statement> inner_;
};

struct WrappedConnection : qv::db::Connection {
  explicit WrappedConnection(std::unique_ptr<qv::db::Connection> inner) : inner_(std::move(inner)) {}
  qv::db::Dialect dialect() const override { return inner_->dialect(); }
  std::string Name() const override { return inner_->Name(); }
  std::unique_ptr<qv::db::Statement> Prepare(const std::string& sql) override { return inner_->Prepare(sql); }
  std::int64_t RunText(const std::string& text, qv::db::TextRows* rows) override { return inner_->RunText(text, rows); }
  void Begin(const qv::db::Scope& scope, std::chrono::milliseconds limit) override { inner_->Begin(scope, limit); }
  void BeginReading() override { inner_->BeginReading(); }
  void Commit() override { inner_->Commit(); }
  void Rollback() noexcept override { inner_->Rollback(); }
  void RingOnCommit() override { inner_->RingOnCommit(); }
  std::unique_ptr<qv::db::Bell> MakeBell() override { return inner_->MakeBell(); }
  bool TakeTurn(int server) override { return inner_->TakeTurn(server); }
  void EndTurn() noexcept override { inner_->EndTurn(); }
  bool InTransaction() const override { return inner_->InTransaction(); }
  bool WasInterrupted() const override { return inner_->WasInterrupted(); }
  std::optional<std::int64_t> TakeId(const std::string& table) override { return inner_->TakeId(table); }
  std::int64_t LastId(const std::string& table) override { return inner_->LastId(table); }
  void SetLastId(const std::string& table, std::int64_t id) override { inner_->SetLastId(table, id); }
  void SetSavepoint() override { inner_->SetSavepoint(); }
  void ReleaseSavepoint() override { inner_->ReleaseSavepoint(); }
  void ReturnToSavepoint() override { inner_->ReturnToSavepoint(); }
  qv::db::TableColumns ReadColumns() override { return inner_->ReadColumns(); }
  void Accept() override { inner_->Accept(); }

  std::unique_ptr<qv::db::Connection> inner_;
};

}  // namespace support
