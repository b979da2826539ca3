// The entity object itself: its registration at load, its initial state and
// dependencies, and the operations that change nothing.
#include "EntityTest.h"
#include "Network.h"

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

TEST_F(EntityObjectTest, StartsEmptyAndReplacesTheDependencyListInOrder) {
  bool state = true;
  EXPECT_EQ(0u, ps().getState(state));
  EXPECT_FALSE(state);
  PortSecurity::macEntryMap_t entries;
  EXPECT_EQ(0u, ps().getStaticMACs(entries));
  EXPECT_TRUE(entries.empty());
  std::list<std::string> dependencies = {"stale"};
  ps().getDependencies(dependencies);
  EXPECT_EQ((std::list<std::string>{Interfaces::instance().getName(),
                                    vqbridge::instance().getName(), Network::instance().getName()}),
            dependencies);
}

TEST_F(EntityObjectTest, StopAndConfigurationOperationsChangeNothing) {
  ASSERT_EQ(0u, ps().setState(ETH1, true));
  driver().clearCommands();
  EXPECT_TRUE(ps().stop());  // never started
  EXPECT_TRUE(ps().stop());
  boost::shared_ptr<Storage::Setting> setting(new Storage::Setting);
  ps().applyConfiguration(setting);
  ps().saveConfiguration(setting);
  ps().applyConfiguration(boost::shared_ptr<Storage::Setting>());
  EXPECT_EQ(Lines{}, takeSent());
  bool state = false;
  EXPECT_EQ(0u, ps().getState(ETH1, state));
  EXPECT_TRUE(state);
  EXPECT_EQ(1, setting.use_count());
}

}  // namespace
}  // namespace entitytest
