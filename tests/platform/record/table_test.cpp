#include "record/table.h"

#include "support/hosttest.h"

#define GADGET_FIELDS(FIELD)                                          \
  FIELD(GadgetData, int, Id, "id", HostId)                            \
  FIELD(GadgetData, int, IdOnSlave, "id_on_rec_server", IdOnSlave)    \
  FIELD(GadgetData, int, Owner, "owner_zr_id", Owner)                 \
  FIELD(GadgetData, int, Number, "number", Config, .default_int = 5)  \
  FIELD(GadgetData, bool, Flag, "flag", Config)                       \
  FIELD(GadgetData, double, Real, "real", Config)                     \
  FIELD(GadgetData, std::string, Text, "text", Config)                \
  FIELD(GadgetData, JsonText, Nested, "nested", Config)               \
  FIELD(GadgetData, std::string, Password, "password", Secret)        \
  FIELD(GadgetData, int, Peer, "peer", HostOnly, .references = "pos") \
  FIELD(GadgetData, JsonText, Extra, "extra", Extra)

QV_DECLARE_FIELDS(GadgetData, GADGET_FIELDS)

namespace {

using qv::record::Misfit;
using qv::record::Table;
using qv::record::Where;

class Gadget : public TaggedRecord<GadgetData::Fields> {};
using GadgetTable = Table<Gadget>;

struct TableTest : support::HostTest {
  TableTest() {
    std::string columns;
    for (const auto& [column, definition] : gadgets_.schema().ColumnDefinitions()) {
      columns += (columns.empty() ? "" : ",") + column + " " + definition;
    }
    Sql("CREATE TABLE gadget (" + columns + ")");
  }

  bool Apply(Gadget& gadget, const std::string& entry) const { return gadgets_.Apply(gadget, Parse(entry)); }
  bool Differs(const Gadget& gadget, const std::string& entry) const { return gadgets_.Differs(gadget, Parse(entry)); }
  /// Takes `entry` into a new row, and reads the row back.
  Gadget Stored(const std::string& entry) {
    Gadget gadget;
    EXPECT_TRUE(Apply(gadget, entry)) << entry;
    gadgets_.Save(gadget);
    return gadgets_.Find(Where().Is("id", gadget.GetId())).value();
  }

