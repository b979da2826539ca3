// What the kernel says of a network device, through rtnetlink. Safe from
// any thread.
#pragma once

namespace sim {

// The ifindex of the veth peer of device `ifindex` in this network
// namespace; 0 when the device is no veth or its peer lives elsewhere.
int vethPeer(int ifindex);

}  // namespace sim
