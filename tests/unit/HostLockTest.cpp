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
  std::vector<std::string> events;  // read it once the other threads are joined

 private:
  std::mutex mutex;
  std::condition_variable changed;
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

TEST_F(HostLockTest, WriterKeepsEveryoneOutAndReadersKeepWritersOut) {
  Timeline timeline;
  const auto attempt = [&](const std::string& who, bool exclusive) {
    return std::thread([&timeline, who, exclusive] {
      timeline.mark(who + " waits");
      const bool in = exclusive ? BLLManager::exclusiveLock_t().isLocked()
                                : BLLManager::sharedLock_t().isLocked();
      timeline.mark(who + (in ? " in" : " refused"));
    });
  };
  for (bool exclusive : {false, true}) {
    BLLManager::exclusiveLock_t* held = new BLLManager::exclusiveLock_t();
    std::thread other = attempt(exclusive ? "writer" : "reader", exclusive);
    ASSERT_TRUE(timeline.waitFor(exclusive ? "writer waits" : "reader waits"));
    letOthersRun();
    timeline.mark("released");
    delete held;
    other.join();
  }
  BLLManager::sharedLock_t* held = new BLLManager::sharedLock_t();
  attempt("reader 2", false).join();  // readers share
  std::thread writer = attempt("writer 2", true);
  ASSERT_TRUE(timeline.waitFor("writer 2 waits"));
  letOthersRun();
  timeline.mark("released");
  delete held;
  writer.join();
  EXPECT_EQ((std::vector<std::string>{"reader waits", "released", "reader in", "writer waits",
                                      "released", "writer in", "reader 2 waits", "reader 2 in",
                                      "writer 2 waits", "released", "writer 2 in"}),
            timeline.events);
}

}  // namespace
