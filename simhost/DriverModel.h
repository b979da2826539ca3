// The simulated bridge driver's port-security state (switches, limits, MAC
// table, last violation per interface) and the commands that read and change
// it, byte for byte as the driver's records lay them out.
// Not thread-safe: SimDriver guards it.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>

#include "DriverRecords.h"
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
};

// The length of the record that `code` passes by address: 0 for the command
// that passes its value itself, false for a code the driver does not know.
bool driverRecordSize(unsigned long code, size_t& size);

class DriverModel {
 public:
  // The most entries the simulated table can be sized for.
  static const uint32_t kMaxEntries = 4194304;

  DriverModel();

  // Factory state: empty table with the default bucket count, switches off,
  // no limits, no violations.
  void reset();

  // Runs one command; `argument` is the ioctl's third argument word. Returns 0
  // when the driver accepts it, otherwise the errno of the refusal: ENODEV for
  // an interface the driver does not know, EINVAL for a bad field value,
  // ENOENT for a missing entry, ENOSPC for a new entry in a full table, ENOTTY for an unknown code,
  // EFAULT for a null record.
  int execute(unsigned long code, unsigned long argument);

  // A frame from `mac` in `vlan` arriving on driver port `port`, the port of
  // interface `port` + 1.
  LearnResult learn(uint32_t port, const MacAddress& mac, uint16_t vlan);

  // How many entries the table holds at most (1 to kMaxEntries); a smaller
  // size than the table holds now keeps the entries but takes no new ones.
  void setEntryCapacity(uint32_t capacity) { entryLimit = capacity; }
  uint32_t entryCapacity() const { return entryLimit; }

  // PSIOC_GET_TABLE_ENTRY on `record`, inline: a walk issues one per bucket
  // and entry, most of them past the end of a chain.
  int readEntry(uint8_t* record) const {
    uint32_t bucket, position;
    std::memcpy(&bucket, record + offsetof(psdriver::psTableEntryArg_t, bucket), sizeof bucket);
    std::memcpy(&position, record + offsetof(psdriver::psTableEntryArg_t, position),
                sizeof position);
    const MacTableEntry* entry = macTable.at(bucket, position);
    if (entry == nullptr) return ENOENT;
    writeEntry(*entry, record);
    return 0;
  }

  MacTable& table() { return macTable; }
  const MacTable& table() const { return macTable; }
  bool globalState() const { return enabled; }
  // Defaults for an interface never configured.
  DriverInterfaceState interfaceState(unsigned int id) const;
  // False when no violation was recorded on the interface.
  bool lastViolation(unsigned int id, DriverViolation& out) const;

 private:
  int executeRecord(unsigned long code, uint8_t* record);
  int setInterfaceState(unsigned int id, const uint8_t* record);
  int setInterfaceLimit(unsigned int id, const uint8_t* record);
  int setVlanLimit(unsigned int id, const uint8_t* record, bool remove);
  int addStatic(unsigned int id, const uint8_t* record);
  int deleteStatic(unsigned int id, const uint8_t* record);
  static void writeEntry(const MacTableEntry& entry, uint8_t* record);
  int readViolation(unsigned int id, uint8_t* record) const;
  bool limitReached(uint32_t port, uint16_t vlan) const;

  MacTable macTable;
  uint32_t entryLimit;
  bool enabled;
  std::map<unsigned int, DriverInterfaceState> interfaces;
  std::map<unsigned int, DriverViolation> violations;
};

}  // namespace sim
