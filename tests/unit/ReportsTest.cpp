// Interface reports, the static-entry reports, the entries-cache count and copy, and
// the operator's dump, through the entity's public operations.
#include "EntityTest.h"

namespace entitytest {
namespace {

bool isDefault(const PortSecurity::interfaceSettings_t& settings) {
  return !settings.state && settings.limitDynamicMACs == 300 && settings.limitStaticMACs == 20 &&
         settings.vlanLimitDynamicMACs.empty();
}

class ReportsTest : public EntityTest {};

TEST_F(ReportsTest, SingleInfoCarriesNameTypeAndSettingsOrDefaults) {
  PortSecurity::interfaceInfo_t info;
  ASSERT_EQ(0u, ps().getInterfaceInfo(ETH1, info));
  EXPECT_EQ("eth1", info.name);
  EXPECT_TRUE(isDefault(info.settings));
  ASSERT_EQ(0u, ps().setLimitDynamicMACs(GEM1, VLAN20, 4u));
  ASSERT_EQ(0u, ps().getInterfaceInfo(GEM1, info));
  EXPECT_EQ("gem1", info.name);
  EXPECT_EQ(Interfaces::IF_TYPE_GEM, info.type);
  EXPECT_EQ(4u, info.settings.vlanLimitDynamicMACs.at(VLAN20));
  EXPECT_EQ(1u, ps().getInterfaceInfo(UNKNOWN_ID, info));
  node().failTypeLookup(true);
  EXPECT_EQ(1u, ps().getInterfaceInfo(ETH2, info));
  EXPECT_EQ("eth2", info.name);  // written before the type lookup failed
  lock().failNextAttempts(1, sim::LockKind::shared);
  EXPECT_EQ(1u, ps().getInterfaceInfo(ETH1, info));
}

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
