// A Linux network device whose ingress the data plane guards: the interface
// it stands for and how frames reach it. Plain data.
#pragma once

#include <cstdint>
#include <string>

namespace sim {

struct GuardedDevice {
  unsigned int id = 0;  // the interface; its driver port is id - 1
  std::string netdev;
  int ifindex = 0;
  uint16_t pvid = 1;    // the VLAN of its untagged frames
  int peerIfindex = 0;  // its veth peer, 0 for a device that has none
};

}  // namespace sim
