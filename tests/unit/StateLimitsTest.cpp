// State and limits beyond the driver records: range and count checks, the
// getters' state rules, and setStateAll's walk.
#include "EntityTest.h"

namespace entitytest {
namespace {

class StateLimitsTest : public EntityTest {};

TEST_F(StateLimitsTest, PerVlanLimitChecksVlanRangeAndCount) {
  EXPECT_EQ(1u, ps().setLimitDynamicMACs(ETH1, MISSING_VLAN, 5u));
  EXPECT_EQ(1u, ps().setLimitDynamicMACs(ETH1, MISSING_VLAN, 0u));  // removals too
  // Out of range is refused before any handle is opened: the armed open
  // failure is still there for the next operation.
  driver().failNextOpens(1);
  EXPECT_EQ(7u, ps().setLimitDynamicMACs(ETH1, VLAN10, 65u));
  EXPECT_EQ(1u, ps().setState(true));
  EXPECT_EQ(0u, ps().setLimitDynamicMACs(ETH1, VLAN10, 64u));
  EXPECT_EQ(0u, ps().setLimitDynamicMACs(ETH1, VLAN20, 1u));
  for (unsigned short vlan = 100; vlan <= 106; ++vlan) node().addVlanQuietly(vlan);
  for (unsigned short vlan = 100; vlan < 106; ++vlan)
    ASSERT_EQ(0u, ps().setLimitDynamicMACs(ETH1, vlan, 3u));
  driver().clearCommands();
  EXPECT_EQ(6u, ps().setLimitDynamicMACs(ETH1, 106, 3u));
  EXPECT_EQ(6u, ps().setLimitDynamicMACs(ETH1, VLAN10, 3u));  // even a change of one of the eight
  EXPECT_EQ(Lines{}, takeSent());
  EXPECT_EQ(0u, ps().setLimitDynamicMACs(ETH1, VLAN10, 0u));
  EXPECT_EQ(0u, ps().setLimitDynamicMACs(ETH1, 106, 3u));
  // Removing a limit that is not there still goes to the driver and succeeds.
  EXPECT_EQ(0u, ps().setLimitDynamicMACs(ETH2, VLAN10, 0u));
  EXPECT_EQ(2u, commandsWith(PSIOC_DEL_VLAN_LIMIT).size());

  // A refused per-VLAN limit still creates the interface's settings entry.
  bool state = true;
  ASSERT_EQ(1u, ps().getState(ETH3, state));
  driver().refuseNext(PSIOC_SET_VLAN_LIMIT, 1);
  EXPECT_EQ(1u, ps().setLimitDynamicMACs(ETH3, VLAN10, 5u));
  EXPECT_EQ(0u, ps().getState(ETH3, state));
  EXPECT_FALSE(state);
}

TEST_F(StateLimitsTest, PerVlanGetterLooksUpTheInterfaceIdCutTo16Bits) {
  const unsigned int wideId = 0x10000u + INTERNAL;
  ASSERT_TRUE(node().addInterface({wideId, Interfaces::IF_TYPE_ETHERNET, "wide"}));
  node().addVlanQuietly(INTERNAL);
  node().addVlanQuietly(100);
  ASSERT_EQ(0u, ps().setLimitDynamicMACs(INTERNAL, INTERNAL, 33u));
  ASSERT_EQ(0u, ps().setLimitDynamicMACs(INTERNAL, 100, 44u));
  ASSERT_EQ(0u, ps().setLimitDynamicMACs(wideId, INTERNAL, 12u));
  unsigned int limit = 0;
  EXPECT_EQ(0u, ps().getLimitDynamicMACs(INTERNAL, 100, limit));
  EXPECT_EQ(33u, limit);
  EXPECT_EQ(0u, ps().getLimitDynamicMACs(wideId, 999, limit));
  EXPECT_EQ(12u, limit);
  ASSERT_EQ(0u, ps().setLimitDynamicMACs(ETH1, VLAN10, 20u));
  EXPECT_EQ(8u, ps().getLimitDynamicMACs(ETH1, VLAN10, limit));
  EXPECT_EQ(1u, ps().getLimitDynamicMACs(ETH2, VLAN10, limit));  // no settings entry
}

TEST_F(StateLimitsTest, LimitGettersAnswerOnlyInTheirState) {
  unsigned int limit = 0;
  bool state = false;
  EXPECT_EQ(1u, ps().getState(ETH1, state));  // no settings yet
  EXPECT_EQ(1u, ps().getLimitDynamicMACs(ETH1, limit));
  EXPECT_EQ(1u, ps().getLimitStaticMACs(ETH1, limit));
  ASSERT_EQ(0u, ps().setLimitDynamicMACs(ETH1, 50u));
  ASSERT_EQ(0u, ps().setLimitStaticMACs(ETH1, 6));
  limit = 99;
  EXPECT_EQ(5u, ps().getLimitDynamicMACs(ETH1, limit));
  EXPECT_EQ(99u, limit);
  EXPECT_EQ(0u, ps().getLimitStaticMACs(ETH1, limit));
  EXPECT_EQ(6u, limit);
  ASSERT_EQ(0u, ps().setState(ETH1, true));
  EXPECT_EQ(0u, ps().getLimitDynamicMACs(ETH1, limit));
  EXPECT_EQ(50u, limit);
  limit = 99;
  EXPECT_EQ(5u, ps().getLimitStaticMACs(ETH1, limit));
  EXPECT_EQ(99u, limit);
  EXPECT_EQ(1u, ps().getLimitStaticMACs(UNKNOWN_ID, limit));
  // The internal form answers whatever the state, and 20 without settings.
  EXPECT_EQ(0u, ps().getStaticMacLimit(ETH1, limit));
  EXPECT_EQ(6u, limit);
  EXPECT_EQ(0u, ps().getStaticMacLimit(UNKNOWN_ID, limit));
  EXPECT_EQ(20u, limit);
  lock().failNextAttempts(1, sim::LockKind::shared);
  EXPECT_EQ(1u, ps().getStaticMacLimit(ETH1, limit));
  EXPECT_EQ(20u, limit);
}

TEST_F(StateLimitsTest, StaticLimitBelowCachedEntriesIsRefused) {
  for (unsigned char last = 1; last <= 4; ++last)
    ASSERT_EQ(0u, ps().addStaticEntryApi(ETH1, macEntry(VLAN10, last)));
  driver().clearCommands();
  EXPECT_EQ(7u, ps().setLimitStaticMACs(ETH1, 3));
  EXPECT_EQ(Lines{}, takeSent());
  EXPECT_EQ(0u, ps().setLimitStaticMACs(ETH1, 4));
  EXPECT_EQ(0u, ps().setLimitStaticMACs(ETH2, 0));
}

TEST_F(StateLimitsTest, SetStateAllStopsAtTheFirstFailureWithoutRollback) {
  driver().refuseCall(2);
  EXPECT_EQ(1u, ps().setStateAll(true));
  EXPECT_EQ((Lines{"intf-state 1 1", "intf-state 2 1 refused"}), takeSent());
  bool state = false;
  EXPECT_EQ(0u, ps().getState(ETH1, state));
  EXPECT_TRUE(state);
  EXPECT_EQ(1u, ps().getState(ETH2, state));
  EXPECT_EQ(0u, ps().getState(state));
  EXPECT_FALSE(state);  // the global switch is not part of it

  EXPECT_EQ(0u, ps().setStateAll(true));
  EXPECT_EQ(node().interfaces().size(), takeSent().size());
  EXPECT_EQ(0u, ps().getState(GEM2, state));
  EXPECT_TRUE(state);
  node().reset();
  EXPECT_EQ(0u, ps().setStateAll(false));
  EXPECT_EQ(Lines{}, takeSent());
}

}  // namespace
}  // namespace entitytest
