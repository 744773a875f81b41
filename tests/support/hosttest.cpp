#include "hosttest.h"

#include "log/log.h"

namespace support {

HostTest::HostTest() {
  qv::db::Options options;
  options.factory = WatchedDriver();
  options.driver.durability = qv::db::Durability::Process;
  qv::db::Open(folder(), options);
}

HostTest::~HostTest() {
  qv::log::Reset();  // after a call that threw
  qv::db::Close();
}

void HostTest::Refuse(const std::string& operation, const std::string& table, const std::string& condition) {
  static int number = 0;
  Sql("CREATE TRIGGER refuse" + std::to_string(++number) + " BEFORE " + operation + " ON " + table +
      (condition.empty() ? "" : " WHEN " + condition) + " BEGIN SELECT RAISE(ABORT, 'refused'); END;");
}

}  // namespace support
