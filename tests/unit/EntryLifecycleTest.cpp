// One cached entry of a GPON virtual port followed through its life, as the
// host's GEM and VLAN events come and go.
#include "EntityWorld.h"

namespace {

typedef std::vector<std::string> Lines;

class EntryLifecycleTest : public EntityWorldTest {
 protected:
  void SetUp() override {
    EntityWorldTest::SetUp();
    addInterface(8, Interfaces::IF_TYPE_GPON);
    addInterface(41, Interfaces::IF_TYPE_GEM);
    addInterface(42, Interfaces::IF_TYPE_GEM);
  }

  std::map<unsigned short, unsigned int> vlanLimitsOf(unsigned int id) {
    PortSecurity::interfaceSettingsMap_t settings;
    EXPECT_EQ(0u, ps().getInterfaceSettings(settings));
    return settings[id].vlanLimitDynamicMACs;
  }
};

TEST_F(EntryLifecycleTest, GponEntryFollowsItsGemInterfaceAndVlan) {
  // Neither the GEM interface nor the VLAN exists yet: cached only.
  ASSERT_EQ(0u, ps().addStaticEntryVirtualPort(8, entry(100, 0x01), 2));
  EXPECT_EQ(Lines{}, takeSent());
  EXPECT_EQ(Lines{"8.2@0:v100/01=0"}, cached());

  node().raiseGemEvent(41, 8, 2, Interfaces::GPON_GEM_BOUND);
  EXPECT_EQ(Lines{}, takeSent());
  EXPECT_EQ(Lines{"8.2@41:v100/01=0"}, cached());

  ASSERT_TRUE(node().createVlan(100));
  EXPECT_EQ(Lines{"add 41 v100/01"}, takeSent());
  EXPECT_EQ(Lines{"8.2@41:v100/01=1"}, cached());
  EXPECT_EQ(Lines{"v100/01"}, staticOn(41));

  // Deleting the VLAN withdraws the entry and the VLAN's per-VLAN limits.
  node().addVlanQuietly(1);
  ASSERT_EQ(0u, ps().setLimitDynamicMACs(41, 100, 5));
  ASSERT_EQ(0u, ps().setLimitDynamicMACs(41, 1, 5));
  takeSent();
  ASSERT_TRUE(node().deleteVlan(100));
  EXPECT_EQ((Lines{"del 41 v100/01", "del-vlan-limit 41 v100 0"}), takeSent());
  EXPECT_EQ(Lines{"8.2@41:v100/01=0"}, cached());
  EXPECT_EQ(Lines{}, staticOn(41));
  EXPECT_EQ((std::map<unsigned short, unsigned int>{{1, 5}}), vlanLimitsOf(41));

  ASSERT_TRUE(node().createVlan(100));
  EXPECT_EQ(Lines{"add 41 v100/01"}, takeSent());
  EXPECT_EQ(Lines{"8.2@41:v100/01=1"}, cached());

  // A rebind to the same GEM interface withdraws, then applies again.
  node().raiseGemEvent(41, 8, 2, Interfaces::GPON_GEM_REBOUND);
  EXPECT_EQ((Lines{"del 41 v100/01", "add 41 v100/01"}), takeSent());
  EXPECT_EQ(Lines{"8.2@41:v100/01=1"}, cached());

  // A plain bind to another GEM interface leaves applied entries where they are.
  node().raiseGemEvent(42, 8, 2, Interfaces::GPON_GEM_BOUND);
  EXPECT_EQ(Lines{}, takeSent());
  EXPECT_EQ(Lines{"8.2@42:v100/01=1"}, cached());
  EXPECT_EQ(Lines{"v100/01"}, staticOn(41));
  EXPECT_EQ(Lines{}, takeLogged());
}

}  // namespace
