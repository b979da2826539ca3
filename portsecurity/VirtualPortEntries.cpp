// Static entries per interface and virtual port: every request is cached, and
// applied on its carrier (the GEM interface of a GPON virtual port, otherwise
// the interface itself) once the carrier is known and the VLAN exists.

#include <cstring>

#include "BLLManager.h"
#include "Interfaces.h"
#include "OperationLog.h"
#include "PortSecurity.h"
#include "vqbridge.h"

namespace {

const char* const addOperation = "addStaticEntryVirtualPort";
const char* const delOperation = "delStaticEntryVirtualPort";

PortSecurity::macEntriesCacheData_t cacheRecord(PortSecurity::macEntry_t const& entry,
                                                bool configured) {
  PortSecurity::macEntriesCacheData_t record;
  std::memcpy(record.mac, entry.mac, sizeof record.mac);
  record.vlan = entry.vlan;
  record.configured = configured;
  return record;
}

// Removes one cached entry and any level it leaves empty.
void unlinkCacheRecord(PortSecurity::macEntriesCache_t& cache,
                       PortSecurity::cacheIntfIterator_t intfIt,
                       PortSecurity::cacheVPortIterator_t vportIt,
                       PortSecurity::cacheEntryIterator_t entryIt) {
  vportIt->second.entries.erase(entryIt);
  if (!vportIt->second.entries.empty()) return;
  intfIt->second.erase(vportIt);
  if (intfIt->second.empty()) cache.erase(intfIt);
}

}  // namespace

unsigned int PortSecurity::addStaticEntryVirtualPort(unsigned int intf, macEntry_t const& entry,
                                                     unsigned int vport) {
  BLLManager::exclusiveLock_t lock;
  if (!lock.isLocked()) return 1;
  Interfaces& registry = singleton<Interfaces>::instance();
  if (!registry.checkId(intf)) return 1;

  Interfaces::interfaceType type = Interfaces::IF_TYPE_UNKNOWN;
  if (registry.interfaceGetTypeById(intf, &type) != 0) {
    operationLog(LogImpl::logLevel_t(0), addOperation, 892)
        .write("interfaceGetTypeById failed for intf: ")
        .write(intf)
        .write("\n");
    return 1;
  }

  // A GPON interface takes entries only per virtual port, carried by the
  // port's GEM interface; while that is unknown the carrier is 0.
  unsigned int carrier = intf;
  if (vport != 0) {
    if (type != Interfaces::IF_TYPE_GPON) {
      operationLog(LogImpl::logLevel_t(1), addOperation, 920)
          .write("Invalid interface type: ")
          .write(static_cast<int>(type))
          .write(" for interface: ")
          .write(intf)
          .write("\n");
      return 1;
    }
    unsigned int gemIntf = 0;
    carrier = registry.interfaceGPONGemInterfaceFind(intf, vport, gemIntf) == 0 ? gemIntf : 0;
  } else if (type == Interfaces::IF_TYPE_GPON) {
    operationLog(LogImpl::logLevel_t(1), addOperation, 906)
        .write("Invalid interface type: ")
        .write(static_cast<int>(type))
        .write(" for interface: ")
        .write(intf)
        .write("\n");
    return 1;
  }

  unsigned int limit = 0;
  if (getStaticMacLimit(carrier, limit) != 0) {
    operationLog(LogImpl::logLevel_t(0), addOperation, 936)
        .write("getStaticMacLimit failed for intf: ")
        .write(carrier)
        .write("\n");
    return 1;
  }
  unsigned int count = 0;
  if (!getMacEntriesCacheNum(intf, vport, count)) {
    operationLog(LogImpl::logLevel_t(0), addOperation, 945)
        .write("getMacEntriesCacheNum failed for intf: ")
        .write(intf)
        .write(", virtualPort: ")
        .write(vport)
        .write("\n");
    return 1;
  }
  // Counts cached entries, applied or not, unlike the interface layer.
  if (count >= limit) {
    operationLog(LogImpl::logLevel_t(0), addOperation, 955)
        .write("macLimit failed for intf: ")
        .write(intf)
        .write(", virtualPort: ")
        .write(vport)
        .write("\n");
    return 2;
  }

  cacheIntfIterator_t intfIt;
  cacheVPortIterator_t vportIt;
  cacheEntryIterator_t entryIt;
  if (findMacEntriesCacheByEntry(cacheRecord(entry, false), &intfIt, &vportIt, &entryIt)) {
    if (intfIt->first == intf && vportIt->first == vport) return 0;
    if (entryIt->configured) {
      unsigned int oldCarrier = vportIt->second.intfId;
      if (delStaticEntry(oldCarrier, entry) != 0) {
        operationLog(LogImpl::logLevel_t(0), addOperation, 986)
            .write("delStaticEntry failed for intf: ")
            .write(oldCarrier)
            .write("\n");
        return 1;
      }
    }
    unlinkCacheRecord(macEntriesCache, intfIt, vportIt, entryIt);
  }

  bool configured = false;
  if (carrier != 0 && singleton<vqbridge>::instance().vlanCreated(bridgeName.c_str(), entry.vlan)) {
    // A record moved away above is not restored when this fails.
    if (addStaticEntry(carrier, entry) != 0) {
      operationLog(LogImpl::logLevel_t(0), addOperation, 1011)
          .write("addStaticEntry failed for intf: ")
          .write(carrier)
          .write("\n");
      return 1;
    }
    configured = true;
  }

  macEntriesCacheVPortData_t& record = macEntriesCache[intf][vport];
  record.intfId = carrier;
  record.entries.push_back(cacheRecord(entry, configured));
  return 0;
}

unsigned int PortSecurity::delStaticEntryVirtualPort(unsigned int intf, macEntry_t const& entry,
                                                     unsigned int /*vport*/) {
  BLLManager::exclusiveLock_t lock;
  if (!lock.isLocked()) return 1;
  if (!singleton<Interfaces>::instance().checkId(intf)) return 1;

  // The entry is removed wherever it is cached; the caller's interface and
  // virtual port do not narrow the search.
  cacheIntfIterator_t intfIt;
  cacheVPortIterator_t vportIt;
  cacheEntryIterator_t entryIt;
  if (!findMacEntriesCacheByEntry(cacheRecord(entry, false), &intfIt, &vportIt, &entryIt)) return 0;
  if (entryIt->configured) {
    unsigned int carrier = vportIt->second.intfId;
    if (delStaticEntry(carrier, entry) != 0) {
      operationLog(LogImpl::logLevel_t(0), delOperation, 1074)
          .write("delStaticEntry failed for intf: ")
          .write(carrier)
          .write("\n");
      return 1;
    }
  }
  unlinkCacheRecord(macEntriesCache, intfIt, vportIt, entryIt);
  return 0;
}

unsigned int PortSecurity::addStaticEntryApi(unsigned int intf, macEntry_t const& entry) {
  return addStaticEntryVirtualPort(intf, entry, 0);
}

unsigned int PortSecurity::delStaticEntryApi(unsigned int intf, macEntry_t const& entry) {
  return delStaticEntryVirtualPort(intf, entry, 0);
}
