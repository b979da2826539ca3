// The host event handlers: which cached entries they touch, and how they
// carry on past failures.
#include "EntityWorld.h"

namespace {

typedef std::vector<std::string> Lines;

class EventHandlersTest : public EntityWorldTest {
 protected:
  void SetUp() override {
    EntityWorldTest::SetUp();
    for (unsigned int id : {3u, 4u, 5u, 9u}) addInterface(id, Interfaces::IF_TYPE_ETHERNET);
    addInterface(8, Interfaces::IF_TYPE_GPON);
    addInterface(41, Interfaces::IF_TYPE_GEM);
  }
};

TEST_F(EventHandlersTest, VlanCreatedAppliesOnlyUnappliedEntriesWithACarrier) {
  ASSERT_EQ(0u, ps().addStaticEntryApi(5, entry(100, 0x01)));
  ASSERT_EQ(0u, ps().addStaticEntryVirtualPort(8, entry(100, 0x02), 3));
  ASSERT_EQ(0u, ps().addStaticEntryApi(4, entry(200, 0x03)));
  node().addVlanQuietly(100);
  ASSERT_EQ(0u, ps().addStaticEntryApi(9, entry(100, 0x04)));
  takeSent();
  ps().vlanAddEvent("other-bridge", 100);
  EXPECT_EQ(Lines{"add 5 v100/01"}, takeSent());
  EXPECT_EQ((Lines{"4.0@4:v200/03=0", "5.0@5:v100/01=1", "8.3@0:v100/02=0", "9.0@9:v100/04=1"}),
            cached());
  EXPECT_EQ(Lines{}, takeLogged());
}

TEST_F(EventHandlersTest, LockFailureLogsAndChangesNothing) {
  node().addVlanQuietly(100);
  ASSERT_EQ(0u, ps().addStaticEntryApi(5, entry(100, 0x01)));
  ASSERT_EQ(0u, ps().addStaticEntryVirtualPort(8, entry(200, 0x02), 3));
  takeSent();
  failNextLocks(1, sim::LockKind::exclusive);
  ps().vlanAddEvent("br0", 200);
  failNextLocks(1, sim::LockKind::exclusive);
  EXPECT_TRUE(ps().vlanDelEvent("br0", 100));
  failNextLocks(1, sim::LockKind::exclusive);
  EXPECT_TRUE(ps().GPONGemEvent(41, 8, 3, Interfaces::GPON_GEM_BOUND));
  EXPECT_EQ(Lines{}, takeSent());
  EXPECT_EQ((Lines{"5.0@5:v100/01=1", "8.3@0:v200/02=0"}), cached());
  EXPECT_EQ((Lines{"0|vlanAddEvent:1706:lock failed for vid: 200\n",
                   "0|vlanDelEvent:1754:lock failed for vid: 100\n",
                   "0|GPONGemEvent:1818:lock failed for intfid: 41\n"}),
            takeLogged());
}

TEST_F(EventHandlersTest, VlanEventsLogARefusedEntryAndGoOn) {
  ASSERT_EQ(0u, ps().addStaticEntryApi(4, entry(100, 0x01)));
  ASSERT_EQ(0u, ps().addStaticEntryApi(5, entry(100, 0x02)));
  driver().refuseNext(psdriver::PSIOC_ADD_STATIC, 1);
  ASSERT_TRUE(node().createVlan(100));
  EXPECT_EQ((Lines{"4.0@4:v100/01=0", "5.0@5:v100/02=1"}), cached());

  driver().refuseNext(psdriver::PSIOC_DEL_STATIC, 1);
  ASSERT_TRUE(node().deleteVlan(100));
  EXPECT_EQ((Lines{"4.0@4:v100/01=0", "5.0@5:v100/02=1"}), cached());
  EXPECT_EQ((Lines{"0|vlanAddEvent:1731:addStaticEntry failed for intf: 4\n",
                   "0|vlanDelEvent:1780:addStaticEntry failed for intf: 5\n"}),
            takeLogged());
}

TEST_F(EventHandlersTest, FailedVlanLimitRemovalStopsTheWalkAndAnswersFalse) {
  node().addVlanQuietly(100);
  ASSERT_EQ(0u, ps().setLimitDynamicMACs(3, 100, 5));
  ASSERT_EQ(0u, ps().setLimitDynamicMACs(5, 100, 5));
  takeSent();
  driver().refuseNext(psdriver::PSIOC_DEL_VLAN_LIMIT, 1);
  EXPECT_FALSE(ps().vlanDelEvent("br0", 100));
  EXPECT_EQ(Lines{"del-vlan-limit 3 v100 0 refused"}, takeSent());
  PortSecurity::interfaceSettingsMap_t settings;
  ASSERT_EQ(0u, ps().getInterfaceSettings(settings));
  EXPECT_EQ(1u, settings[3].vlanLimitDynamicMACs.count(100));
  EXPECT_EQ(1u, settings[5].vlanLimitDynamicMACs.count(100));
  EXPECT_EQ(Lines{}, takeLogged());
}

TEST_F(EventHandlersTest, GemEventsLogRefusalsByKind) {
  node().addVlanQuietly(100);
  ASSERT_EQ(0u, ps().addStaticEntryVirtualPort(8, entry(100, 0x01), 2));
  driver().refuseNext(psdriver::PSIOC_ADD_STATIC, 1);
  node().raiseGemEvent(41, 8, 2, Interfaces::GPON_GEM_BOUND);
  EXPECT_EQ(Lines{"8.2@41:v100/01=0"}, cached());
  node().raiseGemEvent(41, 8, 2, Interfaces::GPON_GEM_BOUND);
  EXPECT_EQ(Lines{"8.2@41:v100/01=1"}, cached());

  driver().refuseNext(psdriver::PSIOC_DEL_STATIC, 1);
  node().raiseGemEvent(41, 8, 2, Interfaces::GPON_GEM_REBOUND);
  EXPECT_EQ(Lines{"8.2@41:v100/01=1"}, cached());
  driver().refuseNext(psdriver::PSIOC_ADD_STATIC, 1);
  node().raiseGemEvent(41, 8, 2, Interfaces::GPON_GEM_REBOUND);
  EXPECT_EQ(Lines{"8.2@41:v100/01=0"}, cached());
  EXPECT_EQ((Lines{"0|GPONGemEvent:1849:addStaticEntry failed for intf: 41\n",
                   "0|GPONGemEvent:1881:delStaticEntry failed for intf: 41\n",
                   "0|GPONGemEvent:1912:addStaticEntry failed for intf: 41\n"}),
            takeLogged());
}

TEST_F(EventHandlersTest, OtherGemEventsAndUncachedPortsChangeNothing) {
  node().addVlanQuietly(100);
  ASSERT_EQ(0u, ps().addStaticEntryVirtualPort(8, entry(100, 0x01), 2));
  EXPECT_TRUE(ps().GPONGemEvent(41, 8, 2, Interfaces::GPON_GEM_UNBOUND));
  EXPECT_TRUE(ps().GPONGemEvent(41, 8, 2, Interfaces::GPON_GEM_STATE_CHANGED));
  EXPECT_TRUE(ps().GPONGemEvent(41, 8, 7, Interfaces::GPON_GEM_BOUND));
  EXPECT_EQ(Lines{"8.2@0:v100/01=0"}, cached());
  EXPECT_EQ(Lines{}, takeSent());
}

}  // namespace
