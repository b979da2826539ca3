// Requests for virtual-port entries refused before the cache because the host
// fails, with their log lines. Everything else about static entries, the
// cache and the host's events that apply and withdraw them: the model test.
#include "EntityTest.h"

namespace entitytest {
namespace {

class StaticEntriesTest : public EntityTest {};

TEST_F(StaticEntriesTest, RequestsRefusedBeforeTheCacheLogByKind) {
  const PortSecurity::macEntry_t entry = macEntry(VLAN10, 0x01);
  EXPECT_EQ(1u, ps().addStaticEntryApi(UNKNOWN_ID, entry));
  EXPECT_EQ(Lines{}, takeLogged());
  EXPECT_EQ(1u, ps().addStaticEntryApi(GPON, entry));
  EXPECT_EQ(1u, ps().addStaticEntryVirtualPort(ETH2, entry, 3));
  lock().failNextAttempts(1, sim::LockKind::shared);
  EXPECT_EQ(1u, ps().addStaticEntryVirtualPort(GPON, entry, 1));
  node().failTypeLookup(true);
  EXPECT_EQ(1u, ps().addStaticEntryApi(ETH2, entry));
  EXPECT_EQ((Lines{"1|addStaticEntryVirtualPort:906:Invalid interface type: 4 for interface: 8\n",
                   "1|addStaticEntryVirtualPort:920:Invalid interface type: 1 for interface: 2\n",
                   "0|addStaticEntryVirtualPort:936:getStaticMacLimit failed for intf: 9\n",
                   "0|addStaticEntryVirtualPort:892:interfaceGetTypeById failed for intf: 2\n"}),
            takeLogged());
  EXPECT_EQ(Lines{}, takeSent());
  EXPECT_EQ(Lines{}, cached());
}

}  // namespace
}  // namespace entitytest
