// MAC reports, violations and the move to static against the simulated
// driver's table: which entries come back, under which key, and how the
// table walk reads the driver.
#include "EntityTest.h"

namespace entitytest {
namespace {

typedef std::list<PortSecurity::macEntry_t> Entries;

class DynamicEntriesTest : public EntityTest {
 protected:
  // "<bucket>/<position> port <port>" of each table-entry read; clears the log.
  static Lines entryReads() {
    Lines reads;
    for (const sim::DriverCommand& command : commandsWith(PSIOC_GET_TABLE_ENTRY)) {
      psTableEntryArg_t r;
      std::memcpy(&r, command.bytes.data(), sizeof r);
      reads.push_back(std::to_string(r.bucket) + "/" + std::to_string(r.position) + " port " +
                      std::to_string(r.port));
    }
    driver().clearCommands();
    return reads;
  }
};

TEST_F(DynamicEntriesTest, SingleFormMatchesPortWithIdAndWholeBridgeKeysByPortPlusOne) {
  const PortSecurity::macEntry_t learned = macEntry(VLAN10, 1);
  learn(MNG, learned);  // driver port 3
  addDriverStatic(ETH2, macEntry(VLAN10, 2));
  Entries single;
  ASSERT_EQ(0u, ps().getDynamicMACs(3, single));
  EXPECT_EQ(Entries{learned}, single);
  driver().refuseNext(PSIOC_GET_TABLE_INFO, 1);  // a failed report leaves the list alone
  EXPECT_EQ(1u, ps().getDynamicMACs(MNG, single));
  EXPECT_EQ(Entries{learned}, single);
  ASSERT_EQ(0u, ps().getDynamicMACs(MNG, single));
  EXPECT_TRUE(single.empty());
  ASSERT_EQ(0u, ps().getDynamicMACs(ETH1, single));  // only a static entry on port 1
  EXPECT_TRUE(single.empty());

  PortSecurity::macEntryMap_t all;
  all[99].reset(new Entries);
  ASSERT_EQ(0u, ps().getDynamicMACs(all));
  ASSERT_EQ(2u, all.size());
  EXPECT_EQ(Entries{learned}, *all[MNG]);
  ASSERT_TRUE(all[ETH2]);  // listed although its only entry is static
  EXPECT_TRUE(all[ETH2]->empty());
  driver().refuseNext(PSIOC_GET_TABLE_INFO, 1);
  EXPECT_EQ(1u, ps().getDynamicMACs(all));
  EXPECT_EQ(2u, all.size());
}

TEST_F(DynamicEntriesTest, WalkAsksEveryBucketAndReusesTheRecord) {
  driver().setBucketCount(4);
  PortSecurity::macEntryMap_t all;
  ASSERT_EQ(0u, ps().getDynamicMACs(all));
  EXPECT_EQ((Lines{"0/0 port 0", "1/0 port 0", "2/0 port 0", "3/0 port 0"}), entryReads());

  // The read after an entry carries that entry's port, written back as
  // port + 1 by the whole-bridge form and the move.
  driver().setBucketCount(1);
  learn(ETH2, macEntry(VLAN10, 1));
  learn(ETH3, macEntry(VLAN10, 2));
  Entries single;
  driver().clearCommands();
  ASSERT_EQ(0u, ps().getDynamicMACs(ETH1, single));
  EXPECT_EQ((Lines{"0/0 port 0", "0/1 port 1", "0/2 port 2"}), entryReads());
  ASSERT_EQ(0u, ps().getDynamicMACs(all));
  EXPECT_EQ((Lines{"0/0 port 0", "0/1 port 2", "0/2 port 3"}), entryReads());
  ASSERT_EQ(0u, ps().moveDynamicToStatic(ETH1));
  EXPECT_EQ((Lines{"0/0 port 0", "0/1 port 2", "0/2 port 3"}), entryReads());
}

TEST_F(DynamicEntriesTest, ZeroBucketsAskNoEntryAndMoveForgetsTheRememberedList) {
  learn(ETH2, macEntry(VLAN10, 1));
  ASSERT_EQ(0u, ps().addStaticEntry(ETH2, macEntry(VLAN10, 2)));
  driver().setBucketCount(0);
  driver().clearCommands();
  Entries single = {macEntry(VLAN20, 9)};
  PortSecurity::macEntryMap_t all;
  all[ETH1].reset(new Entries);
  EXPECT_EQ(0u, ps().getDynamicMACs(ETH2 - 1, single));
  EXPECT_EQ(0u, ps().getDynamicMACs(all));
  EXPECT_EQ(0u, ps().moveDynamicToStatic(ETH2));
  EXPECT_TRUE(single.empty());
  EXPECT_TRUE(all.empty());
  EXPECT_TRUE(entryReads().empty());
  EXPECT_EQ(Lines{}, staticOn(ETH2));
}

TEST_F(DynamicEntriesTest, LastViolationTellsNoneFromAnOffender) {
  ASSERT_EQ(0u, ps().setState(true));
  ASSERT_EQ(0u, ps().setState(ETH1, true));
  ASSERT_EQ(0u, ps().setLimitDynamicMACs(ETH1, 0u));
  const PortSecurity::macEntry_t untouched = macEntry(VLAN20, 9);
  PortSecurity::macEntry_t out = untouched;
  // An all-zero MAC means no violation, whatever the VLAN that comes with it.
  driver().learn(ETH1 - 1, sim::MacAddress{}, VLAN10);
  EXPECT_EQ(3u, ps().getLastViolation(ETH1, out));
  EXPECT_TRUE(out == untouched);
  const PortSecurity::macEntry_t offender = macEntry(VLAN10, 7);
  ASSERT_EQ(sim::LearnResult::violation,
            driver().learn(ETH1 - 1, {0x00, 0x11, 0x22, 0x33, 0x44, 7}, VLAN10));
  EXPECT_EQ(0u, ps().getLastViolation(ETH1, out));
  EXPECT_TRUE(out == offender);
  out = untouched;
  driver().refuseNext(PSIOC_GET_VIOLATION, 1);
  EXPECT_EQ(1u, ps().getLastViolation(ETH1, out));
  EXPECT_TRUE(out == untouched);
}

TEST_F(DynamicEntriesTest, MoveRemembersExactlyTheDriverStaticEntriesInTableOrder) {
  ASSERT_EQ(0u, ps().addStaticEntry(ETH2, macEntry(VLAN10, 1)));
  learn(ETH2, macEntry(VLAN10, 2));
  learn(ETH2, macEntry(VLAN20, 3));
  learn(ETH3, macEntry(VLAN10, 4));
  addDriverStatic(ETH2, macEntry(VLAN20, 5));
  // Moved by the driver, but the table could not be read: memory stays behind.
  driver().refuseNext(PSIOC_GET_TABLE_INFO, 1);
  EXPECT_EQ(1u, ps().moveDynamicToStatic(ETH2));
  EXPECT_EQ(Lines{"v10/01"}, staticOn(ETH2));

  ASSERT_EQ(0u, ps().moveDynamicToStatic(ETH2));
  Lines inDriver;
  for (const auto& chain : driver().table())
    for (const sim::MacTableEntry& entry : chain)
      if (entry.isStatic && entry.port == ETH2 - 1)
        inDriver.push_back(describe(entry.vlan, entry.mac.data()));
  EXPECT_EQ(4u, inDriver.size());
  EXPECT_EQ(inDriver, staticOn(ETH2));
  Entries other;  // ETH3's learned entry stays dynamic
  ASSERT_EQ(0u, ps().getDynamicMACs(ETH3 - 1, other));
  EXPECT_EQ(1u, other.size());
}

}  // namespace
}  // namespace entitytest
