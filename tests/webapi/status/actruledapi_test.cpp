#include "status/actruledapi.h"

#include "support/hosttest.h"

namespace {

using testing::ElementsAre;

class ActRuledApiTest : public support::HostTest {};

TEST_F(ActRuledApiTest, ForwardsWhatItSendsWhenTheServerBelongsToACms) {
  const auto send = [] {
    return ActRuledApi::SendCmd(ACTRULED_CMD_DEVICE_STATUS, DEVICE_SRC_REC_SERVER, "7", DEVICE_STATUS_DELETED, false, 0,
                                false);
  };
  const std::string command = R"({"onlyUpdateDevSts":false,"source":[{"id":"7","srcType":5,"status":3}],"zrId":0})";
  EXPECT_THAT(Journal([&] { EXPECT_EQ(send(), 0); }), ElementsAre("message 0 qvactruled 6 " + command));
  Sql("INSERT INTO setting (name,text) VALUES ('cms_identity','rec-server')");
  EXPECT_THAT(
      Journal([&] { EXPECT_EQ(send(), 0); }),
      ElementsAre("message 0 qvactruled 6 " + command, R"(message 0 cms-host 3 {"cmdType":6,"data":)" + command + "}"));
  // The result is the daemon's; the forwarding is tried all the same.
  Refuse("INSERT", "message", "NEW.target='qvactruled'");
  EXPECT_THAT(
      Journal([&] { EXPECT_EQ(send(), -1); }),
      ElementsAre("failed to send message [0]", R"(message 0 cms-host 3 {"cmdType":6,"data":)" + command + "}"));
}

}  // namespace
