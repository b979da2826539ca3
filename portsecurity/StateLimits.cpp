// Port-security state and MAC limits: setters tell the driver first and
// remember the value only once it has accepted; getters answer from memory.
// Each operation takes the host lock itself, except setStateAll.

#include "BLLManager.h"
#include "DriverChannel.h"
#include "InterfaceRegistry.h"
#include "PortSecurity.h"
#include "vqbridge.h"

namespace {

const unsigned int defaultStaticLimit = 20;
const unsigned int minVlanLimit = 1;
const unsigned int maxVlanLimit = 64;
// The ninth per-VLAN limit of an interface is refused.
const size_t maxVlanLimitsBeforeAdd = 7;

// Sends an interface's dynamic or static limit: 0 accepted, 1 otherwise.
unsigned int sendInterfaceLimit(const std::string& bridge, const std::string& table,
                                unsigned int id, uint32_t kind, unsigned int limit) {
  psdriver::psIntfLimitArg_t record;
  psdriver::clearRecord(record);
  writeInterfaceField(record.intf, id);
  record.kind = kind;
  record.limit = limit;
  return sendDriverCommand(bridge, table, psdriver::PSIOC_SET_INTF_LIMIT, &record);
}

// The remembered settings of an interface the host knows; null for an
// unknown id or an interface without settings.
const PortSecurity::interfaceSettings_t* knownSettings(
    const PortSecurity::interfaceSettingsMap_t& interfaces, unsigned int id) {
  if (!knownInterface(id)) return nullptr;
  PortSecurity::interfaceSettingsMap_t::const_iterator it = interfaces.find(id);
  return it != interfaces.end() ? &it->second : nullptr;
}

}  // namespace

unsigned int PortSecurity::setState(bool value) {
  BLLManager::exclusiveLock_t lock;
  if (!lock.isLocked()) return 1;
  {
    DriverChannel channel(bridgeName, tableName);
    if (!channel.isOpen()) return 1;
    // The driver reads the switch from the argument word itself.
    if (!channel.issueValue(psdriver::PSIOC_SET_STATE, value ? 1 : 0)) return 1;
  }
  state = value;
  return 0;
}

unsigned int PortSecurity::setState(unsigned int id, bool value) {
  BLLManager::exclusiveLock_t lock;
  if (!lock.isLocked()) return 1;
  if (!knownInterface(id)) return 1;
  psdriver::psIntfStateArg_t record;
  psdriver::clearRecord(record);
  writeInterfaceField(record.intf, id);
  record.state = value ? 1 : 0;
  if (sendDriverCommand(bridgeName, tableName, psdriver::PSIOC_SET_INTF_STATE, &record) != 0)
    return 1;
  interfaces[id].state = value;
  return 0;
}

unsigned int PortSecurity::setStateAll(bool value) {
  for (const Interfaces::Interface& interface : registryInterfaces())
    if (setState(interface.id, value) != 0) return 1;
  return 0;
}

unsigned int PortSecurity::setLimitDynamicMACs(unsigned int id, unsigned int limit) {
  BLLManager::exclusiveLock_t lock;
  if (!lock.isLocked()) return 1;
  if (!knownInterface(id)) return 1;
  // Any value, 0 included, is the driver's to judge.
  if (sendInterfaceLimit(bridgeName, tableName, id, psdriver::PS_LIMIT_DYNAMIC, limit) != 0)
    return 1;
  interfaces[id].limitDynamicMACs = limit;
  return 0;
}

