// The module's entity as a real host sees it: through the host's BLEntity
// declared here from the host's binary contract, not from host/, so that a
// difference between those headers and the host's slot order shows. The
// module is loaded with dlopen, as a host loads it.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <rpc/pmap_clnt.h>

#include <algorithm>
#include <string>
#include <vector>

#include "ElfVtable.h"
#include "HostContract.h"
#include "HostSide.h"

namespace {

const unsigned long PROGRAM = 0x2000000d, VERSION = 1;
const unsigned long SET_STATE = 0x40047a28, SET_INTF_LIMIT = 0x40047a2c;

bool contains(const std::vector<unsigned long>& codes, unsigned long code) {
  return std::find(codes.begin(), codes.end(), code) != codes.end();
}

class EntitySlotsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    hostside::buildNode();
    module = dlopen(PS_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(nullptr, module) << dlerror();
    entity = static_cast<contract::BLEntity*>(hostside::registeredEntity("portsecurity"));
    ASSERT_NE(nullptr, entity);
    hostside::takeDriverCodes();
    hostside::takeLogLines();
  }

  void* slot(size_t index) const { return (*reinterpret_cast<void* const* const*>(entity))[index]; }

  void* module = nullptr;
  contract::BLEntity* entity = nullptr;
};

TEST_F(EntitySlotsTest, EveryOperationAnswersThroughItsSlot) {
  EXPECT_EQ("portsecurity", entity->name);

  entity->applyConfiguration(boost::shared_ptr<contract::Storage::Setting>());
  entity->saveConfiguration(boost::shared_ptr<contract::Storage::Setting>());
  EXPECT_TRUE(hostside::takeDriverCodes().empty()) << "the configuration operations do nothing";

  EXPECT_TRUE(entity->applyDefaultSettings());
  const std::vector<unsigned long> defaults = hostside::takeDriverCodes();
  EXPECT_TRUE(contains(defaults, SET_STATE));
  EXPECT_TRUE(contains(defaults, SET_INTF_LIMIT));
  EXPECT_EQ(0u, hostside::openDriverHandles());

  std::list<std::string> dependencies = {"stale"};
  entity->getDependencies(dependencies);
  const std::vector<std::string> names = hostside::serviceEntityNames();
  EXPECT_EQ(std::list<std::string>(names.begin(), names.end()), dependencies);

  const size_t subscribers = hostside::vlanCreatedSubscribers();
  EXPECT_TRUE(entity->start());
  EXPECT_EQ(subscribers + 1, hostside::vlanCreatedSubscribers());
  EXPECT_TRUE(entity->stop());
  const std::vector<std::string> threads = hostside::registeredThreads();
  EXPECT_NE(threads.end(), std::find(threads.begin(), threads.end(), "PortSecurity_mng"));
  EXPECT_TRUE(hostside::takeLogLines().empty());
  pmap_unset(PROGRAM, VERSION);
}

TEST_F(EntitySlotsTest, DestructorEntriesFollowTheOperations) {
  // Compared by address rather than called: the entity is the live singleton.
  EXPECT_EQ(dlsym(module, contract::PORTSECURITY_SLOTS[6].c_str()), slot(6));
  EXPECT_EQ(dlsym(module, contract::PORTSECURITY_SLOTS[7].c_str()), slot(7));
  for (size_t i = 2; i < 6; ++i)
    EXPECT_EQ(dlsym(module, contract::PORTSECURITY_SLOTS[i].c_str()), slot(i)) << "slot " << i;
}

TEST(VtableLayoutTest, SharedObjectHoldsTheHostsSlotOrder) {
  std::vector<std::string> slots;
  std::string error;
  ASSERT_TRUE(seam::readVtableSlots(PS_MODULE_PATH, "_ZTV12PortSecurity", slots, error)) << error;
  EXPECT_EQ(contract::PORTSECURITY_SLOTS, slots);
}

}  // namespace
