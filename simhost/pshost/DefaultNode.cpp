// The node pshost runs when no node file is given. examples/olt.json holds
// the same node as a file; keep the two alike.
#include "NodeConfig.h"

namespace pshost {

NodeConfig defaultNode() {
  NodeConfig node;
  node.bridge = "br0";
  node.interfaces = {
      {1, "mgmt0", 2, true, false, "", 1},    {2, "ge1", 1, true, false, "", 1},
      {3, "ge2", 1, true, false, "", 1},      {4, "ge3", 1, true, false, "", 1},
      {5, "xe1", 1, true, true, "", 1},       {6, "cpu0", 3, true, false, "", 1},
      {10, "gpon1", 4, true, false, "", 1},   {11, "gpon2", 4, true, false, "", 1},
      {101, "gem1.1", 5, true, false, "", 1}, {102, "gem1.2", 5, true, false, "", 1},
      {111, "gem2.1", 5, true, false, "", 1}, {112, "gem2.2", 5, false, false, "", 1},
  };
  // gem2.2 is inactive and unbound until a GEM event binds it at run time.
  node.gem = {{10, 1, 101}, {10, 2, 102}, {11, 1, 111}};
  node.managementInterface = 1;
  node.managementMac = {0x02, 0x00, 0x00, 0x00, 0x00, 0x01};
  node.managementVlan = 10;
  node.vlans = {10, 100, 200};
  node.profileMode = false;
  node.driverBuckets = 256;
  return node;
}

}  // namespace pshost
