// One cached entry of a GPON virtual port followed through its life, as the
// host's GEM and VLAN events come and go.
#include "EntryFixture.h"

namespace entitytest {
namespace {

class EntryLifecycleTest : public EntryTest {};

TEST_F(EntryLifecycleTest, GponEntryFollowsItsGemInterfaceAndVlan) {
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
  EXPECT_TRUE(logIsEmpty());
}

}  // namespace
}  // namespace entitytest
