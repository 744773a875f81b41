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
  bool Step() override { return inner_->Step(); }
  void Reset() override { inner_->Reset(); }
  int ColumnCount() const override { return inner_->ColumnCount(); }
  std::string_view ColumnName(int column) const override { return inner_->ColumnName(column); }
  bool IsNull(int column) const override { return inner_->IsNull(column); }
  std::int64_t Int(int column) const override { return inner_->Int(column); }
  double Real(int column) const override { return inner_->Real(column); }
  std::string_view Text(int column) const override { return inner_->Text(column); }
  bool IsReadOnly() const override { return inner_->IsReadOnly(); }

  std::unique_ptr<qv::db::Statement> inner_;
};

struct WrappedConnection : qv::db::Connection {
  explicit WrappedConnection(std::unique_ptr<qv::db::Connection> inner) : inner_(std::move(inner)) {}
  std::unique_ptr<qv::db::Statement> Prepare(const char* sql, bool keep, const char** rest) override {
    return inner_->Prepare(sql, keep, rest);
  }
  std::int64_t Changes() const override { return inner_->Changes(); }
  void Begin() override { inner_->Begin(); }
  void Commit() override { inner_->Commit(); }
  void Rollback() noexcept override { inner_->Rollback(); }
  bool InTransaction() const override { return inner_->InTransaction(); }
  bool NeedsSetUp() override { return inner_->NeedsSetUp(); }
  void SetUp() override { inner_->SetUp(); }
  qv::db::TableColumns ReadColumns() override { return inner_->ReadColumns(); }
  void EnforceReferences(bool enforced) noexcept override { inner_->EnforceReferences(enforced); }
  void Checkpoint() noexcept override { inner_->Checkpoint(); }
  void PrepareToClose(bool is_locked) noexcept override { inner_->PrepareToClose(is_locked); }

  std::unique_ptr<qv::db::Connection> inner_;
};

}  // namespace support
