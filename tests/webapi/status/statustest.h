/// A host that receives the status reports of its slaves.
#pragma once

#include "qvwebapicmssyncutils.h"
#include "slavezrstatus.h"
#include "support/hosttest.h"

struct StatusTest : support::HostTest {
  /// Reports `document` for the slave of `record_`, by default 7.
  support::Lines Report(const std::string& document, int level = 5) {
    return Journal([&] { EXPECT_EQ(SaveSlaveStatus(support::Parse(document), record_), 0); }, level);
  }

  SlaveZRStatus record_ = [] {
    SlaveZRStatus record;
    record.ZrId = 7;
    return record;
  }();
};
