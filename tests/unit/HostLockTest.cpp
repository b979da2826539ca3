// The business-logic lock: re-entry on the holding thread, exclusion across
// threads, and the hook that makes lock attempts fail.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "BLLManager.h"
#include "SimHost.h"

namespace {

// Records the order of events seen by several threads, and lets one thread
// wait (boundedly) for another to reach a point.
class Timeline {
 public:
  void mark(const std::string& event) {
    std::lock_guard<std::mutex> guard(mutex);
    events.push_back(event);
    changed.notify_all();
  }
  bool waitFor(const std::string& event) {
    std::unique_lock<std::mutex> guard(mutex);
    return changed.wait_for(guard, std::chrono::seconds(10), [&] {
      return std::find(events.begin(), events.end(), event) != events.end();
    });
  }
  std::vector<std::string> seen() {
    std::lock_guard<std::mutex> guard(mutex);
    return events;
  }

 private:
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<std::string> events;
};

// Gives a thread that should be blocked the chance to (wrongly) get through.
void letOthersRun() { std::this_thread::sleep_for(std::chrono::milliseconds(30)); }

class HostLockTest : public ::testing::Test {
 protected:
  void SetUp() override { sim::reset(); }
};

TEST_F(HostLockTest, HoldingThreadReentersAsTheContractAllows) {
  {
    BLLManager::exclusiveLock_t outer;
    ASSERT_TRUE(outer.isLocked());
    {
      BLLManager::exclusiveLock_t inner;
      BLLManager::sharedLock_t reader;
      BLLManager::sharedLock_t nestedReader;
      EXPECT_TRUE(inner.isLocked() && reader.isLocked() && nestedReader.isLocked());
    }
    EXPECT_EQ(1u, sim::BusinessLock::instance().exclusiveDepth());
    EXPECT_EQ(0u, sim::BusinessLock::instance().sharedDepth());
  }
  {
    BLLManager::sharedLock_t reader;
    BLLManager::sharedLock_t nestedReader;
    EXPECT_TRUE(reader.isLocked() && nestedReader.isLocked());
    BLLManager::exclusiveLock_t writer;
    EXPECT_FALSE(writer.isLocked());
  }
  // Everything was released: another thread can write.
  bool otherLocked = false;
  std::thread other([&] { otherLocked = BLLManager::exclusiveLock_t().isLocked(); });
  other.join();
  EXPECT_TRUE(otherLocked);
}

TEST_F(HostLockTest, WriterKeepsOtherThreadsOut) {
  Timeline timeline;
  std::thread reader;
  std::thread writer;
  {
    BLLManager::exclusiveLock_t held;
    ASSERT_TRUE(held.isLocked());
    reader = std::thread([&] {
      timeline.mark("reader waits");
      BLLManager::sharedLock_t lock;
      timeline.mark(lock.isLocked() ? "reader in" : "reader refused");
    });
    writer = std::thread([&] {
      timeline.mark("writer waits");
      BLLManager::exclusiveLock_t lock;
      timeline.mark(lock.isLocked() ? "writer in" : "writer refused");
    });
    ASSERT_TRUE(timeline.waitFor("reader waits"));
    ASSERT_TRUE(timeline.waitFor("writer waits"));
    letOthersRun();
    timeline.mark("released");
  }
  reader.join();
  writer.join();
  const std::vector<std::string> events = timeline.seen();
  ASSERT_EQ(5u, events.size());
  EXPECT_EQ("released", events[2]);
  EXPECT_TRUE((events[3] == "reader in" && events[4] == "writer in") ||
              (events[3] == "writer in" && events[4] == "reader in"));
}

TEST_F(HostLockTest, ReadersShareButKeepWritersOut) {
  Timeline timeline;
  BLLManager::sharedLock_t* held = new BLLManager::sharedLock_t();
  ASSERT_TRUE(held->isLocked());
  std::thread reader([&] {
    BLLManager::sharedLock_t lock;
    timeline.mark(lock.isLocked() ? "reader in" : "reader refused");
    // Holds the lock until the writer has had its chance.
    timeline.waitFor("main released");
  });
  ASSERT_TRUE(timeline.waitFor("reader in"));
  std::thread writer([&] {
    timeline.mark("writer waits");
    BLLManager::exclusiveLock_t lock;
    timeline.mark(lock.isLocked() ? "writer in" : "writer refused");
  });
  ASSERT_TRUE(timeline.waitFor("writer waits"));
  letOthersRun();
  delete held;
  timeline.mark("main released");
  reader.join();
  writer.join();
  EXPECT_EQ((std::vector<std::string>{"reader in", "writer waits", "main released", "writer in"}),
            timeline.seen());
}

TEST_F(HostLockTest, FailureHookRefusesTheNextAttemptsOnly) {
  sim::BusinessLock& lock = sim::BusinessLock::instance();
  lock.failNextAttempts(2);
  {
    BLLManager::exclusiveLock_t first;
    BLLManager::sharedLock_t second;
    EXPECT_FALSE(first.isLocked() || second.isLocked());
    EXPECT_EQ(0u, lock.exclusiveDepth() + lock.sharedDepth());
  }
  lock.failNextAttempts(1, sim::LockKind::exclusive);
  EXPECT_TRUE(BLLManager::sharedLock_t().isLocked());
  EXPECT_FALSE(BLLManager::exclusiveLock_t().isLocked());
  EXPECT_TRUE(BLLManager::exclusiveLock_t().isLocked());
}

}  // namespace
