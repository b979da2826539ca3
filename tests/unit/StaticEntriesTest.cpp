// Static entries on one driver interface: limits, moves between interfaces,
// the driver record and failures.
#include <algorithm>

#include "EntryFixture.h"

namespace entitytest {
namespace {

class StaticEntriesTest : public EntryTest {};

TEST_F(StaticEntriesTest, AddSendsZeroFilledRecordThenRemembersEntry) {
  ASSERT_EQ(0u, ps().addStaticEntry(ETH2, macEntry(100, 0x01)));
  const std::vector<sim::DriverCommand> sent = commands();
  ASSERT_EQ(1u, sent.size());
  // Interface text at 0, MAC at 17, VLAN at 24, isStatic at 26, zero elsewhere.
  std::vector<uint8_t> expected(28, 0);
  expected[0] = '2';
  const uint8_t mac[6] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x01};
  std::copy(mac, mac + 6, expected.begin() + 17);
  expected[24] = 100;
  expected[26] = 1;
  EXPECT_EQ(psdriver::PSIOC_ADD_STATIC, sent[0].code);
  EXPECT_EQ(expected, sent[0].bytes);
  EXPECT_EQ(Lines{"v100/01"}, staticOn(ETH2));
}

TEST_F(StaticEntriesTest, ReaddingExistingEntrySendsNothingUnlessListIsFull) {
  ASSERT_EQ(0u, ps().setLimitStaticMACs(ETH2, 2));
  ASSERT_EQ(0u, ps().addStaticEntry(ETH2, macEntry(100, 0x01)));
  takeSent();
  EXPECT_EQ(0u, ps().addStaticEntry(ETH2, macEntry(100, 0x01)));
  EXPECT_EQ(Lines{}, takeSent());
  ASSERT_EQ(0u, ps().addStaticEntry(ETH2, macEntry(100, 0x02)));
  EXPECT_EQ(2u, ps().addStaticEntry(ETH2, macEntry(100, 0x01)));
  EXPECT_EQ((Lines{"add 2 v100/02"}), takeSent());
}

TEST_F(StaticEntriesTest, EntryLeavesItsOldInterfaceEvenWhenTheLimitRefusesIt) {
  ASSERT_EQ(0u, ps().setLimitStaticMACs(ETH2, 2));
  ASSERT_EQ(0u, ps().addStaticEntry(ETH1, macEntry(100, 0x09)));
  ASSERT_EQ(0u, ps().addStaticEntry(ETH2, macEntry(100, 0x01)));
  ASSERT_EQ(0u, ps().addStaticEntry(ETH2, macEntry(100, 0x02)));
  takeSent();
  EXPECT_EQ(2u, ps().addStaticEntry(ETH2, macEntry(100, 0x09)));
  EXPECT_EQ((Lines{"del 1 v100/09"}), takeSent());
  EXPECT_EQ(Lines{}, staticOn(ETH1));
  EXPECT_EQ((Lines{"v100/01", "v100/02"}), staticOn(ETH2));
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

TEST_F(StaticEntriesTest, DeletingWhatIsNotThereGives3WithoutACommand) {
  EXPECT_EQ(3u, ps().delStaticEntry(ETH2, macEntry(100, 0x01)));
  ASSERT_EQ(0u, ps().addStaticEntry(ETH2, macEntry(100, 0x01)));
  takeSent();
  EXPECT_EQ(3u, ps().delStaticEntry(ETH2, macEntry(200, 0x01)));
  EXPECT_EQ(Lines{}, takeSent());
}

TEST_F(StaticEntriesTest, FailuresGive1AndLeaveMemoryUnchanged) {
  ASSERT_EQ(0u, ps().addStaticEntry(ETH2, macEntry(100, 0x01)));
  takeSent();

  failNextLocks(1, sim::LockKind::exclusive);
  EXPECT_EQ(1u, ps().addStaticEntry(ETH2, macEntry(100, 0x02)));
  failNextLocks(1, sim::LockKind::exclusive);
  EXPECT_EQ(1u, ps().delStaticEntry(ETH2, macEntry(100, 0x01)));
  EXPECT_EQ(1u, ps().addStaticEntry(UNKNOWN_ID, macEntry(100, 0x02)));
  EXPECT_EQ(Lines{}, takeSent());

  driver().failNextOpens(1);
  EXPECT_EQ(1u, ps().addStaticEntry(ETH2, macEntry(100, 0x02)));
  driver().refuseNext(psdriver::PSIOC_ADD_STATIC, 1);
  EXPECT_EQ(1u, ps().addStaticEntry(ETH2, macEntry(100, 0x02)));
  driver().refuseNext(psdriver::PSIOC_DEL_STATIC, 1);
  EXPECT_EQ(1u, ps().delStaticEntry(ETH2, macEntry(100, 0x01)));
  EXPECT_EQ((Lines{"add 2 v100/02 refused", "del 2 v100/01 refused"}), takeSent());
  EXPECT_EQ(Lines{"v100/01"}, staticOn(ETH2));
  EXPECT_TRUE(logIsEmpty());
}

TEST_F(StaticEntriesTest, ClearTreatsOneInterfaceOrAllAndKeepsTheirKeys) {
  ASSERT_EQ(0u, ps().addStaticEntry(ETH1, macEntry(100, 0x01)));
  ASSERT_EQ(0u, ps().addStaticEntry(ETH3, macEntry(100, 0x02)));
  ASSERT_EQ(0u, ps().addStaticEntry(ETH3, macEntry(100, 0x03)));
  takeSent();
  EXPECT_EQ(0u, ps().clearStaticEntries(ETH3));
  EXPECT_EQ((Lines{"del 3 v100/02", "del 3 v100/03"}), takeSent());
  EXPECT_EQ(Lines{"v100/01"}, staticOn(ETH1));
  EXPECT_EQ(0u, ps().clearStaticEntries());
  EXPECT_EQ((Lines{"del 1 v100/01"}), takeSent());
  EXPECT_NE(std::string::npos, dump().find(" Interface: 1\n Interface: 3\n"));
}

TEST_F(StaticEntriesTest, ClearStopsAtTheFirstRefusalAndLogsOnce) {
  ASSERT_EQ(0u, ps().addStaticEntry(ETH1, macEntry(100, 0x01)));
  ASSERT_EQ(0u, ps().addStaticEntry(ETH1, macEntry(100, 0x02)));
  ASSERT_EQ(0u, ps().addStaticEntry(ETH3, macEntry(100, 0x03)));
  takeSent();
  driver().refuseCall(2);
  EXPECT_EQ(1u, ps().clearStaticEntries(0));
  EXPECT_EQ((Lines{"del 1 v100/01", "del 1 v100/02 refused"}), takeSent());
  EXPECT_EQ((Lines{"0|PortSecurity::clearStaticEntries error at  delStaticEntry intfid: 1. "
                   "Break the loop and return."}),
            takeLogged());
  EXPECT_EQ(Lines{"v100/02"}, staticOn(ETH1));
  EXPECT_EQ(Lines{"v100/03"}, staticOn(ETH3));
}

}  // namespace
}  // namespace entitytest
