// start() and stop() of the loaded entity: the event subscriptions they leave
// behind and the RPC thread they run. Uses the process's one entity, since
// its subscriptions outlive every test.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "BLLManager.h"
#include "PortSecurity.h"
#include "SimHost.h"
#include "vqbridge.h"

namespace {

struct SubscriberCounts {
  size_t vlanDeletedPre, vlanCreatedPost, gemPost, externalPost;

  static SubscriberCounts now() {
    vqbridge& bridge = vqbridge::instance();
    return {bridge.vlanDeletedEvent.preCount(), bridge.vlanCreatedEvent.postCount(),
            Interfaces::instance().gponGemEvent.postCount(),
            BLLManager::instance().externalMessage.postCount()};
  }
};

TEST(EntityLifecycleTest, StopLeavesHandlersSubscribedSoRestartDoublesThem) {
  sim::reset();
  sim::LogRecorder::instance().setEcho(false);
  PortSecurity& entity = PortSecurity::instance();
  const SubscriberCounts before = SubscriberCounts::now();
  const size_t vlanDeletedPost = vqbridge::instance().vlanDeletedEvent.postCount();

  ASSERT_TRUE(entity.start());
  EXPECT_TRUE(entity.stop());
  ASSERT_TRUE(entity.start());
  EXPECT_TRUE(entity.stop());
  EXPECT_TRUE(entity.stop());

  const SubscriberCounts after = SubscriberCounts::now();
  EXPECT_EQ(before.vlanDeletedPre + 2, after.vlanDeletedPre);
  EXPECT_EQ(before.vlanCreatedPost + 2, after.vlanCreatedPost);
  EXPECT_EQ(before.gemPost + 2, after.gemPost);
  EXPECT_EQ(before.externalPost + 2, after.externalPost);
  EXPECT_EQ(vlanDeletedPost, vqbridge::instance().vlanDeletedEvent.postCount());

  // Every subscription runs its handler: one dump text per copy, and one
  // lock-failure line per copy of the VLAN handler.
  std::ostringstream single;
  entity.externalMessage("portSecurity", "macEntries", &single);
  ASSERT_FALSE(single.str().empty());
  std::string expected;
  for (size_t copy = 0; copy < after.externalPost; ++copy) expected += single.str();
  EXPECT_EQ(expected, sim::sendExternalMessage("portSecurity", "macEntries"));
  sim::BusinessLock::instance().failNextAttempts(after.vlanCreatedPost, sim::LockKind::exclusive);
  ASSERT_TRUE(sim::Node::instance().createVlan(42));
  size_t handled = 0;
  for (const sim::LogLine& line : sim::LogRecorder::instance().lines())
    handled += line.text.compare(0, 13, "vlanAddEvent:") == 0;
  EXPECT_EQ(after.vlanCreatedPost, handled);
  sim::reset();
}

}  // namespace
