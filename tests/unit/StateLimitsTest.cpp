// State and limits beyond what the model test reaches (eight per-VLAN
// limits, interface ids wider than 16 bits), and the reports built from them:
// interface reports, static-entry reports, the entries-cache count and copy,
// and the operator's dump.
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
  EXPECT_EQ(Lines{}, takeSent());
  EXPECT_EQ(0u, ps().setLimitDynamicMACs(ETH1, VLAN10, 0u));
  EXPECT_EQ(0u, ps().setLimitDynamicMACs(ETH1, 106, 3u));
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

TEST_F(ReportsTest, ListSkipsTypesThreeAndFourAndInactiveGemsAndFailsOnAListedName) {
  node().setActive(GEM2, false);
  std::list<PortSecurity::interfaceInfo_t> infos;
  ASSERT_EQ(0u, ps().getInterfaceInfo(infos));
  std::vector<std::string> names;
  for (const PortSecurity::interfaceInfo_t& info : infos) {
    names.push_back(info.name);
    EXPECT_TRUE(isDefault(info.settings));
  }
  EXPECT_EQ((std::vector<std::string>{"eth1", "eth2", "eth3", "mng0", "gem1"}), names);
  node().failNameLookup(INTERNAL, true);  // skipped, so it does not matter
  ASSERT_EQ(0u, ps().getInterfaceInfo(infos));
  node().failNameLookup(GEM1, true);  // a listed one empties the list
  EXPECT_EQ(1u, ps().getInterfaceInfo(infos));
  EXPECT_TRUE(infos.empty());

  // Every interface of the registry has settings, whatever its type.
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
  EXPECT_EQ(3u, cached().size());
  lock().failNextAttempts(3, sim::LockKind::shared);
  EXPECT_EQ(1u, ps().getStaticMACs(all));
  EXPECT_FALSE(ps().getMacEntriesCacheNum(ETH2, 0, count));
  EXPECT_EQ(1u, ps().getMacEntriesCache(copy));
  EXPECT_EQ(1u, ps().getStaticMACs(UNKNOWN_ID, out));
}

TEST_F(ReportsTest, DumpShowsCarrierLimitsWithoutLockingOrCreatingSettings) {
  ASSERT_EQ(0u, ps().setLimitStaticMACs(ETH2, 7));
  ASSERT_EQ(0u, ps().setLimitStaticMACs(GPON, 3));  // the outer interface's limit is not shown
  ASSERT_EQ(0u, ps().addStaticEntryApi(ETH2, macEntry(VLAN10, 0x01)));
  ASSERT_EQ(0u, ps().addStaticEntryVirtualPort(GPON, macEntry(MISSING_VLAN, 0x02), 2));
  const std::string expected =
      "\nMAC Entries Cache:\n-----------------\n"
      " Interface: 2\n"
      " \tVPort: 0, intfId: 2, max-static: 7\n"
      " \t\tMAC: 00:11:22:33:44:01, VLAN: 10, configured: 1\n"
      " Interface: 8\n"
      " \tVPort: 2, intfId: 10, max-static: 0\n"
      " \t\tMAC: 00:11:22:33:44:02, VLAN: 30, configured: 0\n"
      "\nMAC Entries:\n-----------\n"
      " Interface: 2\n"
      " \tMAC: 00:11:22:33:44:01, VLAN: 10\n"
      "\n";
  std::ostringstream other;  // other messages write nothing
  ps().externalMessage("portSecurity", "MacEntries", &other);
  ps().externalMessage("portsecurity", "macEntries", &other);
  EXPECT_EQ("", other.str());
  // Taking no lock, the dump leaves an armed lock failure for the next operation.
  lock().failNextAttempts(1);
  EXPECT_EQ(expected, dump());
  EXPECT_EQ(expected, dump()) << "the limit lookup must not add settings for interface 10";
  bool state = false;
  EXPECT_EQ(1u, ps().getState(state));
}

}  // namespace
}  // namespace entitytest
