// The simulated driver's table: MAC entries in memory, hashed into chains,
// frames that exist only as learn calls, and the last violation per
// interface. It decides frames from the settings the driver accepted.
// Not thread-safe: the Driver guards it.
#pragma once

#include <map>

#include "DriverTable.h"

namespace sim {

class SimulatedTable final : public DriverTable {
 public:
  // The most entries the simulated table can be sized for.
  static const uint32_t kMaxEntries = 4194304;

  // `settings` are the driver's, read on every frame; they outlive the table.
  explicit SimulatedTable(const DriverSettings& settings);

  // How many entries the table holds at most (1 to kMaxEntries); a smaller
  // size than the table holds now keeps the entries but takes no new ones.
  void setEntryCapacity(uint32_t capacity) { entryLimit = capacity; }
  uint32_t entryCapacity() const { return entryLimit; }

  void clear() override;
  int publishGlobalState(bool) override { return 0; }
  int publishInterface(unsigned int, const DriverInterfaceState&,
                       const DriverInterfaceState&) override {
    return 0;
  }
  int addStatic(uint32_t port, const MacAddress& mac, uint16_t vlan) override;
  int deleteStatic(uint32_t port, const MacAddress& mac, uint16_t vlan) override;
  int moveToStatic(uint32_t port) override;
  bool lastViolation(unsigned int id, DriverViolation& out) const override;
  LearnResult learn(uint32_t port, const MacAddress& mac, uint16_t vlan) override;
  uint32_t bucketCount() const override { return macTable.bucketCount(); }
  void setBucketCount(uint32_t count) override { macTable.setBucketCount(count); }
  int beginWalk(uint32_t& buckets) override {
    buckets = macTable.bucketCount();
    return 0;
  }
  const MacTableEntry* entryAt(uint32_t bucket, uint32_t position) const override {
    return macTable.at(bucket, position);
  }
  std::vector<std::vector<MacTableEntry>> chains() override { return macTable.chains(); }

 private:
  bool limitReached(uint32_t port, uint16_t vlan) const;

  const DriverSettings& settings;
  MacTable macTable;
  uint32_t entryLimit;
  std::map<unsigned int, DriverViolation> violations;
};

}  // namespace sim
