// The bridge driver's commands, decoded byte for byte as the driver's records
// lay them out, and the switches and limits it accepted. The MAC table, the
// counts and the violations sit below, in the simulated table or in the
// eBPF data plane's maps.
// Not thread-safe: SimDriver guards it.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "DriverRecords.h"
#include "DriverTable.h"
#include "MacAddress.h"
#include "SimulatedTable.h"

namespace sim {

// The length of the record that `code` passes by address: 0 for the command
// that passes its value itself, false for a code the driver does not know.
bool driverRecordSize(unsigned long code, size_t& size);

class DriverModel {
 public:
  // The most entries the simulated table can be sized for.
  static const uint32_t kMaxEntries = SimulatedTable::kMaxEntries;

  DriverModel();

  // Factory state: the table in use emptied and back to the default bucket
  // count, the simulated one to its largest capacity; switches off, no
  // limits, no violations.
  void reset();

  // From now on commands and frames act on `table` (the simulated table
  // again when null). The settings in force are published to it first; on
  // a refusal, its errno, and the table in use stays.
  int useTable(std::unique_ptr<DriverTable> table);

  // Runs one command; `argument` is the ioctl's third argument word. Returns 0
  // when the driver accepts it, otherwise the errno of the refusal: ENODEV for
  // an interface the driver does not know, EINVAL for a bad field value,
  // ENOENT for a missing entry, ENOSPC for a new entry in a full table, ENOTTY for an unknown code,
  // EFAULT for a null record.
  int execute(unsigned long code, unsigned long argument);

  // A frame from `mac` in `vlan` arriving on driver port `port`, the port of
  // interface `port` + 1.
  LearnResult learn(uint32_t port, const MacAddress& mac, uint16_t vlan);

  // PSIOC_GET_TABLE_ENTRY on `record`, inline: a walk issues one per bucket
  // and entry, most of them past the end of a chain.
  int readEntry(uint8_t* record) const {
    uint32_t bucket, position;
    std::memcpy(&bucket, record + offsetof(psdriver::psTableEntryArg_t, bucket), sizeof bucket);
    std::memcpy(&position, record + offsetof(psdriver::psTableEntryArg_t, position),
                sizeof position);
    const MacTableEntry* entry = active->entryAt(bucket, position);
    if (entry == nullptr) return ENOENT;
    writeEntry(*entry, record);
    return 0;
  }

  DriverTable& table() { return *active; }
  SimulatedTable& simulatedTable() { return simulated; }
  bool globalState() const { return settings.enabled; }
  // Defaults for an interface never configured.
  DriverInterfaceState interfaceState(unsigned int id) const { return settings.interfaceState(id); }
  // False when no violation was recorded on the interface.
  bool lastViolation(unsigned int id, DriverViolation& out) const {
    return active->lastViolation(id, out);
  }

 private:
  int executeRecord(unsigned long code, uint8_t* record);
  int setGlobalState(bool enabled);
  int setInterfaceState(unsigned int id, const uint8_t* record);
  int setInterfaceLimit(unsigned int id, const uint8_t* record);
  int setVlanLimit(unsigned int id, const uint8_t* record, bool remove);
  // Publishes `after` as interface `id`'s settings, and keeps them once the
  // table took them.
  int changeInterface(unsigned int id, const DriverInterfaceState& after);
  int publishAll(DriverTable& table);
  int addStatic(unsigned int id, const uint8_t* record);
  int deleteStatic(unsigned int id, const uint8_t* record);
  static void writeEntry(const MacTableEntry& entry, uint8_t* record);
  int readViolation(unsigned int id, uint8_t* record) const;

  DriverSettings settings;
  SimulatedTable simulated;
  std::unique_ptr<DriverTable> installed;
  DriverTable* active;
};

}  // namespace sim
