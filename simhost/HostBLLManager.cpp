// The host's BLLManager: registration goes to the registry, the scoped lock
// objects to the business-logic lock.
#include "BLLManager.h"

#include "BusinessLock.h"
#include "HostRegistry.h"

BLLManager::BLLManager() = default;

BLLManager::~BLLManager() = default;

void BLLManager::registerEntity(BLEntity& entity) {
  sim::HostRegistry::instance().addEntity(entity);
}

void BLLManager::registerThread(const std::string& name) {
  sim::HostRegistry::instance().addThread(name);
}

BLLManager::exclusiveLock_t::exclusiveLock_t()
    : locked(sim::BusinessLock::instance().acquireExclusive()) {}

BLLManager::exclusiveLock_t::~exclusiveLock_t() {
  if (locked) sim::BusinessLock::instance().releaseExclusive();
}

BLLManager::sharedLock_t::sharedLock_t() : locked(sim::BusinessLock::instance().acquireShared()) {}

BLLManager::sharedLock_t::~sharedLock_t() {
  if (locked) sim::BusinessLock::instance().releaseShared();
}
