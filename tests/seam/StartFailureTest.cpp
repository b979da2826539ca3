// A start whose RPC thread cannot be created: the host calls start() through
// its vtable and must get false back, never an exception. Thread creation is
// made to fail by interposing pthread_create in this test process.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <rpc/pmap_clnt.h>

#include <atomic>
#include <cerrno>
#include <string>
#include <vector>

#include "HostContract.h"
#include "HostSide.h"

namespace {

std::atomic<bool> refuseThreads{false};

typedef int (*createThread_t)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);

}  // namespace

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*routine)(void*), void* argument) {
  if (refuseThreads) return EAGAIN;
  static const createThread_t next =
      reinterpret_cast<createThread_t>(dlsym(RTLD_NEXT, "pthread_create"));
  return next(thread, attributes, routine, argument);
}

namespace {

TEST(StartFailureTest, ThreadThatCannotBeCreatedGivesFalseAndOneLogLine) {
  hostside::buildNode();
  ASSERT_NE(nullptr, dlopen(PS_MODULE_PATH, RTLD_NOW | RTLD_LOCAL)) << dlerror();
  contract::BLEntity* entity =
      static_cast<contract::BLEntity*>(hostside::registeredEntity("portsecurity"));
  ASSERT_NE(nullptr, entity);
  hostside::takeLogLines();

  refuseThreads = true;
  EXPECT_FALSE(entity->start());
  refuseThreads = false;
  const std::vector<std::string> lines = hostside::takeLogLines();
  ASSERT_EQ(1u, lines.size());
  EXPECT_EQ(0u, lines[0].find("PortSecurity::start:1:RPC thread not started: ")) << lines[0];

  // Nothing was left half started: the next start and stop work.
  EXPECT_TRUE(entity->stop());
  EXPECT_TRUE(entity->start());
  EXPECT_TRUE(entity->stop());
  pmap_unset(0x2000000d, 1);
}

}  // namespace
