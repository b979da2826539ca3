// Lookups in the cache of static entries requested per interface and virtual
// port. Each takes the shared host lock; the iterators handed back point into
// the live cache, so callers hold the exclusive lock across lookup and use.

#include <cstring>

#include "BLLManager.h"
#include "PortSecurity.h"

namespace {

bool sameEntry(const PortSecurity::macEntriesCacheData_t& a,
               const PortSecurity::macEntriesCacheData_t& b) {
  return a.vlan == b.vlan && std::memcmp(a.mac, b.mac, sizeof a.mac) == 0;
}

}  // namespace

// The first record with the same MAC and VLAN, `configured` ignored.
bool PortSecurity::findMacEntriesCacheByEntry(macEntriesCacheData_t data,
                                              cacheIntfIterator_t* intfIt,
                                              cacheVPortIterator_t* vportIt,
                                              cacheEntryIterator_t* entryIt) {
  BLLManager::sharedLock_t lock;
  if (!lock.isLocked()) return false;
  for (cacheIntfIterator_t i = macEntriesCache.begin(); i != macEntriesCache.end(); ++i) {
    for (cacheVPortIterator_t v = i->second.begin(); v != i->second.end(); ++v) {
      std::list<macEntriesCacheData_t>& entries = v->second.entries;
      for (cacheEntryIterator_t e = entries.begin(); e != entries.end(); ++e) {
        if (!sameEntry(*e, data)) continue;
        if (intfIt != nullptr) *intfIt = i;
        if (vportIt != nullptr) *vportIt = v;
        if (entryIt != nullptr) *entryIt = e;
        return true;
      }
    }
  }
  return false;
}

// The first virtual port carried by `intfId`; 0 finds one without a carrier.
bool PortSecurity::findMacEntriesCacheByIntfId(unsigned int intfId, cacheIntfIterator_t* intfIt,
                                               cacheVPortIterator_t* vportIt) {
  BLLManager::sharedLock_t lock;
  if (!lock.isLocked()) return false;
  for (cacheIntfIterator_t i = macEntriesCache.begin(); i != macEntriesCache.end(); ++i) {
    for (cacheVPortIterator_t v = i->second.begin(); v != i->second.end(); ++v) {
      if (v->second.intfId != intfId) continue;
      if (intfIt != nullptr) *intfIt = i;
      if (vportIt != nullptr) *vportIt = v;
      return true;
    }
  }
  return false;
}

bool PortSecurity::findMacEntriesCacheByIntfVPort(unsigned int intf, unsigned int vport,
                                                  cacheIntfIterator_t* intfIt,
                                                  cacheVPortIterator_t* vportIt) {
  BLLManager::sharedLock_t lock;
  if (!lock.isLocked()) return false;
  cacheIntfIterator_t i = macEntriesCache.find(intf);
  if (i == macEntriesCache.end()) return false;
  cacheVPortIterator_t v = i->second.find(vport);
  if (v == i->second.end()) return false;
  if (intfIt != nullptr) *intfIt = i;
  if (vportIt != nullptr) *vportIt = v;
  return true;
}

bool PortSecurity::getMacEntriesCacheNum(unsigned int intf, unsigned int vport, unsigned int& num) {
  BLLManager::sharedLock_t lock;
  if (!lock.isLocked()) return false;
  num = 0;
  cacheIntfIterator_t intfIt;
  cacheVPortIterator_t vportIt;
  if (findMacEntriesCacheByIntfVPort(intf, vport, &intfIt, &vportIt))
    num = static_cast<unsigned int>(vportIt->second.entries.size());
  return true;
}

// A deep copy, so the caller's snapshot outlives the lock.
unsigned int PortSecurity::getMacEntriesCache(macEntriesCache_t& out) const {
  BLLManager::sharedLock_t lock;
  if (!lock.isLocked()) return 1;
  if (&out == &macEntriesCache) return 0;
  out.clear();
  out = macEntriesCache;
  return 0;
}
