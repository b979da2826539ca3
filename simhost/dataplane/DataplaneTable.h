// The driver's table on the eBPF data plane: the commands become operations
// on the program's maps, and frames are real ones, decided in the kernel at
// the ingress of each guarded device. A table walk reads one snapshot of the
// map, in the buckets and order the simulated table would give it.
// Not thread-safe: the Driver guards it (the kernel side runs beside it).
#pragma once

#include <memory>
#include <vector>

#include "DataplaneProgram.h"
#include "DriverTable.h"
#include "FrameProbe.h"
#include "GuardedDevice.h"

namespace sim {

class DataplaneTable final : public DriverTable {
 public:
  // Registers every device with the program, its switches off and its
  // counts at zero. Throws DataplaneError when the maps refuse.
  DataplaneTable(std::shared_ptr<DataplaneProgram> program, std::vector<GuardedDevice> devices,
                 uint32_t buckets);

  void clear() override;
  int publishGlobalState(bool enabled) override;
  int publishInterface(unsigned int id, const DriverInterfaceState& before,
                       const DriverInterfaceState& after) override;
  int addStatic(uint32_t port, const MacAddress& mac, uint16_t vlan) override;
  int deleteStatic(uint32_t port, const MacAddress& mac, uint16_t vlan) override;
  int moveToStatic(uint32_t port) override;
  bool lastViolation(unsigned int id, DriverViolation& out) const override;
  // Sends a real frame into the port's device through its veth peer and
  // answers what the kernel decided. Throws DataplaneError when the frame
  // cannot be sent or no decision comes.
  LearnResult learn(uint32_t port, const MacAddress& mac, uint16_t vlan) override;
  uint32_t bucketCount() const override { return buckets; }
  void setBucketCount(uint32_t count) override;
  int beginWalk(uint32_t& buckets) override;
  const MacTableEntry* entryAt(uint32_t bucket, uint32_t position) const override {
    if (bucket >= snapshot.size() || position >= snapshot[bucket].size()) return nullptr;
    return &snapshot[bucket][position];
  }
  std::vector<std::vector<MacTableEntry>> chains() override;

  const std::vector<GuardedDevice>& devices() const { return guarded; }

 private:
  // 0, or the errno of the map read (and then an empty snapshot).
  int takeSnapshot();

  std::shared_ptr<DataplaneProgram> program;
  std::vector<GuardedDevice> guarded;
  FrameProbe probe;
  uint32_t buckets;
  std::vector<std::vector<MacTableEntry>> snapshot;
};

}  // namespace sim
