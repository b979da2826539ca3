// The host's command-line configuration state, from the simulated node.
#include "CliConfig.h"

#include "SimNode.h"

bool CliConfig::checkProfileMode() { return sim::Node::instance().profileMode(); }
