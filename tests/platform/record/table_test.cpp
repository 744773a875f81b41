#include "record/table.h"

#include "db/database.h"
#include "support/hosttest.h"
#include "taggedfield.h"

struct GadgetData {
  enum Fields : int { FIELD_COUNT = 11 };
};

#define GADGET_FIELDS(FIELD)                                             \
  FIELD(GadgetData, 0, int, Id, "id", HostId)                            \
  FIELD(GadgetData, 1, int, IdOnSlave, "id_on_rec_server", IdOnSlave)    \
  FIELD(GadgetData, 2, int, Owner, "owner_zr_id", Owner)                 \
  FIELD(GadgetData, 3, int, Number, "number", Config, .default_int = 5)  \
  FIELD(GadgetData, 4, bool, Flag, "flag", Config)                       \
  FIELD(GadgetData, 5, double, Real, "real", Config)                     \
  FIELD(GadgetData, 6, std::string, Text, "text", Config)                \
  FIELD(GadgetData, 7, JsonText, Nested, "nested", Config)               \
  FIELD(GadgetData, 8, std::string, Password, "password", Secret)        \
  FIELD(GadgetData, 9, int, Peer, "peer", HostOnly, .references = "pos") \
  FIELD(GadgetData, 10, JsonText, Extra, "extra", Extra)

GADGET_FIELDS(QV_TAGGED_FIELD)

namespace {

using qv::record::Misfit;
using qv::record::Table;
using qv::record::Where;
using support::Parse;
using testing::ElementsAre;

class Gadget : public TaggedRecord<GadgetData::Fields> {};
using GadgetTable = Table<Gadget, GadgetData::Fields>;

class TableTest : public support::HostTest {
 protected:
  TableTest() { gadgets_.Create(qv::db::ThisThread()); }

  /// Takes `entry` into a new row, and reads the row back.
  Gadget Stored(const std::string& entry) {
    Gadget gadget;
    EXPECT_TRUE(gadgets_.Apply(gadget, Parse(entry))) << entry;
    gadgets_.Save(gadget);
    return gadgets_.Find(Where().Is("id", gadget.GetId())).value();
  }

