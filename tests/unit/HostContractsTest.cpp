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
  EXPECT_TRUE(std::async(std::launch::async, [] {
                return BLLManager::exclusiveLock_t().isLocked();
              }).get());
}

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

class HostServicesTest : public ::testing::Test {
 protected:
  void SetUp() override { sim::reset(); }

  static sim::Node& node() { return sim::Node::instance(); }
};

std::vector<std::string> vlanEventsSeen;
void noteVlan(const char* when, const char* bridge, unsigned short vlan) {
  vlanEventsSeen.push_back(std::string(when) + bridge +
                           (vqbridge::instance().vlanCreated(bridge, vlan) ? " exists" : " gone"));
}

TEST_F(HostServicesTest, DeletedVlanStillExistsForPreSubscribers) {
  static bool subscribed = false;  // subscriptions outlive the test
  if (!subscribed) {
    subscribed = true;
    vqbridge& bridge = vqbridge::instance();
    bridge.vlanCreatedEvent.subscribePost(
        [](const char* name, unsigned short vlan) { noteVlan("post ", name, vlan); });
    bridge.vlanDeletedEvent.subscribePre([](const char* name, unsigned short vlan) {
      noteVlan("pre ", name, vlan);
      return true;
    });
    bridge.vlanDeletedEvent.subscribePost(
        [](const char* name, unsigned short vlan) { noteVlan("post ", name, vlan); });
  }
  vlanEventsSeen.clear();
  EXPECT_TRUE(node().createVlan(100));
  EXPECT_FALSE(node().createVlan(100));
  EXPECT_TRUE(node().deleteVlan(100));
  EXPECT_FALSE(node().deleteVlan(100));
  EXPECT_EQ((std::vector<std::string>{"post br0 exists", "pre br0 exists", "post br0 gone"}),
            vlanEventsSeen);
}

TEST_F(HostServicesTest, GemEventsBindOnlyForBoundAndRebound) {
  node().addInterface(sim::InterfaceConfig{5, Interfaces::IF_TYPE_GPON, "gpon0", true, false});
  unsigned int gem = 0;
  Interfaces& interfaces = Interfaces::instance();
  EXPECT_NE(0, interfaces.interfaceGPONGemInterfaceFind(5, 2, gem));
  EXPECT_TRUE(node().raiseGemEvent(40, 5, 2, Interfaces::GPON_GEM_UNBOUND));
  EXPECT_NE(0, interfaces.interfaceGPONGemInterfaceFind(5, 2, gem));
  EXPECT_TRUE(node().raiseGemEvent(40, 5, 2, Interfaces::GPON_GEM_BOUND));
  EXPECT_TRUE(node().raiseGemEvent(41, 5, 2, Interfaces::GPON_GEM_REBOUND));
  ASSERT_EQ(0, interfaces.interfaceGPONGemInterfaceFind(5, 2, gem));
  EXPECT_EQ(41u, gem);
  EXPECT_FALSE(node().raiseGemEvent(42, 5, 2, 9));
}

}  // namespace
