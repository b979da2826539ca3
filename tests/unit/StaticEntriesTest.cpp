// Static entries on a driver interface (limits, moves between interfaces,
// clearing) and per interface and virtual port (the cache, the carrier that
// applies them, the refusals made before the cache with their log lines, and
// the host's GEM and VLAN events that apply and withdraw cached entries).
// Refused commands and locks, and their log lines: the model test.
#include "EntityTest.h"

namespace entitytest {
namespace {

class StaticEntriesTest : public EntityTest {};

TEST_F(StaticEntriesTest, RequestsRefusedBeforeTheCacheLogByKind) {
  const PortSecurity::macEntry_t entry = macEntry(VLAN10, 0x01);
  EXPECT_EQ(1u, ps().addStaticEntryApi(UNKNOWN_ID, entry));
  EXPECT_EQ(Lines{}, takeLogged());
  EXPECT_EQ(1u, ps().addStaticEntryApi(GPON, entry));
  EXPECT_EQ(1u, ps().addStaticEntryVirtualPort(ETH2, entry, 3));
  lock().failNextAttempts(1, sim::LockKind::shared);
  EXPECT_EQ(1u, ps().addStaticEntryVirtualPort(GPON, entry, 1));
  node().failTypeLookup(true);
  EXPECT_EQ(1u, ps().addStaticEntryApi(ETH2, entry));
  EXPECT_EQ((Lines{"1|addStaticEntryVirtualPort:906:Invalid interface type: 4 for interface: 8\n",
                   "1|addStaticEntryVirtualPort:920:Invalid interface type: 1 for interface: 2\n",
                   "0|addStaticEntryVirtualPort:936:getStaticMacLimit failed for intf: 9\n",
                   "0|addStaticEntryVirtualPort:892:interfaceGetTypeById failed for intf: 2\n"}),
            takeLogged());
  EXPECT_EQ(Lines{}, sentAndCached());
}

// An operation that walks its entries keeps its own lock for the whole walk,
// so every command it sends comes under two: its own and the inner one's.
bool sentUnderTheWalksOwnLock() {
  for (const sim::DriverCommand& command : sim::Driver::instance().commands())
    if (command.held.exclusive < 2) return false;
  return true;
}

TEST_F(StaticEntriesTest, ClearKeepsItsLockWhileItDeletes) {
  addStatic(ETH1, VLAN10, {1, 2});
  ASSERT_EQ(0u, ps().clearStaticEntries());
  EXPECT_TRUE(sentUnderTheWalksOwnLock());
  EXPECT_EQ(2u, takeSent().size());
}

class HostEventsTest : public EntityTest {};

TEST_F(HostEventsTest, GponEntryFollowsItsGemInterfaceAndVlan) {
  // Virtual port 3 has no GEM interface yet and VLAN 30 does not exist.
  ASSERT_EQ(0u, ps().addStaticEntryVirtualPort(GPON, macEntry(MISSING_VLAN, 0x01), 3));
  EXPECT_EQ(Lines{}, takeSent());
  // Only a bind or a rebind of the entry's own virtual port gives it a carrier.
  EXPECT_TRUE(ps().GPONGemEvent(GEM1, GPON, 3, Interfaces::GPON_GEM_UNBOUND));
  EXPECT_TRUE(ps().GPONGemEvent(GEM1, GPON, 3, Interfaces::GPON_GEM_STATE_CHANGED));
  EXPECT_TRUE(ps().GPONGemEvent(GEM1, GPON, 7, Interfaces::GPON_GEM_BOUND));
  EXPECT_EQ(Lines{"8.3@0:v30/01=0"}, cached());

  node().raiseGemEvent(GEM1, GPON, 3, Interfaces::GPON_GEM_BOUND);
  EXPECT_EQ(Lines{"8.3@9:v30/01=0"}, sentAndCached());

  ASSERT_TRUE(node().createVlan(MISSING_VLAN));
  EXPECT_TRUE(sentUnderTheWalksOwnLock());
  EXPECT_EQ((Lines{"add 9 v30/01", "8.3@9:v30/01=1"}), sentAndCached());
  EXPECT_EQ(Lines{"v30/01"}, staticOn(GEM1));

  // Deleting the VLAN withdraws the entry and the VLAN's per-VLAN limits.
  ASSERT_EQ(0u, ps().setLimitDynamicMACs(GEM1, MISSING_VLAN, 5));
  ASSERT_EQ(0u, ps().setLimitDynamicMACs(GEM1, VLAN10, 5));
  takeSent();
  ASSERT_TRUE(node().deleteVlan(MISSING_VLAN));
  EXPECT_TRUE(sentUnderTheWalksOwnLock());
  EXPECT_EQ((Lines{"del 9 v30/01", "del-vlan-limit 9 v30 0", "8.3@9:v30/01=0"}), sentAndCached());
  EXPECT_EQ(Lines{}, staticOn(GEM1));
  EXPECT_EQ((std::map<unsigned short, unsigned int>{{VLAN10, 5}}), vlanLimitsOf(GEM1));

  ASSERT_TRUE(node().createVlan(MISSING_VLAN));
  EXPECT_EQ((Lines{"add 9 v30/01", "8.3@9:v30/01=1"}), sentAndCached());

  // A rebind to the same GEM interface withdraws, then applies again.
  node().raiseGemEvent(GEM1, GPON, 3, Interfaces::GPON_GEM_REBOUND);
  EXPECT_TRUE(sentUnderTheWalksOwnLock());
  EXPECT_EQ((Lines{"del 9 v30/01", "add 9 v30/01", "8.3@9:v30/01=1"}), sentAndCached());
  // A bind withdraws nothing, not even from the GEM interface it names.
  node().raiseGemEvent(GEM1, GPON, 3, Interfaces::GPON_GEM_BOUND);
  EXPECT_EQ(Lines{"8.3@9:v30/01=1"}, sentAndCached());

  // A plain bind to another GEM interface leaves applied entries where they are.
  node().raiseGemEvent(GEM2, GPON, 3, Interfaces::GPON_GEM_BOUND);
  EXPECT_EQ(Lines{"8.3@10:v30/01=1"}, sentAndCached());
  EXPECT_EQ(Lines{"v30/01"}, staticOn(GEM1));
  EXPECT_EQ(Lines{}, takeLogged());
}

}  // namespace
}  // namespace entitytest
