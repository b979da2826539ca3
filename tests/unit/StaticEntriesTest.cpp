// Static entries on one driver interface: limits, moves between interfaces,
// the driver record and failures.
#include <algorithm>

#include "EntityWorld.h"

namespace {

typedef std::vector<std::string> Lines;

class StaticEntriesTest : public EntityWorldTest {
 protected:
  void SetUp() override {
    EntityWorldTest::SetUp();
    for (unsigned int id : {3u, 5u, 7u}) addInterface(id, Interfaces::IF_TYPE_ETHERNET);
  }
};

TEST_F(StaticEntriesTest, AddSendsZeroFilledRecordThenRemembersEntry) {
  ASSERT_EQ(0u, ps().addStaticEntry(5, entry(100, 0x01)));
  const std::vector<sim::DriverCommand> commands = driver().commands();
  ASSERT_EQ(1u, commands.size());
  // Interface text at 0, MAC at 17, VLAN at 24, isStatic at 26, zero elsewhere.
  std::vector<uint8_t> expected(28, 0);
  expected[0] = '5';
  const uint8_t mac[6] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x01};
  std::copy(mac, mac + 6, expected.begin() + 17);
  expected[24] = 100;
  expected[26] = 1;
  EXPECT_EQ(psdriver::PSIOC_ADD_STATIC, commands[0].code);
  EXPECT_EQ(expected, commands[0].bytes);
  EXPECT_EQ(Lines{"v100/01"}, staticOn(5));
}

TEST_F(StaticEntriesTest, ReaddingExistingEntrySendsNothingUnlessListIsFull) {
  ASSERT_EQ(0u, ps().setLimitStaticMACs(5, 2));
  ASSERT_EQ(0u, ps().addStaticEntry(5, entry(100, 0x01)));
  takeSent();
  EXPECT_EQ(0u, ps().addStaticEntry(5, entry(100, 0x01)));
  EXPECT_EQ(Lines{}, takeSent());
  ASSERT_EQ(0u, ps().addStaticEntry(5, entry(100, 0x02)));
  EXPECT_EQ(2u, ps().addStaticEntry(5, entry(100, 0x01)));
  EXPECT_EQ((Lines{"add 5 v100/02"}), takeSent());
}

TEST_F(StaticEntriesTest, EntryLeavesItsOldInterfaceEvenWhenTheLimitRefusesIt) {
  ASSERT_EQ(0u, ps().setLimitStaticMACs(5, 2));
  ASSERT_EQ(0u, ps().addStaticEntry(3, entry(100, 0x09)));
  ASSERT_EQ(0u, ps().addStaticEntry(5, entry(100, 0x01)));
  ASSERT_EQ(0u, ps().addStaticEntry(5, entry(100, 0x02)));
  takeSent();
  EXPECT_EQ(2u, ps().addStaticEntry(5, entry(100, 0x09)));
  EXPECT_EQ((Lines{"del 3 v100/09"}), takeSent());
  EXPECT_EQ(Lines{}, staticOn(3));
  EXPECT_EQ((Lines{"v100/01", "v100/02"}), staticOn(5));
}

TEST_F(StaticEntriesTest, LimitIsAnEqualityTestOnAnExistingList) {
  // Limit 1: the emptied list is kept and accepts a new entry.
  ASSERT_EQ(0u, ps().setLimitStaticMACs(5, 1));
  EXPECT_EQ(0u, ps().addStaticEntry(5, entry(100, 0x01)));
  EXPECT_EQ(2u, ps().addStaticEntry(5, entry(100, 0x02)));
  EXPECT_EQ(0u, ps().delStaticEntry(5, entry(100, 0x01)));
  EXPECT_EQ(0u, ps().addStaticEntry(5, entry(100, 0x02)));
  EXPECT_EQ(Lines{"v100/02"}, staticOn(5));

  // Limit 0 on an interface that never had a list: no size ever equals it.
  ASSERT_EQ(0u, ps().setLimitStaticMACs(7, 0));
  EXPECT_EQ(0u, ps().addStaticEntry(7, entry(100, 0x03)));
  EXPECT_EQ(0u, ps().addStaticEntry(7, entry(100, 0x04)));
  EXPECT_EQ((Lines{"v100/03", "v100/04"}), staticOn(7));
}

