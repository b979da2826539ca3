// State and limits beyond what the model test reaches (eight per-VLAN
// limits, interface ids wider than 16 bits, an empty registry), and the
// reports built from them: the settings of every interface, static-entry
// reports, the entries-cache count and copy, an all-zero violation source.
#include "EntityTest.h"

namespace entitytest {
namespace {

class StateLimitsTest : public EntityTest {};

// Eight per-VLAN limits an interface, more than the model's three VLANs
// ever reach; the range is checked before the count.
TEST_F(StateLimitsTest, PerVlanLimitsAreEightAnInterface) {
  for (unsigned short vlan = 100; vlan <= 106; ++vlan) node().addVlanQuietly(vlan);
  ASSERT_EQ(0u, ps().setLimitDynamicMACs(ETH1, VLAN10, 64u));
  ASSERT_EQ(0u, ps().setLimitDynamicMACs(ETH1, VLAN20, 1u));
  for (unsigned short vlan = 100; vlan < 106; ++vlan)
    ASSERT_EQ(0u, ps().setLimitDynamicMACs(ETH1, vlan, 3u));
  driver().clearCommands();
  EXPECT_EQ(6u, ps().setLimitDynamicMACs(ETH1, 106, 3u));
  EXPECT_EQ(6u, ps().setLimitDynamicMACs(ETH1, VLAN10, 3u));  // even a change of one of the eight
  EXPECT_EQ(7u, ps().setLimitDynamicMACs(ETH1, 106, 65u));
  EXPECT_TRUE(driver().commands().empty());
  EXPECT_EQ(0u, ps().setLimitDynamicMACs(ETH1, VLAN10, 0u));
  EXPECT_EQ(0u, ps().setLimitDynamicMACs(ETH1, 106, 3u));
}

// The model's node always lists interfaces.
TEST_F(StateLimitsTest, SwitchingAnEmptyRegistrySucceedsAndSendsNothing) {
  node().reset();
  driver().clearCommands();
  EXPECT_EQ(0u, ps().setStateAll(true));
  EXPECT_TRUE(driver().commands().empty());
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

bool isDefault(const PortSecurity::interfaceSettings_t& settings) {
  return !settings.state && settings.limitDynamicMACs == 300 && settings.limitStaticMACs == 20 &&
         settings.vlanLimitDynamicMACs.empty();
}

class ReportsTest : public EntityTest {};

// The interface list, its filters and failing lookups: the model test.
TEST_F(ReportsTest, EveryInterfaceOfTheRegistryHasSettingsWhateverItsType) {
  node().setActive(GEM2, false);
  PortSecurity::interfaceSettingsMap_t settings;
  settings[UNKNOWN_ID];
  ASSERT_EQ(0u, ps().setLimitStaticMACs(GPON, 3));
  ASSERT_EQ(0u, ps().getInterfaceSettings(settings));
  EXPECT_EQ(node().interfaces().size(), settings.size());
  EXPECT_EQ(0u, settings.count(UNKNOWN_ID));
  EXPECT_TRUE(isDefault(settings.at(GEM2)));
  EXPECT_TRUE(isDefault(settings.at(INTERNAL)));
  EXPECT_EQ(3u, settings.at(GPON).limitStaticMACs);
}

// The model reaches this in about one run of three: a zero source must meet
// a full limit on an enabled interface that is queried before the next one.
TEST_F(ReportsTest, AnAllZeroViolationMacMeansNoneWhateverItsVlan) {
  ASSERT_EQ(0u, ps().setState(true));
  ASSERT_EQ(0u, ps().setState(ETH1, true));
  ASSERT_EQ(0u, ps().setLimitDynamicMACs(ETH1, 0u));
  ASSERT_EQ(sim::LearnResult::violation, driver().learn(ETH1 - 1, sim::MacAddress{}, VLAN10));
  PortSecurity::macEntry_t out = macEntry(VLAN20, 9);
  EXPECT_EQ(3u, ps().getLastViolation(ETH1, out));
  EXPECT_EQ(VLAN20, out.vlan);
}

TEST_F(ReportsTest, StaticReportsShareTheModulesListsButTheCacheIsCopied) {
  std::list<PortSecurity::macEntry_t> out = {macEntry(VLAN20, 9)};
  EXPECT_EQ(0u, ps().getStaticMACs(ETH1, out));
  EXPECT_TRUE(out.empty());
  ASSERT_EQ(0u, ps().addStaticEntry(ETH1, macEntry(VLAN10, 1)));
  PortSecurity::macEntryMap_t all;
  ASSERT_EQ(0u, ps().getStaticMACs(all));
  ASSERT_EQ(0u, ps().addStaticEntry(ETH1, macEntry(VLAN10, 2)));
  EXPECT_EQ(2u, all[ETH1]->size());  // the caller holds the module's own list

  ASSERT_EQ(0u, ps().addStaticEntryApi(ETH2, macEntry(VLAN10, 1)));
  ASSERT_EQ(0u, ps().addStaticEntryApi(ETH2, macEntry(VLAN20, 2)));
  ASSERT_EQ(0u, ps().addStaticEntryVirtualPort(GPON, macEntry(VLAN10, 3), 5));
  unsigned int count = 0;
  EXPECT_TRUE(ps().getMacEntriesCacheNum(ETH2, 0, count));
  EXPECT_EQ(2u, count);
  PortSecurity::macEntriesCache_t copy;
  ASSERT_EQ(0u, ps().getMacEntriesCache(copy));
  copy[ETH2][0].entries.clear();
  EXPECT_TRUE(ps().getMacEntriesCacheNum(ETH2, 0, count));
  EXPECT_EQ(2u, count);
  lock().failNextAttempts(3, sim::LockKind::shared);
  EXPECT_EQ(1u, ps().getStaticMACs(all));
  EXPECT_FALSE(ps().getMacEntriesCacheNum(ETH2, 0, count));
  EXPECT_EQ(1u, ps().getMacEntriesCache(copy));
  EXPECT_EQ(1u, ps().getStaticMACs(UNKNOWN_ID, out));
}

}  // namespace
}  // namespace entitytest
