#include "dbmember.h"

#include "dbwrapper.h"
#include "log/log.h"
#include "support/hosttest.h"
#include "tavisetting.h"

enum BROKEN_DB_COLUMNS : int { BROKEN_ID, BROKEN_NAME };

/// A declaration that forgot a column.
template <>
struct DBColumnMembers<BROKEN_DB_COLUMNS> {
  static constexpr std::size_t kCount = 2;
  DBPrimitiveMember<int> id;
  void FillTable(std::array<DBMember*, kCount>& table) { table[BROKEN_ID] = &id; }
};
template <>
const char DBWrapper<BROKEN_DB_COLUMNS>::m_szTableName[] = "broken";

namespace {

template <class COLUMNS>
struct Record : DBWrapper<COLUMNS> {
  bool IsStorable() const override { return true; }
};

struct DbMember : support::HostTest {
  /// What SetByJson makes of `json` in a column that holds `before`, as JSON and as SQL.
  template <class T>
  static std::string Set(const std::string& json, T before) {
    DBPrimitiveMember<T> member;
    member.Set(before);
    member.SetByJson(Parse(json));
    return JsonWrite(member.ToJson(), true) + ' ' + member.ToSqlValue();
  }
  /// What FromSqlResult makes of an SQL value.
  template <class T>
  static std::string Fetch(const std::string& sql) {
    DBResult_tag* result = nullptr;
    unsigned row = 0;
    EXPECT_EQ(QVDB::Execute(kDbInstanceMain, "SELECT " + sql + " AS field", &result, false, true, true, false), 0);
    EXPECT_EQ(QVDBFetchRow(result, &row), 0);
    DBPrimitiveMember<T> member;
    member.SetByJson(Json::Value(1));
    member.FromSqlResult(result, row, "field");
    QVDBFreeResult(result);
    return JsonWrite(member.ToJson(), true);
  }
};

TEST_F(DbMember, TakesJson) {
  const struct {
    const char *json, *text, *flag, *integer, *number;
  } cases[] = {
      {"null", "\"\" ''", "false 0", "0 0", "0.0 0"},
      {"2.75", "\"2.75\" '2.75'", "true 1", "2 2", "2.75 2.75"},
      {"4294967303", "\"4294967303\" '4294967303'", "true 1", "7 7", "4294967296.0 4294967296"},
      {"1e+300", "\"1.0000000000000001e+300\" '1.0000000000000001e+300'", "true 1", "42 42",
       "3.4028234663852886e+38 3.4028234663852886e+38"},
      {"true", "\"true\" 'true'", "true 1", "1 1", "1.0 1"},
      {"\"it's\"", "\"it's\" 'it''s'", "true 1", "42 42", "0.5 0.5"},
      {"[1]", "\"old\" 'old'", "true 1", "42 42", "0.5 0.5"},
  };
  for (const auto& [json, text, flag, integer, number] : cases) {
    EXPECT_EQ(Set<std::string>(json, "old"), text) << json;
    EXPECT_EQ(Set(json, true), flag) << json;
    EXPECT_EQ(Set(json, 42), integer) << json;
    EXPECT_EQ(Set(json, 0.5F), number) << json;
  }
}

TEST_F(DbMember, ReadsResults) {
  const struct {
    const char *sql, *text, *flag, *integer, *number, *choice;
  } cases[] = {
      {"NULL", "\"\"", "false", "0", "0.0", "0"},
      {"'010'", "\"010\"", "true", "10", "10.0", "8"},
      {"'0x1A'", "\"0x1A\"", "false", "0", "26.0", "26"},
      {"4294967303", "\"4294967303\"", "true", "7", "4294967296.0", "7"},
  };
  for (const auto& [sql, text, flag, integer, number, choice] : cases) {
    EXPECT_EQ(Fetch<std::string>(sql), text) << sql;
    EXPECT_EQ(Fetch<bool>(sql), flag) << sql;
    EXPECT_EQ(Fetch<int>(sql), integer) << sql;
    EXPECT_EQ(Fetch<float>(sql), number) << sql;
    EXPECT_EQ(Fetch<TAVI_SENSE_LEVEL>(sql), choice) << sql;
  }
}

TEST_F(DbMember, MessagesNameThePlaceThatAllColumnsShare) {
  Lines lines;
  qv::log::SetSink([&](const qv::log::Line& line) {
    lines.push_back(line.file + ":" + std::to_string(line.line) + " " + line.text);
  });
  DBPrimitiveMember<int>().SetByJson(Json::Value("abc"));
  const Record<BROKEN_DB_COLUMNS> record;
  qv::log::Reset();
  EXPECT_THAT(
      lines, ElementsAre("include/dbmember:100 Failed converting Json [\"abc\"] to DBPrimitiveMember",
                         "include/dbwrapper:90 Data member of db wrapper table [broken] is not correctly initialized"));
}

TEST_F(DbMember, CopiesOfARecordKeepTheirOwn) {
  Record<TAVI_SETTING_DB_COLUMNS> first;
  first.Data().name.Set("first");
  const Record<TAVI_SETTING_DB_COLUMNS> second = first;
  Record<TAVI_SETTING_DB_COLUMNS> third;
  third = first;
  first.Data().table()[TAVI_SETTING_NAME]->SetByJson(Json::Value("changed"));
  EXPECT_EQ(first.Data().name.Get() + second.Data().name.Get() + third.Data().name.Get(), "changedfirstfirst");
}

}  // namespace
