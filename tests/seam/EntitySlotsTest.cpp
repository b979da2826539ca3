// The module's entity as a real host sees it: through the host's BLEntity
// declared here from the host's binary contract, not from host/, so that a
// difference between those headers and the host's slot order shows. The
// module is loaded with dlopen, as a host loads it, into a process that has
// the host contracts but was not linked against it.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <rpc/pmap_clnt.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include "BuildVersion.h"
#include "ElfVtable.h"
#include "HostContract.h"
#include "HostSide.h"

namespace {

// While set, this process can create no thread: pthread_create is interposed.
std::atomic<bool> refuseThreads{false};
// While set, a refused thread also leaves the process without memory: every
// operator new after the refusal throws, until the test clears it.
std::atomic<bool> starveAfterRefusal{false};
std::atomic<bool> starving{false};

typedef int (*createThread_t)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);

}  // namespace

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*routine)(void*), void* argument) {
  if (refuseThreads) {
    if (starveAfterRefusal) starving = true;
    return EAGAIN;
  }
  static const createThread_t next =
      reinterpret_cast<createThread_t>(dlsym(RTLD_NEXT, "pthread_create"));
  return next(thread, attributes, routine, argument);
}

// The process's allocator, the module's included; the sized and array forms
// of the library come here too.
void* operator new(std::size_t size) {
  void* memory = starving ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
// Paired with the operator new above, which GCC cannot see.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

const unsigned long SET_STATE = 0x40047a28, SET_INTF_LIMIT = 0x40047a2c;

bool contains(const std::vector<unsigned long>& codes, unsigned long code) {
  return std::find(codes.begin(), codes.end(), code) != codes.end();
}

class EntitySlotsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    hostside::buildNode();
    static bool loaded = false;  // the process is not linked against the module
    if (!loaded) {
      ASSERT_EQ(nullptr, hostside::registeredEntity("portsecurity"));
    }
    module = dlopen(PS_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);  // every host symbol resolves
    ASSERT_NE(nullptr, module) << dlerror();
    loaded = true;
    entity = static_cast<contract::BLEntity*>(hostside::registeredEntity("portsecurity"));
    ASSERT_NE(nullptr, entity);
    hostside::takeDriverCodes();
    hostside::takeLogLines();
  }
  void TearDown() override { pmap_unset(0x2000000d, 1); }

  void* module = nullptr;
  contract::BLEntity* entity = nullptr;
};

// What a host looks up in the module, and reports having loaded.
TEST_F(EntitySlotsTest, ModuleRegistersOnceAndExportsItsEntryPointsAndThisBuildsVersion) {
  EXPECT_EQ(module, dlopen(PS_MODULE_PATH, RTLD_NOW | RTLD_LOCAL));
  EXPECT_EQ(entity, hostside::registeredEntity("portsecurity")) << "registered twice";
  for (const char* symbol : {"rpcPortsecurityStart", "checkInterrupt", "rpcProxyRegisterSvc"})
    EXPECT_NE(nullptr, dlsym(module, symbol)) << symbol;
  const char* version = static_cast<const char*>(dlsym(module, "portsecurityModuleVersion"));
  ASSERT_NE(nullptr, version);
  EXPECT_STREQ(PS_VERSION " (" PS_COMMIT ")", version);
}

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
}

TEST_F(EntitySlotsTest, StartWithoutItsThreadGivesFalseAndOneLogLineAndLeavesNothingHalfStarted) {
  refuseThreads = true;
  EXPECT_FALSE(entity->start());  // through the slot: an exception here would end the host
  refuseThreads = false;
  const std::vector<std::string> lines = hostside::takeLogLines();
  ASSERT_EQ(1u, lines.size());
  EXPECT_EQ(0u, lines[0].find("PortSecurity::start:1:RPC thread not started: ")) << lines[0];

  EXPECT_TRUE(entity->stop());
  EXPECT_TRUE(entity->start());
  EXPECT_TRUE(entity->stop());

  // Nothing escapes even when reporting the failure runs out of memory.
  refuseThreads = true;
  starveAfterRefusal = true;
  const bool started = entity->start();
  starving = false;
  starveAfterRefusal = false;
  refuseThreads = false;
  EXPECT_FALSE(started);
  hostside::takeLogLines();
  EXPECT_TRUE(entity->stop());
}

// The slot order the module was really compiled with, read from the
// vtable's relocations in the built object: it names each slot by its symbol
// even where the compiler folded two identical functions into one address.
TEST(VtableLayoutTest, SharedObjectHoldsTheHostsSlotOrder) {
  std::vector<std::string> slots;
  std::string error;
  ASSERT_TRUE(seam::readVtableSlots(PS_MODULE_PATH, "_ZTV12PortSecurity", slots, error)) << error;
  EXPECT_EQ(contract::PORTSECURITY_SLOTS, slots);
}

}  // namespace