// A limit of 0 removes the VLAN's limit. The count is tested before looking
// for the VLAN, so with eight limits in place even a change is refused; the
// settings entry made for that test stays even if the driver then refuses.
unsigned int PortSecurity::setLimitDynamicMACs(unsigned int id, unsigned short vlan,
                                               unsigned int limit) {
  BLLManager::exclusiveLock_t lock;
  if (!lock.isLocked()) return 1;
  if (!knownInterface(id)) return 1;
  if (!singleton<vqbridge>::instance().vlanCreated(bridgeName.c_str(), vlan)) return 1;
  if (limit != 0) {
    if (limit < minVlanLimit || limit > maxVlanLimit) return 7;
    if (interfaces[id].vlanLimitDynamicMACs.size() > maxVlanLimitsBeforeAdd) return 6;
  }
  psdriver::psVlanLimitArg_t record;
  psdriver::clearRecord(record);
  writeInterfaceField(record.intf, id);
  record.vlan = vlan;
  record.limit = limit;
  unsigned long code = limit != 0 ? psdriver::PSIOC_SET_VLAN_LIMIT : psdriver::PSIOC_DEL_VLAN_LIMIT;
  if (sendDriverCommand(bridgeName, tableName, code, &record) != 0) return 1;
  std::map<unsigned short, unsigned int>& limits = interfaces[id].vlanLimitDynamicMACs;
  if (limit != 0)
    limits[vlan] = limit;
  else
    limits.erase(vlan);
  return 0;
}

// Refused with 7 when the carrier already holds more cached entries than
// the new limit; equal is accepted.
unsigned int PortSecurity::setLimitStaticMACs(unsigned int id, unsigned int limit) {
  BLLManager::exclusiveLock_t lock;
  if (!lock.isLocked()) return 1;
  if (!knownInterface(id)) return 1;
  cacheIntfIterator_t intfIt;
  cacheVPortIterator_t vportIt;
  if (findMacEntriesCacheByIntfId(id, &intfIt, &vportIt) && vportIt->second.entries.size() > limit)
    return 7;
  if (sendInterfaceLimit(bridgeName, tableName, id, psdriver::PS_LIMIT_STATIC, limit) != 0)
    return 1;
  interfaces[id].limitStaticMACs = limit;
  return 0;
}

unsigned int PortSecurity::getState(bool& out) const {
  BLLManager::sharedLock_t lock;
  if (!lock.isLocked()) return 1;
  out = state;
  return 0;
}

unsigned int PortSecurity::getState(unsigned int id, bool& out) const {
  BLLManager::sharedLock_t lock;
  if (!lock.isLocked()) return 1;
  const interfaceSettings_t* settings = knownSettings(interfaces, id);
  if (settings == nullptr) return 1;
  out = settings->state;
  return 0;
}

// Reported only while port security is on for the interface (5 otherwise).
unsigned int PortSecurity::getLimitDynamicMACs(unsigned int id, unsigned int& out) const {
  BLLManager::sharedLock_t lock;
  if (!lock.isLocked()) return 1;
  const interfaceSettings_t* settings = knownSettings(interfaces, id);
  if (settings == nullptr) return 1;
  if (!settings->state) return 5;
  out = settings->limitDynamicMACs;
  return 0;
}

// The per-VLAN map is searched under the interface id cut to 16 bits; the
// `vlan` argument is not used. Callers rely on this lookup as it stands.
unsigned int PortSecurity::getLimitDynamicMACs(unsigned int id, unsigned short /*vlan*/,
                                               unsigned int& out) const {
  BLLManager::sharedLock_t lock;
  if (!lock.isLocked()) return 1;
  const interfaceSettings_t* settings = knownSettings(interfaces, id);
  if (settings == nullptr) return 1;
  const std::map<unsigned short, unsigned int>& limits = settings->vlanLimitDynamicMACs;
  std::map<unsigned short, unsigned int>::const_iterator found =
      limits.find(static_cast<unsigned short>(id));
  if (found == limits.end()) return 8;
  out = found->second;
  return 0;
}

// Reported only while port security is off for the interface (5 otherwise).
unsigned int PortSecurity::getLimitStaticMACs(unsigned int id, unsigned int& out) const {
  BLLManager::sharedLock_t lock;
  if (!lock.isLocked()) return 1;
  const interfaceSettings_t* settings = knownSettings(interfaces, id);
  if (settings == nullptr) return 1;
  if (settings->state) return 5;
  out = settings->limitStaticMACs;
  return 0;
}

// Whatever the state; an interface without settings has the default limit.
unsigned int PortSecurity::getStaticMacLimit(unsigned int id, unsigned int& out) const {
  BLLManager::sharedLock_t lock;
  if (!lock.isLocked()) return 1;
  interfaceSettingsMap_t::const_iterator it = interfaces.find(id);
  out = it != interfaces.end() ? it->second.limitStaticMACs : defaultStaticLimit;
  return 0;
}