TEST_F(StaticEntriesTest, DeletingWhatIsNotThereGives3WithoutACommand) {
  EXPECT_EQ(3u, ps().delStaticEntry(5, entry(100, 0x01)));
  ASSERT_EQ(0u, ps().addStaticEntry(5, entry(100, 0x01)));
  takeSent();
  EXPECT_EQ(3u, ps().delStaticEntry(5, entry(200, 0x01)));
  EXPECT_EQ(Lines{}, takeSent());
}

TEST_F(StaticEntriesTest, FailuresGive1AndLeaveMemoryUnchanged) {
  ASSERT_EQ(0u, ps().addStaticEntry(5, entry(100, 0x01)));
  takeSent();

  failNextLocks(1, sim::LockKind::exclusive);
  EXPECT_EQ(1u, ps().addStaticEntry(5, entry(100, 0x02)));
  failNextLocks(1, sim::LockKind::exclusive);
  EXPECT_EQ(1u, ps().delStaticEntry(5, entry(100, 0x01)));
  EXPECT_EQ(1u, ps().addStaticEntry(99, entry(100, 0x02)));
  EXPECT_EQ(Lines{}, takeSent());

  driver().failNextOpens(1);
  EXPECT_EQ(1u, ps().addStaticEntry(5, entry(100, 0x02)));
  driver().refuseNext(psdriver::PSIOC_ADD_STATIC, 1);
  EXPECT_EQ(1u, ps().addStaticEntry(5, entry(100, 0x02)));
  driver().refuseNext(psdriver::PSIOC_DEL_STATIC, 1);
  EXPECT_EQ(1u, ps().delStaticEntry(5, entry(100, 0x01)));
  EXPECT_EQ((Lines{"add 5 v100/02 refused", "del 5 v100/01 refused"}), takeSent());
  EXPECT_EQ(Lines{"v100/01"}, staticOn(5));
  EXPECT_EQ(Lines{}, takeLogged());
}

TEST_F(StaticEntriesTest, ClearTreatsOneInterfaceOrAllAndKeepsTheirKeys) {
  ASSERT_EQ(0u, ps().addStaticEntry(3, entry(100, 0x01)));
  ASSERT_EQ(0u, ps().addStaticEntry(7, entry(100, 0x02)));
  ASSERT_EQ(0u, ps().addStaticEntry(7, entry(100, 0x03)));
  takeSent();
  EXPECT_EQ(0u, ps().clearStaticEntries(7));
  EXPECT_EQ((Lines{"del 7 v100/02", "del 7 v100/03"}), takeSent());
  EXPECT_EQ(Lines{"v100/01"}, staticOn(3));
  EXPECT_EQ(0u, ps().clearStaticEntries());
  EXPECT_EQ((Lines{"del 3 v100/01"}), takeSent());
  EXPECT_NE(std::string::npos, dump().find(" Interface: 3\n Interface: 7\n"));
}

TEST_F(StaticEntriesTest, ClearStopsAtTheFirstRefusalAndLogsOnce) {
  ASSERT_EQ(0u, ps().addStaticEntry(3, entry(100, 0x01)));
  ASSERT_EQ(0u, ps().addStaticEntry(3, entry(100, 0x02)));
  ASSERT_EQ(0u, ps().addStaticEntry(7, entry(100, 0x03)));
  takeSent();
  driver().refuseCall(2);
  EXPECT_EQ(1u, ps().clearStaticEntries(0));
  EXPECT_EQ((Lines{"del 3 v100/01", "del 3 v100/02 refused"}), takeSent());
  EXPECT_EQ((Lines{"0|PortSecurity::clearStaticEntries error at  delStaticEntry intfid: 3. "
                   "Break the loop and return."}),
            takeLogged());
  EXPECT_EQ(Lines{"v100/02"}, staticOn(3));
  EXPECT_EQ(Lines{"v100/03"}, staticOn(7));
}

}  // namespace
