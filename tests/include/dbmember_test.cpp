#include "dbmember.h"

#include <locale.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <limits>

#include "dbwrapper.h"
#include "facesetting.h"
#include "log/log.h"
#include "support/hosttest.h"
#include "tavicountingwidget.h"
#include "tavisetting.h"

#define SAMPLE_COLUMNS(COLUMN)       \
  COLUMN(SAMPLE_ID, int, id, HostId) \
  COLUMN(SAMPLE_NAME, std::string, name, Config)

enum BROKEN_DB_COLUMNS : int { BROKEN_ID, BROKEN_NAME };

/// A declaration that forgot a column.
template <>
struct DBColumnMembers<BROKEN_DB_COLUMNS> {
  static constexpr std::size_t kCount = 2;
  DBPrimitiveMember<int> id;
  DBPrimitiveMember<int> name;
  void FillTable(std::array<DBMember*, kCount>& table) { table[BROKEN_ID] = &id; }
};
template <>
const char DBWrapper<BROKEN_DB_COLUMNS>::m_szTableName[] = "broken";

DB_DECLARE_COLUMNS(SAMPLE_DB_COLUMNS, SAMPLE_COLUMNS)
template <>
const char DBWrapper<SAMPLE_DB_COLUMNS>::m_szTableName[] = "sample";

