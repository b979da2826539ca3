// Static entries on one driver interface: staticEntries mirrors what the
// driver accepted, and the static limit is checked against that list.

#include <algorithm>
#include <cstring>

#include "BLLManager.h"
#include "DriverChannel.h"
#include "InterfaceRegistry.h"
#include "Log.h"
#include "PortSecurity.h"

namespace {

// Adds or deletes one static entry in the driver: 0 accepted, 1 otherwise.
unsigned int writeStaticEntry(const std::string& bridge, const std::string& table,
                              unsigned long code, unsigned int intf,
                              PortSecurity::macEntry_t const& entry) {
  psdriver::psMacArg_t arg;
  psdriver::clearRecord(arg);
  writeInterfaceField(arg.intf, intf);
  std::memcpy(arg.mac, entry.mac, sizeof arg.mac);
  arg.vlan = entry.vlan;
  arg.isStatic = 1;
  return sendDriverCommand(bridge, table, code, &arg);
}

}  // namespace

unsigned int PortSecurity::addStaticEntry(unsigned int intf, macEntry_t const& entry) {
  BLLManager::exclusiveLock_t lock;
  if (!lock.isLocked()) return 1;
  if (!knownInterface(intf)) return 1;

  // An entry lives on one interface only: take it away from its old one
  // first, even if the limit below then refuses it here.
  for (macEntryMap_t::iterator it = staticEntries.begin(); it != staticEntries.end(); ++it) {
    if (it->first == intf || !it->second) continue;
    if (std::find(it->second->begin(), it->second->end(), entry) == it->second->end()) continue;
    unsigned int result = delStaticEntry(it->first, entry);
    if (result != 0) return result;
    break;
  }

  unsigned int limit = interfaces[intf].limitStaticMACs;
  boost::shared_ptr<macEntryList_t>& list = staticEntries[intf];
  if (!list) {
    list.reset(new macEntryList_t);
  } else if (list->size() == limit) {
    // Equality on purpose: a list already above a lowered limit still grows.
    return 2;
  }
  if (std::find(list->begin(), list->end(), entry) != list->end()) return 0;

  if (writeStaticEntry(bridgeName, tableName, psdriver::PSIOC_ADD_STATIC, intf, entry) != 0)
    return 1;
  list->push_back(entry);
  return 0;
}

unsigned int PortSecurity::delStaticEntry(unsigned int intf, macEntry_t const& entry) {
  BLLManager::exclusiveLock_t lock;
  if (!lock.isLocked()) return 1;
  if (!knownInterface(intf)) return 1;

  macEntryMap_t::iterator it = staticEntries.find(intf);
  if (it == staticEntries.end() || !it->second) return 3;
  macEntryList_t& list = *it->second;
  macEntryList_t::iterator found = std::find(list.begin(), list.end(), entry);
  if (found == list.end()) return 3;

  if (writeStaticEntry(bridgeName, tableName, psdriver::PSIOC_DEL_STATIC, intf, entry) != 0)
    return 1;
  // The key stays, even with an empty list: the limit check relies on it.
  list.erase(found);
  return 0;
}

unsigned int PortSecurity::clearStaticEntries(unsigned int intf) {
  BLLManager::exclusiveLock_t lock;
  if (!lock.isLocked()) return 1;

  for (macEntryMap_t::iterator it = staticEntries.begin(); it != staticEntries.end(); ++it) {
    if (intf != 0 && it->first != intf) continue;
    if (!it->second) continue;
    while (!it->second->empty()) {
      macEntry_t first = it->second->front();
      if (delStaticEntry(it->first, first) != 0) {
        Log& log = singleton<Log>::instance();
        log.setMsgLevel(LogImpl::logLevel_t(0));
        log.write("PortSecurity::clearStaticEntries error at ")
            .write(" delStaticEntry intfid: ")
            .write(it->first)
            .write(". Break the loop and return.");
        return 1;
      }
    }
  }
  return 0;
}

unsigned int PortSecurity::clearStaticEntries() { return clearStaticEntries(0); }