  const GadgetTable gadgets_{"gadget", {.own_keys = {"parts"}}};
};

TEST_F(TableTest, WhatWasStoredEqualsTheEntryItCameFrom) {
  const std::pair<const char*, const char*> cases[] = {
      {R"({"number":3.0})", R"({"number":"4"})"},
      {R"({"number":"-17"})", R"({"number":17})"},
      {R"({"flag":"true"})", R"({"flag":0})"},
      {R"({"real":0.1})", R"({"real":0.10000000001})"},
      {R"({"text":5})", R"({"text":"5.0"})"},
      {R"({"text":""})", R"({"text":" "})"},
      {R"({"text":"a\u0000b"})", R"({"text":"a"})"},
      {R"({"nested":{"b":[1,2.5,null],"a":"é"}})", R"({"nested":{"b":[1,2.5,null],"a":"e"}})"},
      {R"({"nested":[1,25,"x\\n"]})", R"({"nested":[1,30,"x\\n"]})"},
      {R"({"nested":["5",5,"\n"]})", R"({"nested":["5",5,"\\n"]})"},
      {R"({"nested":5})", R"({"nested":""})"},
      {R"({"password":"p"})", R"({"password":"q"})"},
      {R"({"new_key":{"deep":[1]},"other":null})", R"({"new_key":{"deep":[1,2]}})"},
      {R"({"parts":[1],"id":9})", R"({"id":8})"},
  };
  for (const auto& [entry, other] : cases) {
    const Gadget gadget = Stored(entry);
    EXPECT_FALSE(gadgets_.Differs(gadget, Parse(entry))) << entry;
    EXPECT_TRUE(gadgets_.Differs(gadget, Parse(other))) << other;
  }
  // Numbers equal by value in a nested and in an extra value too; of other types, none is taken for another.
  const char* const values[] = {"true", "false", "0", "1.0", "5", "7.5", R"("5")", R"("true")", "[]", "[true]", "{}"};
  for (const std::string held : values) {
    for (const std::string sent : values) {
      Gadget gadget = Stored(R"({"nested":)" + held + R"(,"new_key":)" + held + "}");
      for (const char* key : {"nested", "new_key"}) {
        EXPECT_EQ(gadgets_.Differs(gadget, Parse("{\"" + std::string(key) + "\":" + sent + "}")), held != sent)
            << key << ' ' << held << ' ' << sent;
      }
      gadgets_.Apply(gadget, Parse(R"({"nested":)" + sent + R"(,"new_key":)" + sent + "}"));
      EXPECT_EQ(gadget.GetNested().text, sent);
      EXPECT_EQ(gadget.GetExtra().text, R"({"new_key":)" + sent + "}");
    }
  }
  const Gadget gadget = Stored(R"({"nested":{"x":1},"new_key":{"on":[1,2]}})");
  EXPECT_FALSE(gadgets_.Differs(gadget, Parse(R"({"nested":{"x":1.0,"y":null},"new_key":{"on":[1,2.0]}})")));
}

TEST_F(TableTest, StoredExtraKeysAreReadWhateverTheyTakeAndBounded) {
  // As many values as no slave could send in so little text.
  std::string numbers = "[0";
  for (int i = 0; i < 400'000; ++i) numbers += ",1";
  Gadget gadget;
  gadget.SetExtra({R"({"dense":)" + numbers + R"(],"kept":1})"});
  EXPECT_TRUE(gadgets_.Apply(gadget, Parse(R"({"one":1})")));
  EXPECT_THAT(gadget.GetExtra().text, testing::EndsWith(R"(],"kept":1,"one":1})"));
  // What cannot be read is left as it is.
  gadget.SetExtra({"{\"torn"});
  EXPECT_FALSE(gadgets_.Differs(gadget, Parse(R"({"one":1})")));
  EXPECT_TRUE(gadgets_.Apply(gadget, Parse(R"({"one":1})")));
  EXPECT_EQ(gadget.GetExtra().text, "{\"torn");
  // A slave with new keys every time keeps a mebibyte of old ones at most, and what it reports.
  Gadget growing;
  for (const char* size : {"a", "b", "c"}) {
    const std::string text(400'000, 'x');
    EXPECT_TRUE(gadgets_.Apply(growing, Parse("{\"" + std::string(size) + "\":\"" + text + "\"}")));
  }
  EXPECT_EQ(growing.GetExtra().text.substr(0, 5), "{\"c\":");
  EXPECT_TRUE(gadgets_.Apply(growing, Parse("{\"d\":\"" + std::string(2'000'000, 'x') + "\"}")));
  EXPECT_EQ(growing.GetExtra().text.size(), 2'000'008);
}

TEST_F(TableTest, MembersThatAreNotReportedKeepTheirValue) {
  Gadget gadget = Stored(R"({"id":4,"number":1,"text":"t","nested":{"a":1},"password":"p","one":1,"two":2})");
  EXPECT_TRUE(gadgets_.Apply(gadget, Parse(R"({"number":null,"text":"u","two":3,"owner_zr_id":99,"peer":99})")));
  EXPECT_EQ(gadget.GetIdOnSlave(), 4);
  EXPECT_EQ(gadget.GetNumber(), 1);
  EXPECT_EQ(gadget.GetText(), "u");
  EXPECT_EQ(gadget.GetNested().text, R"({"a":1})");
  EXPECT_EQ(gadget.GetPassword(), "p");
  EXPECT_EQ(gadget.GetExtra().text, R"({"one":1,"two":3})");
  EXPECT_EQ(gadget.GetOwner() + gadget.GetPeer(), 0) << "what is the host's own is never taken from a slave";
  const Json::Value json = gadgets_.ToJson(gadget);
  EXPECT_EQ(json["two"], 3);
  EXPECT_FALSE(json.isMember("password"));
}

TEST_F(TableTest, MisfitsKeepTheMemberOrRefuseTheEntry) {
  const GadgetTable strict("gadget", {.misfit = Misfit::RefuseEntry});
  for (const char* value : {R"("x")", "[1]", "{}", "3000000000", "1e300"}) {
    const Json::Value entry = Parse(R"({"flag":true,"number":)" + std::string(value) + "}");
    Gadget gadget;
    EXPECT_THAT(Journal([&] { EXPECT_TRUE(gadgets_.Apply(gadget, entry)); }),
                ElementsAre("The reported \"number\" does not fit gadget [0]"));
    EXPECT_EQ(gadget.GetNumber(), 5) << value;
    EXPECT_TRUE(gadget.GetFlag()) << value;
    EXPECT_FALSE(gadgets_.Differs(gadget, entry)) << "or each snapshot would write it again: " << value;

    Gadget untouched;
    Journal([&] { EXPECT_FALSE(strict.Apply(untouched, entry)) << value; });
    EXPECT_FALSE(untouched.GetFlag()) << value;
    EXPECT_TRUE(strict.Differs(untouched, entry)) << value;
  }
  Gadget gadget;
  for (const char* entry : {"null", "[]", "5", R"("x")"}) EXPECT_FALSE(gadgets_.Apply(gadget, Parse(entry))) << entry;
}

TEST_F(TableTest, WritesOnlyWhatDiffersAndKeepsNoReferenceToNothing) {
  Gadget gadget = Stored(R"({"number":1})");
  EXPECT_FALSE(gadgets_.Save(gadget));
  gadget.SetNumber(2);
  EXPECT_TRUE(gadgets_.Save(gadget));
  EXPECT_THAT(Rows("SELECT number,peer,text FROM gadget"), ElementsAre("2|null|"));
  gadget.SetOwner(9);
  gadget.SetNumber(3);
  EXPECT_TRUE(gadgets_.Save(gadget)) << "a row may change its owner";
  EXPECT_THAT(Rows("SELECT number,owner_zr_id FROM gadget"), ElementsAre("3|9"));
  gadget.SetPeer(12);
  EXPECT_THROW(gadgets_.Save(gadget), qv::db::Error) << "there is no such terminal";
  Sql("INSERT INTO pos (id) VALUES (12)");
  EXPECT_TRUE(gadgets_.Save(gadget));
  Sql("DELETE FROM pos");
  EXPECT_EQ(gadgets_.Count({}), 0) << "a row goes with the row that it refers to";
}

}  // namespace
