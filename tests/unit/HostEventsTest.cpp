// The host event handlers: one cached GPON entry followed through its GEM
// and VLAN events, which cached entries each event touches, and how the
// handlers answer when their lock cannot be taken.
#include "EntityTest.h"

namespace entitytest {
namespace {

class HostEventsTest : public EntityTest {};

TEST_F(HostEventsTest, GponEntryFollowsItsGemInterfaceAndVlan) {
  // Virtual port 3 has no GEM interface yet and VLAN 30 does not exist.
  ASSERT_EQ(0u, ps().addStaticEntryVirtualPort(GPON, macEntry(MISSING_VLAN, 0x01), 3));
  EXPECT_EQ(Lines{}, takeSent());
  EXPECT_EQ(Lines{"8.3@0:v30/01=0"}, cached());

  node().raiseGemEvent(GEM1, GPON, 3, Interfaces::GPON_GEM_BOUND);
  EXPECT_EQ(Lines{}, takeSent());
  EXPECT_EQ(Lines{"8.3@9:v30/01=0"}, cached());

  ASSERT_TRUE(node().createVlan(MISSING_VLAN));
  EXPECT_EQ(Lines{"add 9 v30/01"}, takeSent());
  EXPECT_EQ(Lines{"8.3@9:v30/01=1"}, cached());
  EXPECT_EQ(Lines{"v30/01"}, staticOn(GEM1));

  // Deleting the VLAN withdraws the entry and the VLAN's per-VLAN limits.
  ASSERT_EQ(0u, ps().setLimitDynamicMACs(GEM1, MISSING_VLAN, 5));
  ASSERT_EQ(0u, ps().setLimitDynamicMACs(GEM1, VLAN10, 5));
  takeSent();
  ASSERT_TRUE(node().deleteVlan(MISSING_VLAN));
  EXPECT_EQ((Lines{"del 9 v30/01", "del-vlan-limit 9 v30 0"}), takeSent());
  EXPECT_EQ(Lines{"8.3@9:v30/01=0"}, cached());
  EXPECT_EQ(Lines{}, staticOn(GEM1));
  EXPECT_EQ((std::map<unsigned short, unsigned int>{{VLAN10, 5}}), vlanLimitsOf(GEM1));

  ASSERT_TRUE(node().createVlan(MISSING_VLAN));
  EXPECT_EQ(Lines{"add 9 v30/01"}, takeSent());
  EXPECT_EQ(Lines{"8.3@9:v30/01=1"}, cached());

  // A rebind to the same GEM interface withdraws, then applies again.
  node().raiseGemEvent(GEM1, GPON, 3, Interfaces::GPON_GEM_REBOUND);
  EXPECT_EQ((Lines{"del 9 v30/01", "add 9 v30/01"}), takeSent());
  EXPECT_EQ(Lines{"8.3@9:v30/01=1"}, cached());

  // A plain bind to another GEM interface leaves applied entries where they are.
  node().raiseGemEvent(GEM2, GPON, 3, Interfaces::GPON_GEM_BOUND);
  EXPECT_EQ(Lines{}, takeSent());
  EXPECT_EQ(Lines{"8.3@10:v30/01=1"}, cached());
  EXPECT_EQ(Lines{"v30/01"}, staticOn(GEM1));
  EXPECT_EQ(Lines{}, takeLogged());
}

const unsigned short OTHER_MISSING_VLAN = 40;

TEST_F(HostEventsTest, VlanCreatedAppliesOnlyUnappliedEntriesWithACarrier) {
  ASSERT_EQ(0u, ps().addStaticEntryApi(ETH2, macEntry(MISSING_VLAN, 0x01)));
  ASSERT_EQ(0u, ps().addStaticEntryVirtualPort(GPON, macEntry(MISSING_VLAN, 0x02), 3));
  ASSERT_EQ(0u, ps().addStaticEntryApi(ETH1, macEntry(OTHER_MISSING_VLAN, 0x03)));
  node().addVlanQuietly(MISSING_VLAN);
  ASSERT_EQ(0u, ps().addStaticEntryApi(ETH3, macEntry(MISSING_VLAN, 0x04)));
  takeSent();
  ps().vlanAddEvent("other-bridge", MISSING_VLAN);
  EXPECT_EQ(Lines{"add 2 v30/01"}, takeSent());
  EXPECT_EQ((Lines{"1.0@1:v40/03=0", "2.0@2:v30/01=1", "3.0@3:v30/04=1", "8.3@0:v30/02=0"}),
            cached());
  EXPECT_EQ(Lines{}, takeLogged());
}

TEST_F(HostEventsTest, LockFailureLogsAndChangesNothing) {
  ASSERT_EQ(0u, ps().addStaticEntryApi(ETH2, macEntry(VLAN10, 0x01)));
  ASSERT_EQ(0u, ps().addStaticEntryVirtualPort(GPON, macEntry(MISSING_VLAN, 0x02), 3));
  takeSent();
  lock().failNextAttempts(1, sim::LockKind::exclusive);
  ps().vlanAddEvent("br0", MISSING_VLAN);
  lock().failNextAttempts(1, sim::LockKind::exclusive);
  EXPECT_TRUE(ps().vlanDelEvent("br0", VLAN10));
  lock().failNextAttempts(1, sim::LockKind::exclusive);
  EXPECT_TRUE(ps().GPONGemEvent(GEM1, GPON, 3, Interfaces::GPON_GEM_BOUND));
  EXPECT_EQ(Lines{}, takeSent());
  EXPECT_EQ((Lines{"2.0@2:v10/01=1", "8.3@0:v30/02=0"}), cached());
  EXPECT_EQ((Lines{"0|vlanAddEvent:1706:lock failed for vid: 30\n",
                   "0|vlanDelEvent:1754:lock failed for vid: 10\n",
                   "0|GPONGemEvent:1818:lock failed for intfid: 9\n"}),
            takeLogged());
}

TEST_F(HostEventsTest, GemEventsIgnoreOtherKindsAndPorts) {
  ASSERT_EQ(0u, ps().addStaticEntryVirtualPort(GPON, macEntry(VLAN10, 0x01), 3));
  EXPECT_TRUE(ps().GPONGemEvent(GEM1, GPON, 3, Interfaces::GPON_GEM_UNBOUND));
  EXPECT_TRUE(ps().GPONGemEvent(GEM1, GPON, 3, Interfaces::GPON_GEM_STATE_CHANGED));
  EXPECT_TRUE(ps().GPONGemEvent(GEM1, GPON, 7, Interfaces::GPON_GEM_BOUND));
  EXPECT_EQ(Lines{"8.3@0:v10/01=0"}, cached());
  EXPECT_EQ(Lines{}, takeSent());
  node().raiseGemEvent(GEM1, GPON, 3, Interfaces::GPON_GEM_BOUND);
  EXPECT_EQ(Lines{"8.3@9:v10/01=1"}, cached());
  EXPECT_EQ(Lines{}, takeLogged());
}

}  // namespace
}  // namespace entitytest
