#include "slavezrstatus.h"

#include "support/hosttest.h"

namespace {

using ServerStatus = support::HostTest;

TEST_F(ServerStatus, IsOfAServerThatWasPaired) {
  SlaveZRStatus record;
  record.ZrId = 8;
  EXPECT_EQ(SlaveZRStatusLoad(record), -1);
  EXPECT_EQ(SlaveZRStatusSave(record), -1);
  EXPECT_THAT(Rows("SELECT id FROM server"), IsEmpty());

  Sql("INSERT INTO server (id) VALUES (8)");
  Refuse("UPDATE", "server");
  record.CamCnt = 6;
  EXPECT_EQ(SlaveZRStatusSave(record), -1);
}

}  // namespace
