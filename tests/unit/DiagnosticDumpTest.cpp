// The operator's dump of the entries cache and the static entries.
#include "EntityWorld.h"

namespace {

class DiagnosticDumpTest : public EntityWorldTest {};

TEST_F(DiagnosticDumpTest, EmptyEntityWritesOnlyTheTitles) {
  EXPECT_EQ("\nMAC Entries Cache:\n-----------------\n\nMAC Entries:\n-----------\n\n", dump());
}

TEST_F(DiagnosticDumpTest, OtherMessagesWriteNothing) {
  std::ostringstream out;
  ps().externalMessage("portSecurity", "MacEntries", &out);
  ps().externalMessage("portsecurity", "macEntries", &out);
  EXPECT_EQ("", out.str());
}

TEST_F(DiagnosticDumpTest, ShowsCarrierLimitsWithoutCreatingSettings) {
  addInterface(5, Interfaces::IF_TYPE_ETHERNET);
  addInterface(8, Interfaces::IF_TYPE_GPON);
  addInterface(41, Interfaces::IF_TYPE_GEM);
  node().bindGem(sim::GemBinding{8, 2, 41});
  node().addVlanQuietly(100);
  ASSERT_EQ(0u, ps().setLimitStaticMACs(5, 7));
  ASSERT_EQ(0u, ps().setLimitStaticMACs(8, 3));  // the outer interface's limit is not shown
  ASSERT_EQ(0u, ps().addStaticEntryApi(5, entry(100, 0x01)));
  ASSERT_EQ(0u, ps().addStaticEntryVirtualPort(8, entry(200, 0x02), 2));
  const std::string expected =
      "\nMAC Entries Cache:\n-----------------\n"
      " Interface: 5\n"
      " \tVPort: 0, intfId: 5, max-static: 7\n"
      " \t\tMAC: 00:11:22:33:44:01, VLAN: 100, configured: 1\n"
      " Interface: 8\n"
      " \tVPort: 2, intfId: 41, max-static: 0\n"
      " \t\tMAC: 00:11:22:33:44:02, VLAN: 200, configured: 0\n"
      "\nMAC Entries:\n-----------\n"
      " Interface: 5\n"
      " \tMAC: 00:11:22:33:44:01, VLAN: 100\n"
      "\n";
  EXPECT_EQ(expected, dump());
  EXPECT_EQ(expected, dump()) << "the limit lookup must not add settings for interface 41";
}

}  // namespace
