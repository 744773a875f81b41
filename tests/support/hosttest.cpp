#include "hosttest.h"

#include <regex>

#include "log/log.h"

namespace support {

HostTest::HostTest() {
  UseReadyDatabase(folder());
  qv::db::Open(folder(), OptionsFor(folder()));
  StartJournal();
}

HostTest::~HostTest() {
  qv::log::Reset();  // after a call that threw
  qv::db::Close();
}

void HostTest::Sql(const std::string& script) {
  qv::db::ThisThread().Execute(script);
  if (!OnPostgresql() || script.find("INSERT") == std::string::npos) return;
  // New rows get ids above those that the script named.
  qv::db::ThisThread().Execute(R"sql(DO $$
    DECLARE
      name TEXT;
    BEGIN
      FOR name IN SELECT tablename FROM pg_tables JOIN pg_sequences USING (schemaname)
                   WHERE schemaname = current_schema() AND sequencename = tablename || '_id_seq' LOOP
        EXECUTE format('SELECT setval(''%1$s_id_seq'', max(id)) FROM %1$s HAVING max(id) IS NOT NULL', name);
      END LOOP;
    END$$)sql");
}

Lines HostTest::Rows(const std::string& query) {
  static const std::regex says_no_order("SELECT [a-z0-9_,*]+ FROM [a-z_]+( WHERE (?!.* (ORDER|UNION) ).*)?");
  const bool adds_order = std::regex_match(query, says_no_order);
  return QueryFolder(qv::db::DataFolder(), query + (adds_order ? " ORDER BY id" : ""));
}

void HostTest::Refuse(const std::string& operation, const std::string& table, const std::string& condition) {
  static int number = 0;
  Sql(RefusingTrigger("refuse" + std::to_string(++number), operation, table, condition));
}

}  // namespace support
