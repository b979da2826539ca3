// The control surface of the development host, for tests and for pshost:
// the node, the driver, the log recorder, the registry and the lock hooks,
// plus the world reset and the external-message raiser.
// Safe from any thread.
#pragma once

#include <string>

#include "BusinessLock.h"
#include "HostRegistry.h"
#include "LogRecorder.h"
#include "SimDriver.h"
#include "SimNode.h"

namespace sim {

// Back to an empty world: empty node, factory driver, no log messages, no
// thread names, no lock faults. Registered entities, open driver handles,
// event subscriptions and the log's echo setting survive, since they belong
// to the process rather than to the world.
void reset();

// Raises the host's external-message event (pre- then post-subscribers)
// with `module` and `command`, and returns what the subscribers wrote to
// the stream.
std::string sendExternalMessage(const std::string& module, const std::string& command,
                                const std::string& argument = std::string());

}  // namespace sim
