// The entity object itself: its registration at load, its initial state,
// its dependencies, the configuration no-ops and the default settings record.
#include "BLLManager.h"
#include "EntityFixture.h"
#include "Network.h"
#include "vqbridge.h"

namespace entitytest {
namespace {

TEST(EntityRegistrationTest, LoadingRegistersTheSingletonOnce) {
  std::vector<BLEntity*> registered;
  for (BLEntity* entity : sim::HostRegistry::instance().entities())
    if (entity->getName() == "portsecurity") registered.push_back(entity);
  ASSERT_EQ(1u, registered.size());
  EXPECT_EQ(static_cast<BLEntity*>(&PortSecurity::instance()), registered[0]);
}

class EntityObjectTest : public EntityTest {};

TEST_F(EntityObjectTest, StartsEmptyWithGlobalStateOff) {
  EXPECT_EQ("portsecurity", ps().getName());
  bool state = true;
  EXPECT_EQ(0u, ps().getState(state));
  EXPECT_FALSE(state);
  PortSecurity::macEntryMap_t entries;
  EXPECT_EQ(0u, ps().getStaticMACs(entries));
  EXPECT_TRUE(entries.empty());
  EXPECT_EQ(1u, ps().getState(ETH1, state));  // no settings entry yet
  // The driver handle is opened on the bridge's port-security table.
  ASSERT_EQ(0u, ps().setState(true));
  EXPECT_EQ(1u, commands().size());
}

TEST_F(EntityObjectTest, DependenciesReplaceTheListInOrder) {
  std::list<std::string> dependencies = {"stale"};
  ps().getDependencies(dependencies);
  EXPECT_EQ((std::list<std::string>{Interfaces::instance().getName(),
                                    vqbridge::instance().getName(), Network::instance().getName()}),
            dependencies);
  EXPECT_EQ(3u, dependencies.size());
}

TEST_F(EntityObjectTest, StopWithoutStartAndTwiceReturnsTrue) {
  EXPECT_TRUE(ps().stop());
  EXPECT_TRUE(ps().stop());
  EXPECT_TRUE(commands().empty());
}

TEST_F(EntityObjectTest, ConfigurationOperationsChangeNothing) {
  ASSERT_EQ(0u, ps().setState(ETH1, true));
  driver().clearCommands();
  boost::shared_ptr<Storage::Setting> setting(new Storage::Setting);
  ps().applyConfiguration(setting);
  ps().saveConfiguration(setting);
  ps().applyConfiguration(boost::shared_ptr<Storage::Setting>());
  EXPECT_TRUE(commands().empty());
  bool state = false;
  EXPECT_EQ(0u, ps().getState(ETH1, state));
  EXPECT_TRUE(state);
  EXPECT_EQ(1, setting.use_count());
}

TEST_F(EntityObjectTest, DefaultSettingsHoldOneDefaultRecordPerInterface) {
  addInterface(ETH1 + 100, Interfaces::IF_TYPE_ETHERNET, "eth101");
  PortSecurity::settings_t settings;
  EXPECT_FALSE(settings.state);
  EXPECT_TRUE(settings.staticEntries.empty());
  ASSERT_EQ(node().interfaces().size(), settings.interfaces.size());
  const PortSecurity::interfaceSettings_t& eth = settings.interfaces.at(ETH1 + 100);
  EXPECT_FALSE(eth.state);
  EXPECT_EQ(300u, eth.limitDynamicMACs);
  EXPECT_EQ(20u, eth.limitStaticMACs);

  node().reset();
  EXPECT_TRUE(PortSecurity::settings_t().interfaces.empty());
}

}  // namespace
}  // namespace entitytest
