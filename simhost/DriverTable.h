// What the bridge driver's commands act on below their decoding: the MAC
// table with its dynamic counts, the last violation per interface, and the
// switches and limits as the frame path sees them. Two implementations:
// SimulatedTable, in memory, and the eBPF data plane's maps.
// Not thread-safe: the Driver guards it.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "MacAddress.h"
#include "MacTable.h"

namespace sim {

struct DriverInterfaceState {
  bool enabled = false;
  bool hasDynamicLimit = false;
  uint32_t dynamicLimit = 0;
  bool hasStaticLimit = false;
  uint32_t staticLimit = 0;
  std::map<uint16_t, uint32_t> vlanLimits;
};

// The switches and limits that the driver has accepted, by interface id.
struct DriverSettings {
  bool enabled = false;
  std::map<unsigned int, DriverInterfaceState> interfaces;

  // Defaults for an interface never configured.
  DriverInterfaceState interfaceState(unsigned int id) const {
    auto found = interfaces.find(id);
    return found == interfaces.end() ? DriverInterfaceState() : found->second;
  }
};

struct DriverViolation {
  MacAddress mac = {};
  uint16_t vlan = 0;
};

enum class LearnResult {
  learned,      // a new dynamic entry, or a dynamic entry moved to this port
  known,        // already on this port, or static
  violation,    // a limit of the port's interface is reached; nothing learned
  unknownPort,  // the port stands for no interface of the node
  tableFull,    // the table holds as many entries as it can; nothing learned
  unlearnable,  // a group or all-zero source, which no table learns
};

// Interface id `id` is driver port id - 1 in every record and entry.
class DriverTable {
 public:
  virtual ~DriverTable() = default;

  // Empty table, no counts, no violations. Settings are published apart.
  virtual void clear() = 0;

  // Take the switches and limits in force; 0 or the errno of a refusal, and
  // then the frame path still sees the ones before.
  virtual int publishGlobalState(bool enabled) = 0;
  virtual int publishInterface(unsigned int id, const DriverInterfaceState& before,
                               const DriverInterfaceState& after) = 0;

  // (mac, vlan) becomes a static entry of `port`, in place when it exists
  // (a dynamic one gives back its count); ENOSPC for a new entry in a full
  // table.
  virtual int addStatic(uint32_t port, const MacAddress& mac, uint16_t vlan) = 0;
  // ENOENT unless (mac, vlan) is a static entry of `port`.
  virtual int deleteStatic(uint32_t port, const MacAddress& mac, uint16_t vlan) = 0;
  // Every dynamic entry of `port` becomes static.
  virtual int moveToStatic(uint32_t port) = 0;
  // False when no violation was recorded on interface `id`.
  virtual bool lastViolation(unsigned int id, DriverViolation& out) const = 0;

  // A frame from (mac, vlan) arriving on `port`, decided as the driver
  // decides every frame.
  virtual LearnResult learn(uint32_t port, const MacAddress& mac, uint16_t vlan) = 0;

  virtual uint32_t bucketCount() const = 0;
  // Rehashes the entries into `count` chains, keeping their order.
  virtual void setBucketCount(uint32_t count) = 0;
  // Starts a table walk: the bucket count, and the entries it reads stay as
  // they were here until the next walk starts. 0 or the errno of a failure.
  virtual int beginWalk(uint32_t& buckets) = 0;
  // The entry at `position` of `bucket`'s chain in the walk; null past the
  // chain's end or for a bucket out of range.
  virtual const MacTableEntry* entryAt(uint32_t bucket, uint32_t position) const = 0;
  // The whole table, one chain per bucket, in chain order.
  virtual std::vector<std::vector<MacTableEntry>> chains() = 0;
};

}  // namespace sim
