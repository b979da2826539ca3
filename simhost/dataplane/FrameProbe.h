// Plays one frame into a guarded device, as a station behind it would send
// it, and reads back from the data plane what the kernel decided. The frame
// leaves through the device's veth peer, tagged unless its VLAN is the
// device's pvid, and carries a nonce that the program records its decision
// under. Not thread-safe: the Driver guards it.
#pragma once

#include <cstdint>

#include "DriverTable.h"
#include "GuardedDevice.h"
#include "MacAddress.h"

namespace sim {

class FrameProbe {
 public:
  explicit FrameProbe(int probeResultsFd);
  ~FrameProbe();
  FrameProbe(const FrameProbe&) = delete;
  FrameProbe& operator=(const FrameProbe&) = delete;

  // Throws DataplaneError when the device has no veth peer, the frame cannot
  // be sent, or no decision is seen within two seconds.
  LearnResult send(const GuardedDevice& device, const MacAddress& source, uint16_t vlan);

 private:
  bool readDecision(uint64_t nonce, uint32_t& verdict) const;

  int results;
  int socketFd = -1;
  uint64_t nextNonce;
};

}  // namespace sim
