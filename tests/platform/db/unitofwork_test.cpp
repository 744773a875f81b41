#include "support.h"

namespace qv::db::test {
namespace {

class UnitOfWorkTest : public DatabaseTest {
 protected:
  static std::string Counts(const UnitOfWork& unit) {
    std::string text;
    for (const UnitOfWork::Count& count : unit.counts()) {
      text += count.kind + " " + std::to_string(count.added) + "/" + std::to_string(count.updated) + "/" +
              std::to_string(count.removed) + "; ";
    }
    return text;
  }
};

TEST_F(UnitOfWorkTest, StepsGoBackAloneWithTheirCounts) {
  CountChange("item", Change::Added, 1);  // without a unit of work nobody counts
  {
    UnitOfWork unit;
    EXPECT_THROW(UnitOfWork(), std::logic_error);
    Insert("a", 1);
    CountChange("item", Change::Added, 1);
    EXPECT_THROW(Insert("a", 2), Error);
    {
      AllOrNothing outer;
      Insert("b", 2);
      CountChange("item", Change::Added, 1);
      {
        AllOrNothing inner;
        Insert("c", 3);
        CountChange("other", Change::Removed, 4);
      }
      EXPECT_EQ(Counts(unit), "item 2/0/0; ");
      {
        AllOrNothing inner;
        Insert("d", 4);
        CountChange("other", Change::Updated, 2);
        inner.Keep();
      }
      outer.Keep();
    }
    {
      AllOrNothing outer;
      {
        AllOrNothing inner;
        Insert("e", 5);
        CountChange("item", Change::Added, 1);
        inner.Keep();
      }
    }
    EXPECT_EQ(Counts(unit), "item 2/0/0; other 0/2/0; ");
    unit.Commit();
    EXPECT_EQ(UnitOfWork::Current(), nullptr);
    EXPECT_EQ(Counts(unit), "item 2/0/0; other 0/2/0; ");
  }
  EXPECT_EQ(Items(), "a=1 b=2 d=4");
  {
    AllOrNothing alone;
    Insert("f", 6);
    EXPECT_EQ(Items(), "a=1 b=2 d=4 f=6");
  }
  EXPECT_EQ(Items(), "a=1 b=2 d=4");
}

}  // namespace
}  // namespace qv::db::test