  const GadgetTable gadgets_{"gadget", {.own_keys = {"parts"}}};
};

TEST_F(TableTest, WhatWasStoredEqualsTheEntryItCameFrom) {
  const std::pair<const char*, const char*> cases[] = {
      {R"({"number":3.0})", R"({"number":"4"})"},
      {R"({"real":0.1})", R"({"real":0.10000000001})"},
      {R"({"text":"a\u0000b"})", R"({"text":"a"})"},
      {R"({"nested":{"b":[1,2.5,null],"a":"é"}})", R"({"nested":{"b":[1,2.5,null],"a":"e"}})"},
      {R"({"password":"p"})", R"({"password":"q"})"},
      {R"({"new_key":{"deep":[1]},"other":null})", R"({"new_key":{"deep":[1,2]}})"},
      {R"({"parts":[1],"id":9})", R"({"id":8})"},
  };
  for (const auto& [entry, other] : cases) {
    const Gadget gadget = Stored(entry);
    EXPECT_FALSE(Differs(gadget, entry)) << entry;
    EXPECT_TRUE(Differs(gadget, other)) << other;
  }
}

TEST_F(TableTest, AValueIsTakenInTheTypeOfItsField) {
  const struct {
    std::string member, sent, held;
  } cases[] = {{"number", "3.0", "3"},      {"number", R"("-17")", "-17"},
               {"number", "true", "1"},     {"flag", R"("false")", "0"},
               {"flag", R"("1")", "1"},     {"flag", "2", "1"},
               {"real", R"("0.5")", "0.5"}, {"text", "5", "5"},
               {"text", "false", "false"}};
  for (const auto& [member, sent, held] : cases) {
    for (const bool flag : {false, true}) {
      Gadget gadget;
      gadget.SetFlag(flag);
      EXPECT_TRUE(Apply(gadget, "{\"" + member + "\":" + sent + "}"));
      gadgets_.Save(gadget);
      EXPECT_THAT(Rows("SELECT " + member + " FROM gadget ORDER BY id DESC LIMIT 1"), ElementsAre(held)) << sent;
    }
  }
}

TEST_F(TableTest, ExtraKeysThatTheHostHoldsAreReadHoweverManyAndLeftIfTheyCannotBe) {
  std::string numbers = "[0";  // more values than a slave could send in so little text
  for (int i = 0; i < 400'000; ++i) numbers += ",1";
  Gadget gadget;
  gadget.SetExtra({R"({"dense":)" + numbers + R"(],"kept":1})"});
  EXPECT_TRUE(Apply(gadget, R"({"one":1})"));
  EXPECT_THAT(gadget.GetExtra().text, testing::EndsWith(R"(],"kept":1,"one":1})"));
  gadget.SetExtra({"{\"torn"});
  EXPECT_FALSE(Differs(gadget, R"({"one":1})"));
  EXPECT_TRUE(Apply(gadget, R"({"one":1})"));
  EXPECT_EQ(gadget.GetExtra().text, "{\"torn");
}

TEST_F(TableTest, OldExtraKeysAreKeptUpToAMebibyte) {
  Gadget gadget;
  const std::string text(400'000, 'x');
  for (const std::string key : {"a", "b", "c"}) Apply(gadget, "{\"" + key + "\":\"" + text + "\"}");
  EXPECT_THAT(gadget.GetExtra().text, testing::StartsWith("{\"c\":"));
  EXPECT_TRUE(Apply(gadget, "{\"d\":\"" + std::string(2'000'000, 'x') + "\"}"));
  EXPECT_EQ(gadget.GetExtra().text.size(), 2'000'008) << "what is reported is kept whole";
}

TEST_F(TableTest, MembersThatAreNotReportedKeepTheirValue) {
  Gadget gadget = Stored(R"({"id":4,"number":1,"text":"t","nested":{"a":1},"password":"p","one":1,"two":2})");
  EXPECT_TRUE(Apply(gadget, R"({"id":"9","number":null,"text":"u","two":3,"owner_zr_id":99,"peer":99})"));
  gadgets_.Save(gadget);
  // Neither the owner nor the reference: what is the host's own is never taken from a slave.
  EXPECT_THAT(Rows("SELECT id_on_rec_server,number,text,nested,password,extra,owner_zr_id,peer FROM gadget"),
              ElementsAre(R"(4|1|u|{"a":1}|p|{"one":1,"two":3}|0|null)"));
}

TEST_F(TableTest, AMisfitKeepsTheMemberOrRefusesTheEntry) {
  const GadgetTable strict("gadget", {.misfit = Misfit::RefuseEntry});
  for (const std::string value : {R"("x")", "[1]", "3000000000", "1e300"}) {
    const Json::Value entry = Parse(R"({"flag":true,"number":)" + value + "}");
    Gadget gadget;
    EXPECT_THAT(Journal([&] { EXPECT_TRUE(gadgets_.Apply(gadget, entry)); }),
                ElementsAre("The reported \"number\" does not fit gadget [0]"));
    EXPECT_EQ(gadget.GetNumber(), 5) << value;
    EXPECT_TRUE(gadget.GetFlag()) << value;
    EXPECT_FALSE(gadgets_.Differs(gadget, entry)) << "or each snapshot would write it again: " << value;

    Gadget untouched;
    EXPECT_FALSE(strict.Apply(untouched, entry)) << value;
    EXPECT_FALSE(untouched.GetFlag()) << value;
    EXPECT_TRUE(strict.Differs(untouched, entry)) << value;
  }
  Gadget gadget;
  EXPECT_FALSE(Apply(gadget, "[]"));
}

TEST_F(TableTest, WritesOnlyWhatDiffersAndKeepsNoReferenceToNothing) {
  Gadget gadget = Stored(R"({"number":1})");
  EXPECT_FALSE(gadgets_.Save(gadget));
  gadget.SetOwner(9);
  gadget.SetNumber(3);
  EXPECT_TRUE(gadgets_.Save(gadget)) << "a row may change its owner";
  EXPECT_THAT(Rows("SELECT number,owner_zr_id,peer,text FROM gadget"), ElementsAre("3|9|null|"));
  gadget.SetPeer(12);
  EXPECT_THROW(gadgets_.Save(gadget), qv::db::Error) << "there is no such terminal";
}

}  // namespace
