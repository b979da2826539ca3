// Static entries per interface and virtual port: every request is cached, and
// applied on its carrier (the GEM interface of a GPON virtual port, otherwise
// the interface itself) once the carrier is known and the VLAN exists.

#include <cstring>

#include "BLLManager.h"
#include "InterfaceRegistry.h"
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

// Where a (mac, vlan) pair sits in the cache: interface, virtual port and
// the cached record itself.
struct CachedEntry {
  PortSecurity::cacheIntfIterator_t intf;
  PortSecurity::cacheVPortIterator_t vport;
  PortSecurity::cacheEntryIterator_t record;
};

bool findCached(PortSecurity& entity, PortSecurity::macEntry_t const& entry, CachedEntry& found) {
  return entity.findMacEntriesCacheByEntry(cacheRecord(entry, false), &found.intf, &found.vport,
                                           &found.record);
}

// Takes a cached entry out of the cache, and any level it leaves empty. An
// applied entry is first deleted from its carrier; when that is refused the
// failure is logged under `operation` and `number`, the cache stays as it
// was, and the result is 1.
unsigned int dropCached(PortSecurity& entity, PortSecurity::macEntriesCache_t& cache,
                        const CachedEntry& found, PortSecurity::macEntry_t const& entry,
                        const char* operation, int number) {
  if (found.record->configured) {
    const unsigned int carrier = found.vport->second.intfId;
    if (entity.delStaticEntry(carrier, entry) != 0) {
      logOperationFailure(operation, number, "delStaticEntry failed for intf: ", carrier);
      return 1;
    }
  }
  found.vport->second.entries.erase(found.record);
  if (!found.vport->second.entries.empty()) return 0;
  found.intf->second.erase(found.vport);
  if (found.intf->second.empty()) cache.erase(found.intf);
  return 0;
}

// Virtual port on a non-GPON interface, or none on a GPON interface.
void logInvalidType(int number, Interfaces::interfaceType type, unsigned int intf) {
  operationLog(LogImpl::logLevel_t(1), addOperation, number)
      .write("Invalid interface type: ")
      .write(static_cast<int>(type))
      .write(" for interface: ")
      .write(intf)
      .write("\n");
}

void logVirtualPortFailure(int number, const char* text, unsigned int intf, unsigned int vport) {
  operationLog(LogImpl::logLevel_t(0), addOperation, number)
      .write(text)
      .write(intf)
      .write(", virtualPort: ")
      .write(vport)
      .write("\n");
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
    logOperationFailure(addOperation, 892, "interfaceGetTypeById failed for intf: ", intf);
    return 1;
  }

  // A GPON interface takes entries only per virtual port, carried by the
  // port's GEM interface; while that is unknown the carrier is 0.
  unsigned int carrier = intf;
  if (vport != 0) {
    if (type != Interfaces::IF_TYPE_GPON) {
      logInvalidType(920, type, intf);
      return 1;
    }
    unsigned int gemIntf = 0;
    carrier = registry.interfaceGPONGemInterfaceFind(intf, vport, gemIntf) == 0 ? gemIntf : 0;
  } else if (type == Interfaces::IF_TYPE_GPON) {
    logInvalidType(906, type, intf);
    return 1;
  }

  unsigned int limit = 0;
  if (getStaticMacLimit(carrier, limit) != 0) {
    logOperationFailure(addOperation, 936, "getStaticMacLimit failed for intf: ", carrier);
    return 1;
  }
  unsigned int count = 0;
  if (!getMacEntriesCacheNum(intf, vport, count)) {
    logVirtualPortFailure(945, "getMacEntriesCacheNum failed for intf: ", intf, vport);
    return 1;
  }
  // Counts cached entries, applied or not, unlike the interface layer.
  if (count >= limit) {
    logVirtualPortFailure(955, "macLimit failed for intf: ", intf, vport);
    return 2;
  }

  CachedEntry found;
  if (findCached(*this, entry, found)) {
    if (found.intf->first == intf && found.vport->first == vport) return 0;
    if (dropCached(*this, macEntriesCache, found, entry, addOperation, 986) != 0) return 1;
  }

  bool configured = false;
  if (carrier != 0 && singleton<vqbridge>::instance().vlanCreated(bridgeName.c_str(), entry.vlan)) {
    // A record moved away above is not restored when this fails.
    if (addStaticEntry(carrier, entry) != 0) {
      logOperationFailure(addOperation, 1011, "addStaticEntry failed for intf: ", carrier);
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
  if (!knownInterface(intf)) return 1;

  // The entry is removed wherever it is cached; the caller's interface and
  // virtual port do not narrow the search.
  CachedEntry found;
  if (!findCached(*this, entry, found)) return 0;
  return dropCached(*this, macEntriesCache, found, entry, delOperation, 1074);
}

unsigned int PortSecurity::addStaticEntryApi(unsigned int intf, macEntry_t const& entry) {
  return addStaticEntryVirtualPort(intf, entry, 0);
}

unsigned int PortSecurity::delStaticEntryApi(unsigned int intf, macEntry_t const& entry) {
  return delStaticEntryVirtualPort(intf, entry, 0);
}
