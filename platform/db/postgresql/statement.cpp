#include "db/postgresql/statement.h"

#include <stdexcept>

#include "db/postgresql/results.h"

namespace qv::db {
namespace {

bool IsQuery(std::string_view sql) { return sql.starts_with("SELECT") || sql.starts_with("WITH"); }

}  // namespace

PostgresqlStatement::PostgresqlStatement(Executor& executor, std::string name, std::string sql)
    : executor_(executor), name_(std::move(name)), sql_(std::make_shared<const std::string>(std::move(sql))) {}

PostgresqlStatement::~PostgresqlStatement() {
  Pipeline& pipeline = executor_.pipeline();
  if (*prepared_on_ == pipeline.generation() && !pipeline.IsLost()) pipeline.Run("DEALLOCATE " + name_);
}

void PostgresqlStatement::Set(int parameter, const char* value, std::size_t length, bool as_bytes) {
  const auto place = static_cast<std::size_t>(parameter) - 1;
  if (parameters_.values.size() <= place) {
    parameters_.values.resize(place + 1);
    parameters_.lengths.resize(place + 1);
    parameters_.formats.resize(place + 1);
  }
  parameters_.values[place] = value;
  parameters_.lengths[place] = static_cast<int>(length);
  parameters_.formats[place] = as_bytes ? 1 : 0;
}

void PostgresqlStatement::BindNull(int parameter) { Set(parameter, nullptr, 0, false); }

void PostgresqlStatement::BindInt(int parameter, std::int64_t value) {
  auto& text = numbers_.emplace_back();
  *std::to_chars(text.data(), text.data() + text.size() - 1, value).ptr = '\0';
  Set(parameter, text.data(), 0, false);
}

void PostgresqlStatement::BindReal(int parameter, double value) {
  auto& text = numbers_.emplace_back();
  *std::to_chars(text.data(), text.data() + text.size() - 1, value).ptr = '\0';
  Set(parameter, text.data(), 0, false);
}

void PostgresqlStatement::BindText(int parameter, std::string_view text) {
  Set(parameter, text.data() == nullptr ? "" : text.data(), text.size(), true);
}

void PostgresqlStatement::SendToServer(Pipeline::Take take) {
  Pipeline& pipeline = executor_.pipeline();
  if (*prepared_on_ != pipeline.generation()) pipeline.Prepare(name_, sql_, prepared_on_);
  pipeline.RunPrepared(name_, sql_, parameters_, std::move(take));
}

void PostgresqlStatement::Send() {
  auto rows = std::make_shared<Result>();
  const auto send = [&] { SendToServer([rows](Result result) { *rows = std::move(result); }); };
  if (executor_.SendAhead(send)) rows_ = rows;
}

bool PostgresqlStatement::Next() {
  if (!rows_) {
    if (!executor_.InTransaction() && !IsQuery(*sql_)) {
      throw std::logic_error("a statement that writes was stepped through outside of a transaction");
    }
    Send();
  }
  if (!rows_) {
    auto rows = std::make_shared<Result>();
    executor_.Execute([&] { SendToServer([rows](Result result) { *rows = std::move(result); }); });
    rows_ = std::move(rows);
  } else if (!*rows_) {
    executor_.Await();
  }
  return ++row_ < PQntuples(rows_->get());
}

Written PostgresqlStatement::Run() {
  Written written;
  const auto send = [&] { SendToServer([&](const Result& result) { written = ReadWritten(result); }); };
  if (executor_.SendAhead(send)) {
    executor_.Await();
  } else {
    executor_.Execute(send);
  }
  Reset();
  return written;
}

void PostgresqlStatement::RunLater(TakeWritten take) {
  const auto send = [&] {
    SendToServer([take = std::move(take)](const Result& result) {
      if (take) take(ReadWritten(result));
    });
  };
  if (!executor_.SendAhead(send)) executor_.Execute(send);
  Reset();
}

void PostgresqlStatement::Reset() {
  rows_.reset();
  row_ = -1;
  parameters_ = {};
  numbers_.clear();
}

std::int64_t PostgresqlStatement::Int(int column) const {
  const std::string_view text = Text(column);
  if (text == "t") return 1;  // a boolean
  return Parse<std::int64_t>(text);
}

double PostgresqlStatement::Real(int column) const { return Parse<double>(Text(column)); }

std::string_view PostgresqlStatement::Text(int column) const {
  return {PQgetvalue(rows_->get(), row_, column), static_cast<std::size_t>(PQgetlength(rows_->get(), row_, column))};
}

}  // namespace qv::db
