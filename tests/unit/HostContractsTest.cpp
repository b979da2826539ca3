// The host contracts as the development host implements them: the
// business-logic lock (re-entry on the holding thread, exclusion across
// threads), event subscriptions, and the VLAN and GEM events the node raises.
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "BLLManager.h"
#include "Notification.h"
#include "SimHost.h"
#include "vqbridge.h"

namespace {

// Another thread takes a lock (exclusive or shared) while this one holds
// `Held`: "in" when it gets in within `patience`, "in after release" when it
// gets in only once `Held` is released, "refused" when it does not get in.
template <class Held>
std::string otherThreadTakes(bool exclusive, std::chrono::milliseconds patience) {
  std::unique_ptr<Held> held(new Held());
  std::promise<void> started;
  std::future<bool> in = std::async(std::launch::async, [&started, exclusive] {
    started.set_value();
    return exclusive ? BLLManager::exclusiveLock_t().isLocked()
                     : BLLManager::sharedLock_t().isLocked();
  });
  started.get_future().wait();
  const bool early = in.wait_for(patience) == std::future_status::ready;
  held.reset();
  return !in.get() ? "refused" : early ? "in" : "in after release";
}

class HostLockTest : public ::testing::Test {
 protected:
  void SetUp() override { sim::reset(); }
};

TEST_F(HostLockTest, WriterKeepsEveryoneOutAndReadersKeepWritersOut) {
  // Time enough for a thread that should wait to (wrongly) get through, and
  // for one that should not wait to get in.
  const std::chrono::milliseconds brief(30), ample(10000);
  EXPECT_EQ("in after release", otherThreadTakes<BLLManager::exclusiveLock_t>(false, brief));
  EXPECT_EQ("in after release", otherThreadTakes<BLLManager::exclusiveLock_t>(true, brief));
  EXPECT_EQ("in", otherThreadTakes<BLLManager::sharedLock_t>(false, ample));
  EXPECT_EQ("in after release", otherThreadTakes<BLLManager::sharedLock_t>(true, brief));
}

struct Listener {
  std::vector<std::string> calls;
  bool first(int value) {
    calls.push_back("first " + std::to_string(value));
    return true;
  }
  bool second(int value) {
    calls.push_back("second " + std::to_string(value));
    return false;
  }
  void after(int value) { calls.push_back("after " + std::to_string(value)); }
};

// Subscribers stored as bare member-function pointers take the object first.
// That a subscription bound to an object is never removed: EntityLifecycleTest.
typedef Notification::Event<bool(Listener*, int), void(Listener*, int)> MemberEvent;

TEST(HostEventTest, UnsubscribeRemovesEveryMatchingMemberPointerSubscription) {
  Listener listener;
  MemberEvent member;
  member.subscribePre(&Listener::first);
  member.subscribePre(&Listener::second);
  member.subscribePre(&Listener::first);
  member.subscribePre(MemberEvent::preSubscriber_t());
  member.subscribePost(&Listener::after);
  member.unsubscribePre(&Listener::first);
  member.unsubscribePost(&Listener::after);
  EXPECT_EQ(2u, member.preCount());
  EXPECT_EQ(0u, member.postCount());
  EXPECT_FALSE(member.raisePre(&listener, 3));  // the empty one is skipped
  EXPECT_EQ((std::vector<std::string>{"second 3"}), listener.calls);
}

}  // namespace
