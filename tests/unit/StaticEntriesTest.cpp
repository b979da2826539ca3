// Static entries on a driver interface (limits, moves between interfaces,
// clearing) and per interface and virtual port (the cache, the carrier that
// applies them, and the refusals made before the cache with their log lines).
#include "EntityTest.h"

namespace entitytest {
namespace {

class StaticEntriesTest : public EntityTest {};

TEST_F(StaticEntriesTest, FullListRefusesAfterTakingTheEntryFromItsOldInterface) {
  ASSERT_EQ(0u, ps().setLimitStaticMACs(ETH2, 2));
  ASSERT_EQ(0u, ps().addStaticEntry(ETH1, macEntry(100, 0x09)));
  ASSERT_EQ(0u, ps().addStaticEntry(ETH2, macEntry(100, 0x01)));
  takeSent();
  EXPECT_EQ(0u, ps().addStaticEntry(ETH2, macEntry(100, 0x01)));  // already there
  ASSERT_EQ(0u, ps().addStaticEntry(ETH2, macEntry(100, 0x02)));
  EXPECT_EQ(2u, ps().addStaticEntry(ETH2, macEntry(100, 0x01)));  // full, even for its own entry
  EXPECT_EQ(2u, ps().addStaticEntry(ETH2, macEntry(100, 0x09)));
  EXPECT_EQ((Lines{"add 2 v100/02", "del 1 v100/09"}), takeSent());
  EXPECT_EQ(Lines{}, staticOn(ETH1));
  EXPECT_EQ((Lines{"v100/01", "v100/02"}), staticOn(ETH2));
  EXPECT_EQ(3u, ps().delStaticEntry(ETH2, macEntry(200, 0x01)));
  EXPECT_EQ(3u, ps().delStaticEntry(ETH3, macEntry(100, 0x01)));
  EXPECT_EQ(Lines{}, takeSent());
}

TEST_F(StaticEntriesTest, LimitIsAnEqualityTestOnAnExistingList) {
  // Limit 1: the emptied list is kept and accepts a new entry.
  ASSERT_EQ(0u, ps().setLimitStaticMACs(ETH2, 1));
  EXPECT_EQ(0u, ps().addStaticEntry(ETH2, macEntry(100, 0x01)));
  EXPECT_EQ(2u, ps().addStaticEntry(ETH2, macEntry(100, 0x02)));
  EXPECT_EQ(0u, ps().delStaticEntry(ETH2, macEntry(100, 0x01)));
  EXPECT_EQ(0u, ps().addStaticEntry(ETH2, macEntry(100, 0x02)));
  EXPECT_EQ(Lines{"v100/02"}, staticOn(ETH2));
  // Limit 0 on an interface that never had a list: no size ever equals it.
  ASSERT_EQ(0u, ps().setLimitStaticMACs(ETH3, 0));
  EXPECT_EQ(0u, ps().addStaticEntry(ETH3, macEntry(100, 0x03)));
  EXPECT_EQ(0u, ps().addStaticEntry(ETH3, macEntry(100, 0x04)));
  EXPECT_EQ((Lines{"v100/03", "v100/04"}), staticOn(ETH3));
}

TEST_F(StaticEntriesTest, ClearKeepsTheKeysAndStopsAtTheFirstRefusal) {
  ASSERT_EQ(0u, ps().addStaticEntry(ETH1, macEntry(100, 0x01)));
  ASSERT_EQ(0u, ps().addStaticEntry(ETH1, macEntry(100, 0x02)));
  ASSERT_EQ(0u, ps().addStaticEntry(ETH3, macEntry(100, 0x03)));
  ASSERT_EQ(0u, ps().addStaticEntry(GEM1, macEntry(100, 0x04)));
  takeSent();
  EXPECT_EQ(0u, ps().clearStaticEntries(ETH3));
  EXPECT_EQ(Lines{"del 3 v100/03"}, takeSent());
  driver().refuseCall(2);
  EXPECT_EQ(1u, ps().clearStaticEntries());
  EXPECT_EQ((Lines{"del 1 v100/01", "del 1 v100/02 refused"}), takeSent());
  EXPECT_EQ((Lines{"0|PortSecurity::clearStaticEntries error at  delStaticEntry intfid: 1. "
                   "Break the loop and return."}),
            takeLogged());
  EXPECT_EQ(Lines{"v100/02"}, staticOn(ETH1));
  EXPECT_EQ(0u, ps().clearStaticEntries(0));
  EXPECT_EQ((Lines{"del 1 v100/02", "del 9 v100/04"}), takeSent());
  EXPECT_NE(std::string::npos, dump().find(" Interface: 1\n Interface: 3\n Interface: 9\n"));
}

TEST_F(StaticEntriesTest, CachedCountMeetingTheCarriersLimitGives2) {
  ASSERT_EQ(0u, ps().setLimitStaticMACs(GEM1, 1));
  ASSERT_EQ(0u, ps().setLimitStaticMACs(ETH2, 2));
  EXPECT_EQ(0u, ps().addStaticEntryVirtualPort(GPON, macEntry(MISSING_VLAN, 0x01), 1));
  EXPECT_EQ(2u, ps().addStaticEntryVirtualPort(GPON, macEntry(MISSING_VLAN, 0x02), 1));
  EXPECT_EQ(0u, ps().addStaticEntryApi(ETH2, macEntry(MISSING_VLAN, 0x03)));
  EXPECT_EQ(0u, ps().addStaticEntryApi(ETH2, macEntry(MISSING_VLAN, 0x04)));
  EXPECT_EQ(2u, ps().addStaticEntryApi(ETH2, macEntry(MISSING_VLAN, 0x05)));
  EXPECT_EQ(
      (Lines{"0|addStaticEntryVirtualPort:955:macLimit failed for intf: 8, virtualPort: 1\n",
             "0|addStaticEntryVirtualPort:955:macLimit failed for intf: 2, virtualPort: 0\n"}),
      takeLogged());
  EXPECT_EQ(3u, cached().size());
}

TEST_F(StaticEntriesTest, MovingToAnotherVirtualPortWithdrawsFromTheOldCarrierOnce) {
  ASSERT_EQ(0u, ps().addStaticEntryVirtualPort(GPON, macEntry(VLAN10, 0x01), 1));
  takeSent();
  EXPECT_EQ(0u, ps().addStaticEntryVirtualPort(GPON, macEntry(VLAN10, 0x01), 2));
  EXPECT_EQ(0u, ps().addStaticEntryVirtualPort(GPON, macEntry(VLAN10, 0x01), 2));  // in place
  EXPECT_EQ((Lines{"del 9 v10/01", "add 10 v10/01"}), takeSent());
  EXPECT_EQ(Lines{"8.2@10:v10/01=1"}, cached());
  EXPECT_EQ(Lines{}, staticOn(GEM1));
  EXPECT_EQ(Lines{"v10/01"}, staticOn(GEM2));
}

TEST_F(StaticEntriesTest, DeleteRemovesTheEntryWhereverItIsCached) {
  ASSERT_EQ(0u, ps().addStaticEntryApi(ETH1, macEntry(VLAN10, 0x01)));
  ASSERT_EQ(0u, ps().addStaticEntry(ETH2, macEntry(VLAN10, 0x02)));
  takeSent();
  EXPECT_EQ(0u, ps().delStaticEntryVirtualPort(ETH3, macEntry(VLAN10, 0x01), 5));
  EXPECT_EQ(Lines{"del 1 v10/01"}, takeSent());
  EXPECT_EQ(Lines{}, cached());
  // Not cached: nothing happens, even to an entry of the interface layer.
  EXPECT_EQ(0u, ps().delStaticEntryApi(ETH2, macEntry(VLAN10, 0x02)));
  EXPECT_EQ(Lines{}, takeSent());
  EXPECT_EQ(Lines{"v10/02"}, staticOn(ETH2));
}

TEST_F(StaticEntriesTest, RequestsRefusedBeforeTheCacheLogByKind) {
  lock().failNextAttempts(1, sim::LockKind::exclusive);
  EXPECT_EQ(1u, ps().addStaticEntryApi(ETH2, macEntry(VLAN10, 0x01)));
  EXPECT_EQ(1u, ps().addStaticEntryApi(UNKNOWN_ID, macEntry(VLAN10, 0x01)));
  EXPECT_EQ(Lines{}, takeLogged());
  EXPECT_EQ(1u, ps().addStaticEntryApi(GPON, macEntry(VLAN10, 0x01)));
  EXPECT_EQ(1u, ps().addStaticEntryVirtualPort(ETH2, macEntry(VLAN10, 0x01), 3));
  lock().failNextAttempts(1, sim::LockKind::shared);
  EXPECT_EQ(1u, ps().addStaticEntryVirtualPort(GPON, macEntry(VLAN10, 0x01), 1));
  node().failTypeLookup(true);
  EXPECT_EQ(1u, ps().addStaticEntryApi(ETH2, macEntry(VLAN10, 0x01)));
  EXPECT_EQ((Lines{"1|addStaticEntryVirtualPort:906:Invalid interface type: 4 for interface: 8\n",
                   "1|addStaticEntryVirtualPort:920:Invalid interface type: 1 for interface: 2\n",
                   "0|addStaticEntryVirtualPort:936:getStaticMacLimit failed for intf: 9\n",
                   "0|addStaticEntryVirtualPort:892:interfaceGetTypeById failed for intf: 2\n"}),
            takeLogged());
  EXPECT_EQ(Lines{}, takeSent());
  EXPECT_EQ(Lines{}, cached());
}

}  // namespace
}  // namespace entitytest
