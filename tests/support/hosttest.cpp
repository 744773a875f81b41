#include "hosttest.h"

#include "db/database.h"
#include "hoststate.h"
#include "json/document.h"
#include "log/log.h"

namespace support {

Json::Value Parse(const std::string& text) { return qv::json::ReadDocument(text, {}); }

HostTest::HostTest() {
  qv::db::Options options;
  options.factory = NotingDriver();
  options.driver.durability = qv::db::Durability::Process;
  qv::db::Open(folder(), options);
}

HostTest::~HostTest() {
  qv::log::Reset();  // after a call that threw
  qv::db::Close();
}

void HostTest::Sql(const std::string& script) { qv::db::ThisThread().Execute(script); }

Lines HostTest::Rows(const std::string& query) { return QueryFolder(qv::db::DataFolder(), query); }

void HostTest::Refuse(const std::string& operation, const std::string& table, const std::string& condition) {
  static int number = 0;
  Sql("CREATE TRIGGER refuse" + std::to_string(++number) + " BEFORE " + operation + " ON " + table +
      (condition.empty() ? "" : " WHEN " + condition) + " BEGIN SELECT RAISE(ABORT, 'refused'); END;");
}

void HostTest::Break(const std::string& table) { Sql("ALTER TABLE " + table + " RENAME TO " + table + "_away"); }

}  // namespace support
