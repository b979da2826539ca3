// Puts pshost's driver on the eBPF data plane when the node asks for it: the
// program loaded, its table in place of the simulated one, and the program
// attached to the ingress of every interface's Linux device. Called once at
// start, before the module is loaded.
#pragma once

#include <memory>

#include "NodeConfig.h"
#include "TcAttachment.h"

namespace pshost {

// The MAC table's capacity on the data plane when the node gives none.
constexpr unsigned int kDefaultDataplaneEntries = 65536;

// Null for a node on the simulated driver. The attachment lasts as long as
// the returned object. Throws sim::DataplaneError with the line to print,
// leaving nothing attached.
std::unique_ptr<sim::TcAttachment> startDataplane(const NodeConfig& node);

}  // namespace pshost
