/// The same snapshot twice, and one after another: whatever types its values have.

#include "qvwebapicmssyncutils.h"
#include "slavezr.h"
#include "support/hosttest.h"

namespace {

using support::Parse;

class ConvergenceTest : public support::HostTest {
 protected:
  /// What a call with a snapshot writes.
  support::Lines Update(const std::string& document, int zr) {
    return Journal([&] { SaveSlaveInfoUpdate(SlaveZR(), Parse(document), zr); }, 0);
  }
};

TEST_F(ConvergenceTest, WritesNothingAndTheFirstLeavesWhatABlankHostWouldHold) {
  const std::string values[] = {
      "null",   "true", "false",     "0",      "1",   "7",          "0.1",         "0.10000000149011612",
      R"("5")", "5",    R"("true")", "[true]", "[1]", R"({"a":5})", R"({"a":"5"})"};
  // For every pair of values one entry, which has the first value before and the second one after.
  std::string before[3];
  std::string after[3];
  int id = 0;
  for (const std::string& first : values) {
    for (const std::string& second : values) {
      ++id;
      for (auto* document : {&before, &after}) {
        const std::string& value = document == &before ? first : second;
        const std::string start = (id > 1 ? ",{\"id\":" : "{\"id\":") + std::to_string(id);
        document[0][0] += start + ",\"paired_cameras\":" + value + ",\"unknown\":" + value + "}";
        document[0][1] += start + ",\"threshold\":" + value + "}";
        document[0][2] += start + ",\"camera_id\":1,\"enable\":" + value + ",\"confidence\":" + value +
                          ",\"name\":" + value + ",\"dwell_time\":" + value + ",\"unknown\":[" + value + "]}";
      }
    }
  }
  const auto document = [](const std::string(&sections)[3]) {
    return R"({"camera_info":[{"id":1}],"POS_info":[)" + sections[0] + R"(],"iomoduleSetting":[)" + sections[1] +
           R"(],"iva_info":[)" + sections[2] + "]}";
  };
  for (const auto* sections : {&before, &after}) {
    Update(document(*sections), 7);
    EXPECT_THAT(Update(document(*sections), 7),
                testing::Not(testing::Contains(testing::MatchesRegex("(ins|upd|del).*"))));
  }
  Update(document(after), 8);
  for (const char* query : {"SELECT id_on_rec_server,settings FROM iomodule_setting",
                            "SELECT id_on_rec_server,enable,confidence,name,dwell_time,extra FROM iva_task"}) {
    const auto rows = [&](int zr) {
      return Rows(query + (" WHERE owner_zr_id=" + std::to_string(zr)) + " ORDER BY id");
    };
    const support::Lines followed = rows(7), fresh = rows(8);
    ASSERT_EQ(followed.size(), fresh.size());
    for (std::size_t i = 0; i < fresh.size(); ++i) EXPECT_EQ(followed[i], fresh[i]) << query;
  }
}

}  // namespace