namespace {

using support::Lines;
using support::Parse;
using testing::ElementsAre;

template <class COLUMNS>
class Record : public DBWrapper<COLUMNS> {
 public:
  bool IsStorable() const override { return true; }
};

class DbMember : public support::HostTest {
 protected:
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
  const std::string kept = "kept";  // a misfit, which leaves the value alone
  const struct {
    const char* json;
    std::string text, flag, integer, number, choice;
  } cases[] = {
      {"null", "\"\" ''", "false 0", "0 0", "0.0 0", "0 0"},
      {"0", "\"0\" '0'", "false 0", "0 0", "0.0 0", "0 0"},
      {"-1", "\"-1\" '-1'", "true 1", "-1 -1", "-1.0 -1", "-1 -1"},
      {"10", "\"10\" '10'", "true 1", "10 10", "10.0 10", "10 10"},
      {"2.75", "\"2.75\" '2.75'", "true 1", "2 2", "2.75 2.75", "2 2"},
      {"0.1", "\"0.10000000000000001\" '0.10000000000000001'", "true 1", "0 0",
       "0.10000000149011612 0.10000000149011612", "0 0"},
      {"4294967303", "\"4294967303\" '4294967303'", "true 1", "7 7", "4294967296.0 4294967296", "7 7"},
      {"1e+30", "\"1e+30\" '1e+30'", "true 1", kept, "1.0000000150474662e+30 1.0000000150474662e+30", kept},
      {"-1e+300", "\"-1.0000000000000001e+300\" '-1.0000000000000001e+300'", "true 1", kept,
       "-3.4028234663852886e+38 -3.4028234663852886e+38", kept},
      {"true", "\"true\" 'true'", "true 1", "1 1", "1.0 1", "1 1"},
      {"\"abc\"", "\"abc\" 'abc'", kept, kept, kept, kept},
      {"\"5\"", "\"5\" '5'", kept, kept, kept, kept},
      {"\"it's\"", "\"it's\" 'it''s'", kept, kept, kept, kept},
      {"{}", kept, kept, kept, kept, kept},
      {"[1]", kept, kept, kept, kept, kept},
  };
  for (const auto& row : cases) {
    const std::string json = row.json;
    const std::string message = "log - SetByJson Failed converting Json [" + json + "] to DBPrimitiveMember";
    const auto check = [&](const std::string& expected, const std::string& before, auto set) {
      std::string result;
      const Lines lines = Journal([&] { result = set(); }, 0);
      EXPECT_EQ(result, expected == kept ? before : expected) << json;
      EXPECT_EQ(lines, expected == kept ? Lines{message} : Lines{}) << json;
    };
    check(row.text, "\"old\" 'old'", [&] { return Set<std::string>(json, "old"); });
    check(row.flag, "true 1", [&] { return Set<bool>(json, true); });
    check(row.integer, "42 42", [&] { return Set<int>(json, 42); });
    check(row.number, "0.5 0.5", [&] { return Set<float>(json, 0.5F); });
    check(row.choice, "2 2", [&] { return Set<TAVI_SENSE_LEVEL>(json, TAVI_SENSE_HIGH); });
  }
}

TEST_F(DbMember, ReadsResults) {
  const struct {
    const char* sql;
    const char *text, *flag, *integer, *number, *choice;
  } cases[] = {
      {"NULL", "\"\"", "false", "0", "0.0", "0"},
      {"'010'", "\"010\"", "true", "10", "10.0", "8"},
      {"'012'", "\"012\"", "true", "12", "12.0", "10"},
      {"'0x1A'", "\"0x1A\"", "false", "0", "26.0", "26"},
      {"-1", "\"-1\"", "true", "-1", "-1.0", "-1"},
      {"4294967303", "\"4294967303\"", "true", "7", "4294967296.0", "7"},
      {"0.1", "\"0.1\"", "true", "0", "0.10000000149011612", "0"},
      {"0.0", "\"0.0\"", "false", "0", "0.0", "0"},
      {"'abc'", "\"abc\"", "false", "0", "0.0", "0"},
      {"1e300", "\"1.0e+300\"", "true", "1", "3.4028234663852886e+38", "1"},
      {"'true'", "\"true\"", "true", "0", "0.0", "0"},
  };
  for (const auto& row : cases) {
    EXPECT_EQ(Fetch<std::string>(row.sql), row.text) << row.sql;
    EXPECT_EQ(Fetch<bool>(row.sql), row.flag) << row.sql;
    EXPECT_EQ(Fetch<int>(row.sql), row.integer) << row.sql;
    EXPECT_EQ(Fetch<float>(row.sql), row.number) << row.sql;
    EXPECT_EQ(Fetch<TAVI_SENSE_LEVEL>(row.sql), row.choice) << row.sql;
  }
}

/// A compiled locale category: magic number, number of values, their places; then the values.
constexpr std::uint32_t kCommaNumeric[] = {0x20031114, 6, 32, 34, 35, 36, 40, 44, ',', ',', 0, 0};

TEST_F(DbMember, FloatsSurviveTheDatabaseWhateverTheLocale) {
  std::filesystem::create_directory(folder() / "comma");
  std::ofstream(folder() / "comma/LC_NUMERIC")
      .write(reinterpret_cast<const char*>(kCommaNumeric), sizeof kCommaNumeric);
  setenv("LOCPATH", folder().c_str(), 1);
  const locale_t comma = newlocale(LC_NUMERIC_MASK, "comma", nullptr);
  unsetenv("LOCPATH");
  ASSERT_NE(comma, nullptr);
  const locale_t before = uselocale(comma);
  EXPECT_EQ(std::strtod("0,5", nullptr), 0.5);
  for (const float value : {0.1F, 1.0F / 3, 16777216.0F, 1e-40F, -2.5F, std::numeric_limits<float>::max()}) {
    DBPrimitiveMember<float> member;
    member.Set(value);
    EXPECT_EQ(Fetch<float>(member.ToSqlValue()), JsonWrite(member.ToJson(), true)) << value;
  }
  uselocale(before);
  freelocale(comma);
}

TEST_F(DbMember, MessagesNameThePlaceThatAllColumnsShare) {
  support::Lines places;
  qv::log::SetSink([&](const qv::log::Line& line) { places.push_back(line.file + ":" + std::to_string(line.line)); });
  DBPrimitiveMember<int>().SetByJson(Json::Value("abc"));
  const Record<BROKEN_DB_COLUMNS> record;
  qv::log::Reset();
  EXPECT_THAT(places, ElementsAre("include/dbmember:100", "include/dbwrapper:90"));
}

TEST_F(DbMember, RecordReportsAMissingMemberAndCopiesKeepTheirOwn) {
  EXPECT_THAT(Journal([] { const Record<BROKEN_DB_COLUMNS> record; }, 0),
              ElementsAre("log - DBWrapper Data member of db wrapper table [broken] is not correctly initialized"));
  Record<SAMPLE_DB_COLUMNS> first;
  first.Data().name.Set("first");
  Record<SAMPLE_DB_COLUMNS> second = first;
  Record<SAMPLE_DB_COLUMNS> third;
  third = first;
  first.Data().table()[SAMPLE_NAME]->SetByJson(Json::Value("changed"));
  second.Data().table()[SAMPLE_ID]->SetByJson(Json::Value(2));
  EXPECT_EQ(first.Data().name.Get() + second.Data().name.Get() + third.Data().name.Get(), "changedfirstfirst");
  EXPECT_EQ(first.Data().id.Get(), 0);
  EXPECT_TRUE(first.ShouldLogOnError());
}

template <class COLUMNS>
std::vector<int> TextPositions() {
  std::vector<int> positions;
  int position = 0;
  for (const DBColumn& column : DBColumnMembers<COLUMNS>::kColumns) {
    if (column.kind == DBColumnKind::Text) positions.push_back(position);
    ++position;
  }
  positions.push_back(position);
  return positions;
}

TEST(Columns, StandWhereTheyAreExpected) {
  EXPECT_THAT(TextPositions<TAVI_SETTING_DB_COLUMNS>(), ElementsAre(1, 30, 31, 44, 45, 46, 47, 48, 55, 81));
  EXPECT_THAT(TextPositions<FACE_SETTING_DB_COLUMNS>(), ElementsAre(1, 10, 13, 24, 25, 26, 31));
  EXPECT_THAT(TextPositions<TAVI_COUNTING_WIDGET_DB_COLUMN>(), ElementsAre(3, 9, 10));
}

}  // namespace
