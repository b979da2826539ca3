// Keeps the driver in step with the cached entries as VLANs are created and
// deleted and GEM interfaces are bound to GPON virtual ports. Each handler
// holds the exclusive lock for its whole walk.

#include <cstring>

#include "BLLManager.h"
#include "OperationLog.h"
#include "PortSecurity.h"
#include "vqbridge.h"

namespace {

PortSecurity::macEntry_t staticEntry(PortSecurity::macEntriesCacheData_t const& record) {
  PortSecurity::macEntry_t entry;
  entry.vlan = record.vlan;
  std::memcpy(entry.mac, record.mac, sizeof entry.mac);
  return entry;
}

// Visits every cached entry with the record of its virtual port: interfaces
// ascending, virtual ports ascending, entries in list order.
template <class Visitor>
void forEachCachedEntry(PortSecurity::macEntriesCache_t& cache, Visitor visit) {
  for (PortSecurity::macEntriesCache_t::value_type& perIntf : cache)
    for (PortSecurity::vportCache_t::value_type& perVPort : perIntf.second)
      for (PortSecurity::macEntriesCacheData_t& cached : perVPort.second.entries)
        visit(perVPort.second, cached);
}

}  // namespace

void PortSecurity::vlanAddEvent(char const* /*bridge*/, unsigned short vlan) {
  BLLManager::exclusiveLock_t lock;
  if (!lock.isLocked()) {
    logOperationFailure("vlanAddEvent", 1706, "lock failed for vid: ", vlan);
    return;
  }
  forEachCachedEntry(macEntriesCache, [&](macEntriesCacheVPortData_t& record,
                                          macEntriesCacheData_t& cached) {
    if (cached.vlan != vlan || record.intfId == 0 || cached.configured) return;
    if (addStaticEntry(record.intfId, staticEntry(cached)) == 0)
      cached.configured = true;
    else
      logOperationFailure("vlanAddEvent", 1731, "addStaticEntry failed for intf: ", record.intfId);
  });
}

bool PortSecurity::vlanDelEvent(char const* /*bridge*/, unsigned short vlan) {
  BLLManager::exclusiveLock_t lock;
  if (!lock.isLocked()) {
    logOperationFailure("vlanDelEvent", 1754, "lock failed for vid: ", vlan);
    return true;
  }
  // Withdrawn records stay cached so that the VLAN's return reapplies them.
  // The log text names the add, although the deletion failed: kept as is.
  forEachCachedEntry(macEntriesCache, [&](macEntriesCacheVPortData_t& record,
                                          macEntriesCacheData_t& cached) {
    if (cached.vlan != vlan || !cached.configured) return;
    if (delStaticEntry(record.intfId, staticEntry(cached)) == 0)
      cached.configured = false;
    else
      logOperationFailure("vlanDelEvent", 1780, "addStaticEntry failed for intf: ", record.intfId);
  });

  // The removal erases the visited element: step past it first, and look
  // the settings up again before each test for the end.
  for (interfaceSettingsMap_t::iterator intfIt = interfaces.begin(); intfIt != interfaces.end();
       ++intfIt) {
    const unsigned int id = intfIt->first;
    std::map<unsigned short, unsigned int>::iterator limitIt =
        interfaces[id].vlanLimitDynamicMACs.begin();
    while (limitIt != interfaces[id].vlanLimitDynamicMACs.end()) {
      std::map<unsigned short, unsigned int>::iterator current = limitIt++;
      if (current->first != vlan) continue;
      if (setLimitDynamicMACs(id, vlan, 0) != 0) return false;
    }
  }
  return true;
}

bool PortSecurity::GPONGemEvent(int gemIntf, int intf, int vport,
                                Interfaces::interfaceGPONEvent_t kind) {
  const bool rebind = kind == Interfaces::GPON_GEM_REBOUND;
  if (kind != Interfaces::GPON_GEM_BOUND && !rebind) return true;

  BLLManager::exclusiveLock_t lock;
  if (!lock.isLocked()) {
    logOperationFailure("GPONGemEvent", 1818, "lock failed for intfid: ", gemIntf);
    return true;
  }

  const unsigned int gem = static_cast<unsigned int>(gemIntf);
  cacheIntfIterator_t intfIt;
  cacheVPortIterator_t vportIt;
  // A rebind first withdraws what is applied on the GEM interface; the old
  // binding itself is left as it was.
  if (rebind && findMacEntriesCacheByIntfId(gem, &intfIt, &vportIt)) {
    for (macEntriesCacheData_t& cached : vportIt->second.entries) {
      if (!cached.configured) continue;
      if (delStaticEntry(gem, staticEntry(cached)) == 0)
        cached.configured = false;
      else
        logOperationFailure("GPONGemEvent", 1881, "delStaticEntry failed for intf: ", gemIntf);
    }
  }

  // Binding applies only what is not applied yet: entries configured on a
  // previous GEM interface stay there.
  if (!findMacEntriesCacheByIntfVPort(static_cast<unsigned int>(intf),
                                      static_cast<unsigned int>(vport), &intfIt, &vportIt))
    return true;
  macEntriesCacheVPortData_t& record = vportIt->second;
  record.intfId = gem;
  vqbridge& bridge = singleton<vqbridge>::instance();
  for (macEntriesCacheData_t& cached : record.entries) {
    if (cached.configured || !bridge.vlanCreated(bridgeName.c_str(), cached.vlan)) continue;
    if (addStaticEntry(gem, staticEntry(cached)) == 0)
      cached.configured = true;
    else
      logOperationFailure("GPONGemEvent", rebind ? 1912 : 1849,
                          "addStaticEntry failed for intf: ", gemIntf);
  }
  return true;
}
