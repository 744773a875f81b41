#include "db/writerlock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <semaphore>
#include <thread>

#include "support/scratch.h"

namespace qv::db {
namespace {

using namespace std::chrono_literals;

struct WriterLockTest : testing::Test {
  const support::ScratchFolder folder_;
  WriterLock lock_{folder_.path()};
};

TEST_F(WriterLockTest, AThreadThatWaitsComesBeforeOneThatReleasesAndAsksAgain) {
  ASSERT_TRUE(lock_.Acquire(0s));
  std::binary_semaphore asks(0);
  std::atomic<bool> had_its_turn(false);
  std::thread waiting([&] {
    asks.release();
    ASSERT_TRUE(lock_.Acquire(10s));
    had_its_turn = true;
    lock_.Release();
  });
  asks.acquire();
  std::this_thread::sleep_for(200ms);  // until it waits
  lock_.Release();
  ASSERT_TRUE(lock_.Acquire(10s));
  EXPECT_TRUE(had_its_turn);
  waiting.join();
}

}  // namespace
}  // namespace qv::db
