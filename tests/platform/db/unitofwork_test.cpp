#include <gmock/gmock.h>
#include <sys/resource.h>

#include <csignal>

#include "support.h"

namespace qv::db::test {
namespace {

using testing::HasSubstr;

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
  /// Every use of a lost unit of work fails, and nothing of it stays.
  static void ExpectLost(UnitOfWork& unit) {
    EXPECT_EQ(ErrorOf([] { Insert("late"); }).first, Error::Kind::Lost);
    EXPECT_EQ(ErrorOf([] { AllOrNothing step; }).first, Error::Kind::Lost);
    EXPECT_EQ(ErrorOf([&] { unit.Commit(); }).first, Error::Kind::Lost);
  }
};

TEST_F(UnitOfWorkTest, StepsGoBackAloneWithTheirCounts) {
  OpenItems();
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

TEST_F(UnitOfWorkTest, AnExceptionOrADeathLeavesNothing) {
  OpenItems();
  EXPECT_THROW(
      {
        UnitOfWork unit;
        Insert("a");
        throw std::out_of_range("from a step");
      },
      std::out_of_range);
  EXPECT_EQ(Items(), "");
  Close();
  EXPECT_EQ(InProcess([&] {
              OpenItems();
              UnitOfWork unit;
              Insert("b");
              kill(getpid(), SIGKILL);
            }),
            -SIGKILL);
  OpenItems();
  EXPECT_EQ(Items(), "");
}

TEST_F(UnitOfWorkTest, AFullDatabaseLosesAllOfIt) {
  OpenItems();
  Insert("before", 1);
  ThisThread().Execute("PRAGMA max_page_count = 20");
  {
    UnitOfWork unit;
    Insert("first");
    // A conflict clause that ends the transaction stands for the errors that SQLite answers in this way.
    EXPECT_EQ(ErrorOf([] { ThisThread().Prepare("INSERT OR ROLLBACK INTO item (name) VALUES ('first')").Run(); }).first,
              Error::Kind::Lost);
    ExpectLost(unit);
  }
  {
    UnitOfWork unit;
    Insert("first");
    const auto full = ErrorOf([] { Insert(std::string(200'000, 'x')); });
    EXPECT_THAT(full.second, HasSubstr("database or disk is full"));
    EXPECT_EQ(full.first, Error::Kind::Lost);
    ExpectLost(unit);
  }
  EXPECT_EQ(Items(), "before=1");
}

TEST_F(UnitOfWorkTest, ADiskThatFillsAtCommitLeavesNothing) {
  OpenItems();
  Insert("before", 1);
  Close();
  EXPECT_EQ(InProcess([&] {
              OpenItems();
              std::signal(SIGXFSZ, SIG_IGN);
              UnitOfWork unit;
              Insert(std::string(500'000, 'x'));
              const rlimit limit{200'000, 200'000};
              setrlimit(RLIMIT_FSIZE, &limit);
              const auto [kind, text] = ErrorOf([&] { unit.Commit(); });
              if (kind != Error::Kind::Lost) throw std::runtime_error("not lost: " + text);
              if (ErrorOf([] { Insert("late"); }).first != Error::Kind::Lost) throw std::runtime_error("went on");
            }),
            0);
  OpenItems();
  EXPECT_EQ(Items(), "before=1");
}

}  // namespace
}  // namespace qv::db::test
