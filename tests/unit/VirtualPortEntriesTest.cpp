// Static entries per interface and virtual port: the cache, the carrier that
// applies them, the cache's own limit, and every failure with its message.
#include "EntityWorld.h"

namespace {

typedef std::vector<std::string> Lines;

class VirtualPortEntriesTest : public EntityWorldTest {
 protected:
  void SetUp() override {
    EntityWorldTest::SetUp();
    for (unsigned int id : {4u, 5u, 9u}) addInterface(id, Interfaces::IF_TYPE_ETHERNET);
    addInterface(8, Interfaces::IF_TYPE_GPON);
    addInterface(41, Interfaces::IF_TYPE_GEM);
    addInterface(42, Interfaces::IF_TYPE_GEM);
    node().bindGem(sim::GemBinding{8, 1, 41});
    node().bindGem(sim::GemBinding{8, 2, 42});
    node().addVlanQuietly(100);
  }
};

TEST_F(VirtualPortEntriesTest, EntryIsAppliedOnlyWhenCarrierAndVlanExist) {
  EXPECT_EQ(0u, ps().addStaticEntryApi(5, entry(100, 0x01)));
  EXPECT_EQ(0u, ps().addStaticEntryVirtualPort(8, entry(100, 0x02), 1));
  EXPECT_EQ(0u, ps().addStaticEntryApi(5, entry(200, 0x03)));
  EXPECT_EQ(0u, ps().addStaticEntryVirtualPort(8, entry(100, 0x04), 3));
  EXPECT_EQ((Lines{"add 5 v100/01", "add 41 v100/02"}), takeSent());
  EXPECT_EQ((Lines{"5.0@5:v100/01=1", "5.0@5:v200/03=0", "8.1@41:v100/02=1", "8.3@0:v100/04=0"}),
            cached());
  EXPECT_EQ(Lines{"v100/02"}, staticOn(41));
  EXPECT_EQ(Lines{}, takeLogged());
}

TEST_F(VirtualPortEntriesTest, CachedCountMeetingTheCarriersLimitGives2) {
  ASSERT_EQ(0u, ps().setLimitStaticMACs(41, 1));
  ASSERT_EQ(0u, ps().setLimitStaticMACs(5, 2));
  EXPECT_EQ(0u, ps().addStaticEntryVirtualPort(8, entry(200, 0x01), 1));
  EXPECT_EQ(2u, ps().addStaticEntryVirtualPort(8, entry(200, 0x02), 1));
  EXPECT_EQ(0u, ps().addStaticEntryApi(5, entry(200, 0x03)));
  EXPECT_EQ(0u, ps().addStaticEntryApi(5, entry(200, 0x04)));
  EXPECT_EQ(2u, ps().addStaticEntryApi(5, entry(200, 0x05)));
  EXPECT_EQ(
      (Lines{"0|addStaticEntryVirtualPort:955:macLimit failed for intf: 8, virtualPort: 1\n",
             "0|addStaticEntryVirtualPort:955:macLimit failed for intf: 5, virtualPort: 0\n"}),
      takeLogged());
  EXPECT_EQ(3u, cached().size());
}

TEST_F(VirtualPortEntriesTest, ReaddingInTheSamePlaceChangesNothing) {
  ASSERT_EQ(0u, ps().addStaticEntryApi(5, entry(100, 0x01)));
  takeSent();
  EXPECT_EQ(0u, ps().addStaticEntryApi(5, entry(100, 0x01)));
  EXPECT_EQ(Lines{}, takeSent());
  EXPECT_EQ(Lines{"5.0@5:v100/01=1"}, cached());
}

TEST_F(VirtualPortEntriesTest, MovingToAnotherVirtualPortWithdrawsFromTheOldCarrier) {
  ASSERT_EQ(0u, ps().addStaticEntryVirtualPort(8, entry(100, 0x01), 1));
  takeSent();
  EXPECT_EQ(0u, ps().addStaticEntryVirtualPort(8, entry(100, 0x01), 2));
  EXPECT_EQ((Lines{"del 41 v100/01", "add 42 v100/01"}), takeSent());
  EXPECT_EQ(Lines{"8.2@42:v100/01=1"}, cached());
  EXPECT_EQ(Lines{}, staticOn(41));
  EXPECT_EQ(Lines{"v100/01"}, staticOn(42));
}

TEST_F(VirtualPortEntriesTest, DeleteRemovesTheEntryWhereverItIsCached) {
  ASSERT_EQ(0u, ps().addStaticEntryApi(4, entry(100, 0x01)));
  ASSERT_EQ(0u, ps().addStaticEntry(5, entry(100, 0x02)));
  takeSent();
  EXPECT_EQ(0u, ps().delStaticEntryApi(9, entry(100, 0x01)));
  EXPECT_EQ((Lines{"del 4 v100/01"}), takeSent());
  EXPECT_EQ(Lines{}, cached());
  // Not cached: nothing happens, even to an entry of the interface layer.
  EXPECT_EQ(0u, ps().delStaticEntryApi(5, entry(100, 0x02)));
  EXPECT_EQ(Lines{}, takeSent());
  EXPECT_EQ(Lines{"v100/02"}, staticOn(5));
}

TEST_F(VirtualPortEntriesTest, RequestsRefusedBeforeTheCacheLogByKind) {
  failNextLocks(1, sim::LockKind::exclusive);
  EXPECT_EQ(1u, ps().addStaticEntryApi(5, entry(100, 0x01)));
  EXPECT_EQ(1u, ps().addStaticEntryApi(99, entry(100, 0x01)));
  EXPECT_EQ(Lines{}, takeLogged());

  EXPECT_EQ(1u, ps().addStaticEntryApi(8, entry(100, 0x01)));
  EXPECT_EQ(1u, ps().addStaticEntryVirtualPort(5, entry(100, 0x01), 3));
  failNextLocks(1, sim::LockKind::shared);
  EXPECT_EQ(1u, ps().addStaticEntryVirtualPort(8, entry(100, 0x01), 1));
  node().failTypeLookup(true);
  EXPECT_EQ(1u, ps().addStaticEntryApi(5, entry(100, 0x01)));
  EXPECT_EQ((Lines{"1|addStaticEntryVirtualPort:906:Invalid interface type: 4 for interface: 8\n",
                   "1|addStaticEntryVirtualPort:920:Invalid interface type: 1 for interface: 5\n",
                   "0|addStaticEntryVirtualPort:936:getStaticMacLimit failed for intf: 41\n",
                   "0|addStaticEntryVirtualPort:892:interfaceGetTypeById failed for intf: 5\n"}),
            takeLogged());
  EXPECT_EQ(Lines{}, takeSent());
  EXPECT_EQ(Lines{}, cached());
}

TEST_F(VirtualPortEntriesTest, DriverRefusalsLogAndKeepWhatWasDoneBefore) {
  driver().refuseNext(psdriver::PSIOC_ADD_STATIC, 1);
  EXPECT_EQ(1u, ps().addStaticEntryApi(5, entry(100, 0x01)));
  EXPECT_EQ(Lines{}, cached());

  ASSERT_EQ(0u, ps().addStaticEntryApi(5, entry(100, 0x01)));
  driver().refuseNext(psdriver::PSIOC_DEL_STATIC, 2);
  EXPECT_EQ(1u, ps().addStaticEntryApi(4, entry(100, 0x01)));
  EXPECT_EQ(1u, ps().delStaticEntryApi(5, entry(100, 0x01)));
  EXPECT_EQ(Lines{"5.0@5:v100/01=1"}, cached());

  // The move takes the entry off interface 5; the refused add then loses it.
  driver().refuseNext(psdriver::PSIOC_ADD_STATIC, 1);
  EXPECT_EQ(1u, ps().addStaticEntryApi(4, entry(100, 0x01)));
  EXPECT_EQ(Lines{}, cached());
  EXPECT_EQ(Lines{}, staticOn(5));
  EXPECT_EQ((Lines{"0|addStaticEntryVirtualPort:1011:addStaticEntry failed for intf: 5\n",
                   "0|addStaticEntryVirtualPort:986:delStaticEntry failed for intf: 5\n",
                   "0|delStaticEntryVirtualPort:1074:delStaticEntry failed for intf: 5\n",
                   "0|addStaticEntryVirtualPort:1011:addStaticEntry failed for intf: 4\n"}),
            takeLogged());
}

}  // namespace
