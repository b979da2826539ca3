// Per-interface reports for the management side, built from the host's
// interface registry and the remembered settings; the driver is not asked.
// Each takes the shared host lock; the list form nests the single form's.

#include "BLLManager.h"
#include "InterfaceRegistry.h"
#include "PortSecurity.h"

namespace {

// Internal interfaces and GPON interfaces are not reported in the list; GEM
// interfaces only while they are active.
bool listed(const Interfaces::Interface& interface) {
  switch (interface.type) {
    case Interfaces::IF_TYPE_INTERNAL:
    case Interfaces::IF_TYPE_GPON:
      return false;
    case Interfaces::IF_TYPE_GEM:
      return singleton<Interfaces>::instance().isInterfaceActive(interface.id);
    default:
      return true;
  }
}

}  // namespace

// Name and type stay written when a later step fails. An interface without
// remembered settings is reported with the defaults.
unsigned int PortSecurity::getInterfaceInfo(unsigned int id, interfaceInfo_t& out) const {
  BLLManager::sharedLock_t lock;
  if (!lock.isLocked()) return 1;
  Interfaces& registry = singleton<Interfaces>::instance();
  if (!registry.checkId(id)) return 1;
  if (registry.interfaceGetNameById(id, out.name) != 0) return 1;
  if (registry.interfaceGetTypeById(id, &out.type) != 0) return 1;
  interfaceSettingsMap_t::const_iterator it = interfaces.find(id);
  out.settings = it != interfaces.end() ? it->second : interfaceSettings_t();
  return 0;
}

// All or nothing: any failing interface empties the list and gives 1.
unsigned int PortSecurity::getInterfaceInfo(std::list<interfaceInfo_t>& out) const {
  BLLManager::sharedLock_t lock;
  if (!lock.isLocked()) return 1;
  out.clear();
  for (const Interfaces::Interface& interface : registryInterfaces()) {
    if (!listed(interface)) continue;
    interfaceInfo_t info;
    if (getInterfaceInfo(interface.id, info) != 0) {
      out.clear();
      return 1;
    }
    out.push_back(info);
  }
  return 0;
}

// Every interface of the registry, whatever its type, with defaults where
// nothing is remembered.
unsigned int PortSecurity::getInterfaceSettings(interfaceSettingsMap_t& out) const {
  BLLManager::sharedLock_t lock;
  if (!lock.isLocked()) return 1;
  out.clear();
  for (const Interfaces::Interface& interface : registryInterfaces()) {
    interfaceSettingsMap_t::const_iterator it = interfaces.find(interface.id);
    if (it != interfaces.end())
      out[interface.id] = it->second;
    else
      out.insert(std::make_pair(interface.id, interfaceSettings_t()));
  }
  return 0;
}
