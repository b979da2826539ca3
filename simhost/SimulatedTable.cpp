#include "SimulatedTable.h"

#include <cerrno>

namespace sim {

SimulatedTable::SimulatedTable(const DriverSettings& settings)
    : settings(settings), entryLimit(kMaxEntries) {}

void SimulatedTable::clear() {
  macTable.clear();
  violations.clear();
}

int SimulatedTable::addStatic(uint32_t port, const MacAddress& mac, uint16_t vlan) {
  if (macTable.assign(mac, vlan, port, true)) return 0;
  if (macTable.size() >= entryLimit) return ENOSPC;
  macTable.append(MacTableEntry{mac, vlan, port, true});
  return 0;
}

int SimulatedTable::deleteStatic(uint32_t port, const MacAddress& mac, uint16_t vlan) {
  const MacTableEntry* existing = macTable.find(mac, vlan);
  if (existing == nullptr || !existing->isStatic || existing->port != port) return ENOENT;
  macTable.erase(mac, vlan);
  return 0;
}

int SimulatedTable::moveToStatic(uint32_t port) {
  macTable.makeStatic(port);
  return 0;
}

bool SimulatedTable::lastViolation(unsigned int id, DriverViolation& out) const {
  auto found = violations.find(id);
  if (found == violations.end()) return false;
  out = found->second;
  return true;
}

LearnResult SimulatedTable::learn(uint32_t port, const MacAddress& mac, uint16_t vlan) {
  const MacTableEntry* existing = macTable.find(mac, vlan);
  if (existing != nullptr && (existing->isStatic || existing->port == port))
    return LearnResult::known;
  if (limitReached(port, vlan)) {
    violations[port + 1] = DriverViolation{mac, vlan};
    return LearnResult::violation;
  }
  if (existing != nullptr) {
    macTable.assign(mac, vlan, port, false);
    return LearnResult::learned;
  }
  if (macTable.size() >= entryLimit) return LearnResult::tableFull;
  macTable.append(MacTableEntry{mac, vlan, port, false});
  return LearnResult::learned;
}

bool SimulatedTable::limitReached(uint32_t port, uint16_t vlan) const {
  if (!settings.enabled) return false;
  auto found = settings.interfaces.find(port + 1);
  if (found == settings.interfaces.end() || !found->second.enabled) return false;
  const DriverInterfaceState& limits = found->second;
  if (limits.hasDynamicLimit && macTable.countDynamic(port) >= limits.dynamicLimit) return true;
  auto vlanLimit = limits.vlanLimits.find(vlan);
  return vlanLimit != limits.vlanLimits.end() &&
         macTable.countDynamic(port, vlan) >= vlanLimit->second;
}

}  // namespace sim
