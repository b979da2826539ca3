// Short forms of the host interface-registry queries that the entity's
// operations make again and again. Safe from any thread, as the registry is.
#pragma once

#include <vector>

#include "Interfaces.h"
#include "singleton.h"

// True when the host knows the interface id.
inline bool knownInterface(unsigned int id) {
  return singleton<Interfaces>::instance().checkId(id);
}

// Every interface of the node, in the registry's order; empty when the
// registry gives none.
inline std::vector<Interfaces::Interface> registryInterfaces() {
  std::vector<Interfaces::Interface> list;
  singleton<Interfaces>::instance().interfaceListGet(list);
  return list;
}
