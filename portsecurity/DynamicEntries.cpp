// MAC address reports (remembered static entries, the driver's learned
// entries, the last violation) and the move of learned entries to static.
// Each operation takes the host lock itself and opens its own driver handle.

#include <cstring>

#include "BLLManager.h"
#include "DriverChannel.h"
#include "InterfaceRegistry.h"
#include "PortSecurity.h"

namespace {

PortSecurity::macEntry_t toMacEntry(const psdriver::psTableEntryArg_t& entry) {
  PortSecurity::macEntry_t mac;
  mac.vlan = entry.vlan;
  std::memcpy(mac.mac, entry.mac, sizeof mac.mac);
  return mac;
}

bool allZero(const uint8_t (&mac)[6]) {
  for (uint8_t byte : mac)
    if (byte != 0) return false;
  return true;
}

// Opens a handle, reads the table's size, empties `out` and walks the table
// with `visit`: 0, or 1 (with `out` untouched) when the handle or the size
// cannot be had.
template <class Output, class Visitor>
unsigned int readDriverTable(const std::string& bridge, const std::string& table, Output& out,
                             Visitor visit) {
  DriverChannel channel(bridge, table);
  if (!channel.isOpen()) return 1;
  uint32_t bucketCount = 0;
  if (!channel.readBucketCount(bucketCount)) return 1;
  out.clear();
  channel.walkEntries(bucketCount, visit);
  return 0;
}

}  // namespace

unsigned int PortSecurity::getStaticMACs(unsigned int id, std::list<macEntry_t>& out) const {
  BLLManager::sharedLock_t lock;
  if (!lock.isLocked()) return 1;
  if (!knownInterface(id)) return 1;
  out.clear();
  macEntryMap_t::const_iterator it = staticEntries.find(id);
  if (it == staticEntries.end() || !it->second || it->second->empty()) return 0;
  if (it->second.get() != &out) out.insert(out.end(), it->second->begin(), it->second->end());
  return 0;
}

// The lists are shared with the module, not copied.
unsigned int PortSecurity::getStaticMACs(macEntryMap_t& out) const {
  BLLManager::sharedLock_t lock;
  if (!lock.isLocked()) return 1;
  if (&out != &staticEntries) out = staticEntries;
  return 0;
}

// Matches the driver's port with the id as it is, unlike the whole-bridge
// form; both relations are relied upon as they stand.
unsigned int PortSecurity::getDynamicMACs(unsigned int id, std::list<macEntry_t>& out) const {
  BLLManager::sharedLock_t lock;
  if (!lock.isLocked()) return 1;
  if (!knownInterface(id)) return 1;
  return readDriverTable(bridgeName, tableName, out, [&](psdriver::psTableEntryArg_t& entry) {
    if (entry.port == id && entry.isStatic == 0) out.push_back(toMacEntry(entry));
  });
}

// Keyed by port + 1, written back into the reused record. Every interface with
// any table entry gets a key, with an empty list when all of them are static.
unsigned int PortSecurity::getDynamicMACs(macEntryMap_t& out) const {
  BLLManager::sharedLock_t lock;
  if (!lock.isLocked()) return 1;
  return readDriverTable(bridgeName, tableName, out, [&](psdriver::psTableEntryArg_t& entry) {
    entry.port = entry.port + 1;
    boost::shared_ptr<macEntryList_t>& list = out[entry.port];
    if (!list) list.reset(new macEntryList_t);
    if (entry.isStatic == 0) list->push_back(toMacEntry(entry));
  });
}

// 3 when the driver holds no violation (all-zero MAC, whatever the VLAN).
unsigned int PortSecurity::getLastViolation(unsigned int id, macEntry_t& out) const {
  BLLManager::sharedLock_t lock;
  if (!lock.isLocked()) return 1;
  if (!knownInterface(id)) return 1;
  psdriver::psViolationArg_t record;
  psdriver::clearRecord(record);
  writeInterfaceField(record.intf, id);
  if (sendDriverCommand(bridgeName, tableName, psdriver::PSIOC_GET_VIOLATION, &record) != 0)
    return 1;
  if (allZero(record.mac)) return 3;
  out.vlan = record.vlan;
  std::memcpy(out.mac, record.mac, sizeof out.mac);
  return 0;
}

// On success the interface's remembered static list equals the driver's
// static entries for it, in table order. If the table cannot be read after
// the driver moved the entries, memory stays behind until the next move.
unsigned int PortSecurity::moveDynamicToStatic(unsigned int id) {
  BLLManager::exclusiveLock_t lock;
  if (!lock.isLocked()) return 1;
  if (!knownInterface(id)) return 1;
  DriverChannel channel(bridgeName, tableName);
  if (!channel.isOpen()) return 1;
  psdriver::psMoveArg_t record;
  psdriver::clearRecord(record);
  writeInterfaceField(record.intf, id);
  if (!channel.issue(psdriver::PSIOC_MOVE_TO_STATIC, &record)) return 1;
  uint32_t bucketCount = 0;
  if (!channel.readBucketCount(bucketCount)) return 1;
  boost::shared_ptr<macEntryList_t>& list = staticEntries[id];
  if (!list)
    list.reset(new macEntryList_t);
  else
    list->clear();
  channel.walkEntries(bucketCount, [&](psdriver::psTableEntryArg_t& entry) {
    entry.port = entry.port + 1;
    if (entry.port == id && entry.isStatic != 0) list->push_back(toMacEntry(entry));
  });
  return 0;
}
