// The module as a host loads it: with dlopen, into a process that has the
// host contracts but was not linked against the module.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

#include "BLEntity.h"
#include "BuildVersion.h"
#include "HostRegistry.h"

namespace {

size_t entitiesNamed(const std::string& name) {
  size_t count = 0;
  for (BLEntity* entity : sim::HostRegistry::instance().entities())
    if (entity->getName() == name) ++count;
  return count;
}

TEST(ModuleLoadTest, LoadingRegistersExactlyOnePortSecurityEntity) {
  ASSERT_EQ(0u, entitiesNamed("portsecurity"));
  // Every host symbol must resolve at load, against this process's host.
  void* module = dlopen(PS_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(nullptr, module) << dlerror();
  EXPECT_EQ(1u, entitiesNamed("portsecurity"));
  EXPECT_NE(nullptr, dlsym(module, "rpcPortsecurityStart"));
  EXPECT_NE(nullptr, dlsym(module, "checkInterrupt"));
  EXPECT_NE(nullptr, dlsym(module, "rpcProxyRegisterSvc"));
  // What a host reports having loaded: this build's version and commit.
  const char* version = static_cast<const char*>(dlsym(module, "portsecurityModuleVersion"));
  ASSERT_NE(nullptr, version);
  EXPECT_STREQ(PS_VERSION " (" PS_COMMIT ")", version);

  // Loading it again is the same module: nothing is registered twice.
  void* again = dlopen(PS_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
  EXPECT_EQ(module, again);
  EXPECT_EQ(1u, entitiesNamed("portsecurity"));
}

}  // namespace
