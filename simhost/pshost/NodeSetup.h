// Puts a node description into the development host: the simulated node's
// interfaces, bindings, VLANs, management address and profile mode, and the
// driver's table size. Called before the module is loaded, from one thread.
#pragma once

#include "NodeConfig.h"

namespace pshost {

void applyNode(const NodeConfig& node);

}  // namespace pshost
