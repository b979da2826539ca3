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

}  // namespace

void PortSecurity::vlanAddEvent(char const* /*bridge*/, unsigned short vlan) {
  BLLManager::exclusiveLock_t lock;
  if (!lock.isLocked()) {
    operationLog(LogImpl::logLevel_t(0), "vlanAddEvent", 1706)
        .write("lock failed for vid: ")
        .write(vlan)
        .write("\n");
    return;
  }
  for (macEntriesCache_t::value_type& perIntf : macEntriesCache) {
    for (vportCache_t::value_type& perVPort : perIntf.second) {
      macEntriesCacheVPortData_t& record = perVPort.second;
      for (macEntriesCacheData_t& cached : record.entries) {
        if (cached.vlan != vlan || record.intfId == 0 || cached.configured) continue;
        if (addStaticEntry(record.intfId, staticEntry(cached)) == 0) {
          cached.configured = true;
        } else {
          operationLog(LogImpl::logLevel_t(0), "vlanAddEvent", 1731)
              .write("addStaticEntry failed for intf: ")
              .write(record.intfId)
              .write("\n");
        }
      }
    }
  }
}

bool PortSecurity::vlanDelEvent(char const* /*bridge*/, unsigned short vlan) {
  BLLManager::exclusiveLock_t lock;
  if (!lock.isLocked()) {
    operationLog(LogImpl::logLevel_t(0), "vlanDelEvent", 1754)
        .write("lock failed for vid: ")
        .write(vlan)
        .write("\n");
    return true;
  }
  // Withdrawn records stay cached so that the VLAN's return reapplies them.
  for (macEntriesCache_t::value_type& perIntf : macEntriesCache) {
    for (vportCache_t::value_type& perVPort : perIntf.second) {
      macEntriesCacheVPortData_t& record = perVPort.second;
      for (macEntriesCacheData_t& cached : record.entries) {
        if (cached.vlan != vlan || !cached.configured) continue;
        if (delStaticEntry(record.intfId, staticEntry(cached)) == 0) {
          cached.configured = false;
        } else {
          operationLog(LogImpl::logLevel_t(0), "vlanDelEvent", 1780)
              .write("addStaticEntry failed for intf: ")
              .write(record.intfId)
              .write("\n");
        }
      }
    }
  }

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
    operationLog(LogImpl::logLevel_t(0), "GPONGemEvent", 1818)
        .write("lock failed for intfid: ")
        .write(gemIntf)
        .write("\n");
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
      if (delStaticEntry(gem, staticEntry(cached)) == 0) {
        cached.configured = false;
      } else {
        operationLog(LogImpl::logLevel_t(0), "GPONGemEvent", 1881)
            .write("delStaticEntry failed for intf: ")
            .write(gemIntf)
            .write("\n");
      }
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
    if (addStaticEntry(gem, staticEntry(cached)) == 0) {
      cached.configured = true;
    } else {
      operationLog(LogImpl::logLevel_t(0), "GPONGemEvent", rebind ? 1912 : 1849)
          .write("addStaticEntry failed for intf: ")
          .write(gemIntf)
          .write("\n");
    }
  }
  return true;
}
