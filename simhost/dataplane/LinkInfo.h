// What the kernel says of a network device, through rtnetlink. Safe from
// any thread.
#pragma once

#include <cstdint>

namespace sim {

struct LinkInfo {
  // The ifindex of its veth peer in this network namespace; 0 when the
  // device is no veth or its peer lives elsewhere.
  int vethPeer = 0;
  uint64_t receivedFrames = 0;  // rx_packets of its 64-bit statistics
};

// False when the kernel knows no device `ifindex` here.
bool readLinkInfo(int ifindex, LinkInfo& out);

inline int vethPeer(int ifindex) {
  LinkInfo link;
  return readLinkInfo(ifindex, link) ? link.vethPeer : 0;
}

}  // namespace sim
