// start() and stop() of the loaded entity: the event subscriptions they leave
// behind and the RPC thread they run. Uses the process's one entity, since
// its subscriptions outlive every test.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "BLLManager.h"
#include "PortSecurity.h"
#include "SimHost.h"
#include "vqbridge.h"

namespace {

TEST(EntityLifecycleTest, StopLeavesHandlersSubscribedSoRestartDoublesThem) {
  sim::reset();
  sim::LogRecorder::instance().setEcho(false);
  PortSecurity& entity = PortSecurity::instance();
  vqbridge& bridge = vqbridge::instance();
  // VLAN deleted (pre), VLAN created, GEM event, external message; then the
  // VLAN-deleted post list, which start() does not use.
  const auto counts = [&] {
    return std::vector<size_t>{
        bridge.vlanDeletedEvent.preCount(), bridge.vlanCreatedEvent.postCount(),
        Interfaces::instance().gponGemEvent.postCount(),
        BLLManager::instance().externalMessage.postCount(), bridge.vlanDeletedEvent.postCount()};
  };
  std::vector<size_t> expected = counts();
  ASSERT_TRUE(entity.start());
  EXPECT_TRUE(entity.stop());
  ASSERT_TRUE(entity.start());
  EXPECT_TRUE(entity.stop());
  EXPECT_TRUE(entity.stop());
  for (size_t i = 0; i < 4; ++i) expected[i] += 2;
  ASSERT_EQ(expected, counts());

  // Every subscription runs its handler: one dump text per copy, and one
  // lock-failure line per copy of the VLAN handler.
  std::ostringstream single;
  entity.externalMessage("portSecurity", "macEntries", &single);
  ASSERT_FALSE(single.str().empty());
  std::string dumps;
  for (size_t copy = 0; copy < expected[3]; ++copy) dumps += single.str();
  EXPECT_EQ(dumps, sim::sendExternalMessage("portSecurity", "macEntries"));
  sim::BusinessLock::instance().failNextAttempts(expected[1], sim::LockKind::exclusive);
  ASSERT_TRUE(sim::Node::instance().createVlan(42));
  size_t handled = 0;
  for (const sim::LogLine& line : sim::LogRecorder::instance().lines())
    handled += line.text.compare(0, 13, "vlanAddEvent:") == 0;
  EXPECT_EQ(expected[1], handled);
  sim::reset();
}

}  // namespace
