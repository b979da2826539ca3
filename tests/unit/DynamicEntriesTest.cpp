// MAC reports, violations and the move to static against the simulated
// driver's table: which entries come back, under which key, and how the
// table walk reads the driver.
#include "EntityTest.h"

namespace entitytest {
namespace {

class DynamicEntriesTest : public EntityTest {
 protected:
  // "<bucket>/<position> port <port>" of each table-entry read; clears the log.
  static Lines entryReads() {
    Lines reads;
    for (const sim::DriverCommand& command : commandsWith(PSIOC_GET_TABLE_ENTRY))
      reads.push_back(describe(command).substr(sizeof "entry"));
    driver().clearCommands();
    return reads;
  }

  PortSecurity::macEntryList_t single;
  PortSecurity::macEntryMap_t all;
};

TEST_F(DynamicEntriesTest, WalkAsksEveryBucketAndReusesTheRecord) {
  driver().setBucketCount(4);
  ASSERT_EQ(0u, ps().getDynamicMACs(all));
  EXPECT_EQ((Lines{"0/0 port 0", "1/0 port 0", "2/0 port 0", "3/0 port 0"}), entryReads());

  // The read after an entry carries that entry's port, written back as
  // port + 1 by the whole-bridge form and the move.
  driver().setBucketCount(1);
  learn(ETH2, macEntry(VLAN10, 1));
  learn(ETH3, macEntry(VLAN10, 2));
  driver().clearCommands();
  ASSERT_EQ(0u, ps().getDynamicMACs(ETH1, single));
  EXPECT_EQ((Lines{"0/0 port 0", "0/1 port 1", "0/2 port 2"}), entryReads());
  ASSERT_EQ(0u, ps().getDynamicMACs(all));
  EXPECT_EQ((Lines{"0/0 port 0", "0/1 port 2", "0/2 port 3"}), entryReads());
  ASSERT_EQ(0u, ps().moveDynamicToStatic(ETH1));
  EXPECT_EQ((Lines{"0/0 port 0", "0/1 port 2", "0/2 port 3"}), entryReads());
}

TEST_F(DynamicEntriesTest, LastViolationTellsNoneFromAnOffender) {
  ASSERT_EQ(0u, ps().setState(true));
  ASSERT_EQ(0u, ps().setState(ETH1, true));
  ASSERT_EQ(0u, ps().setLimitDynamicMACs(ETH1, 0u));
  PortSecurity::macEntry_t out = macEntry(VLAN20, 9);
  // An all-zero MAC means no violation, whatever the VLAN that comes with it.
  driver().learn(ETH1 - 1, sim::MacAddress{}, VLAN10);
  EXPECT_EQ(3u, ps().getLastViolation(ETH1, out));
  EXPECT_EQ("v20/09", describe(out.vlan, out.mac));
  ASSERT_EQ(sim::LearnResult::violation,
            driver().learn(ETH1 - 1, {0x00, 0x11, 0x22, 0x33, 0x44, 7}, VLAN10));
  driver().refuseNext(PSIOC_GET_VIOLATION, 1);
  EXPECT_EQ(1u, ps().getLastViolation(ETH1, out));
  EXPECT_EQ("v20/09", describe(out.vlan, out.mac));
  EXPECT_EQ(0u, ps().getLastViolation(ETH1, out));
  EXPECT_EQ("v10/07", describe(out.vlan, out.mac));
}

// Where the table cannot be read after the move: the model test.
TEST_F(DynamicEntriesTest, MoveRemembersExactlyTheDriverStaticEntriesInTableOrder) {
  addStatic(ETH2, VLAN10, {1});
  learn(ETH2, macEntry(VLAN10, 2));
  learn(ETH2, macEntry(VLAN20, 3));
  learn(ETH3, macEntry(VLAN10, 4));
  addDriverStatic(ETH2, macEntry(VLAN20, 5));
  ASSERT_EQ(0u, ps().moveDynamicToStatic(ETH2));
  EXPECT_EQ(4u, driverStaticOn(ETH2).size());
  EXPECT_EQ(driverStaticOn(ETH2), staticOn(ETH2));
  ASSERT_EQ(0u, ps().getDynamicMACs(ETH3 - 1, single));  // ETH3's learned entry stays dynamic
  EXPECT_EQ(Lines{"v10/04"}, listed(single));
}

}  // namespace
}  // namespace entitytest
