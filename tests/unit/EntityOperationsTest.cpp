// The factory reset: its command order, and the management interface's own
// entry, with the host failures that stop it. Where refusals stop the reset:
// the model test. Registration at load, the dependency list and the
// operations that do nothing: the seam suite.
#include "EntityTest.h"

namespace entitytest {
namespace {

class DefaultSettingsTest : public EntityTest {
 protected:
  // A smaller node than the shared one keeps the reset's command list short.
  void SetUp() override {
    EntityTest::SetUp();
    node().reset();
    // Listed out of order: the reset walks interfaces by ascending id.
    for (unsigned int id : {7u, 5u, 3u})
      node().addInterface({id, Interfaces::IF_TYPE_ETHERNET, "eth" + std::to_string(id)});
    for (unsigned short vlan : {10, 20, 30}) node().addVlanQuietly(vlan);
    node().setManagement(sim::ManagementConfig{7, {0x00, 0x11, 0x22, 0x33, 0x44, 0x55}, 10});
  }
};

TEST_F(DefaultSettingsTest, ResetSendsItsCommandsInOrderAndEmptiesTheCache) {
  for (unsigned short vlan : {10, 20, 30}) ASSERT_EQ(0u, ps().setLimitDynamicMACs(3, vlan, 5));
  ASSERT_EQ(0u, ps().addStaticEntryVirtualPort(5, macEntry(10, 0x01), 0));
  driver().clearCommands();
  driver().refuseCall(4);  // interface 3's static limit
  EXPECT_TRUE(ps().applyDefaultSettings());
  EXPECT_EQ((Lines{"state 0", "intf-state 3 0", "dynamic-limit 3 300", "static-limit 3 20 refused",
                   "del-vlan-limit 3 v10 0", "del-vlan-limit 3 v20 0", "del-vlan-limit 3 v30 0",
                   "intf-state 5 0", "dynamic-limit 5 300", "static-limit 5 20", "intf-state 7 0",
                   "dynamic-limit 7 300", "static-limit 7 20", "del 5 v10/01", "add 7 v10/55"}),
            takeSent());
  EXPECT_EQ(Lines{}, cached());
}

TEST_F(DefaultSettingsTest, ManagementEntryReplacesTheManagementInterfacesEntriesOrLogsWhy) {
  const std::string prefix = "0|Error in PortSecurity::updateMngStaticEntry: ";
  addStatic(7, 20, {0x01});
  addStatic(5, 20, {0x02});
  node().failNetworkInfo(5);
  EXPECT_EQ(1u, ps().updateMngStaticEntry());
  EXPECT_EQ(Lines{prefix + "NetworkInfo read failed. Error 5\n"}, takeLogged());
  node().failNetworkInfo(0);
  node().failMngIdGet(6);
  EXPECT_EQ(1u, ps().updateMngStaticEntry());
  EXPECT_EQ(Lines{prefix + "interfaceMngIdGet read failed. Error 6\n"}, takeLogged());
  node().failMngIdGet(0);
  EXPECT_EQ(Lines{}, takeSent());

  driver().refuseNext(PSIOC_DEL_STATIC, 1);
  EXPECT_EQ(1u, ps().updateMngStaticEntry());
  EXPECT_EQ((Lines{"0|PortSecurity::clearStaticEntries error at  delStaticEntry intfid: 7. Break "
                   "the loop and return.",
                   prefix + "clearStaticEntries failed.\n"}),
            takeLogged());
  driver().refuseNext(PSIOC_ADD_STATIC, 1);
  EXPECT_EQ(1u, ps().updateMngStaticEntry());
  EXPECT_EQ(Lines{prefix + "addStaticEntry for vlan 10 failed.\n"}, takeLogged());
  EXPECT_EQ((Lines{"del 7 v20/01 refused", "del 7 v20/01", "add 7 v10/55 refused"}), takeSent());
  EXPECT_EQ(0u, ps().updateMngStaticEntry());
  EXPECT_EQ(Lines{"add 7 v10/55"}, takeSent());
  EXPECT_EQ(Lines{"v10/55"}, staticOn(7));
  EXPECT_EQ(Lines{"v20/02"}, staticOn(5));
}

// Switching every interface of an empty registry succeeds and sends nothing;
// a report whose type lookup fails after the name lookup keeps the name.
TEST_F(DefaultSettingsTest, EdgesOfTheRegistryLeaveWhatTheyShould) {
  PortSecurity::interfaceInfo_t info;
  node().failTypeLookup(true);
  EXPECT_EQ(1u, ps().getInterfaceInfo(5, info));
  EXPECT_EQ("eth5", info.name);
  node().failTypeLookup(false);
  node().reset();
  driver().clearCommands();
  EXPECT_EQ(0u, ps().setStateAll(true));
  EXPECT_EQ(Lines{}, takeSent());
}

}  // namespace
}  // namespace entitytest
