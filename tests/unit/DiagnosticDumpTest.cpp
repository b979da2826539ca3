// The operator's dump of the entries cache and the static entries.
#include "EntryFixture.h"

namespace entitytest {
namespace {

class DiagnosticDumpTest : public EntryTest {};

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
  EXPECT_EQ(expected, dump());
  EXPECT_EQ(expected, dump()) << "the limit lookup must not add settings for interface 10";
}

}  // namespace
}  // namespace entitytest
