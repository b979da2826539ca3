// Loading the module and driving the entities it registers through their
// life: default settings, start, and stop at shutdown. Called from the main
// thread only.
#pragma once

#include <string>
#include <vector>

class BLEntity;

namespace pshost {

// libportsecurity.so in the directory of the running executable, or else in
// the plug-in directory of the tree the executable is installed in.
std::string defaultModulePath();

// Loads the module; its load-time code registers its entities with the host.
// Returns the version the module exports ("unknown" when it exports none).
// Throws std::runtime_error naming the path when it cannot be loaded or
// registers nothing.
std::string loadModule(const std::string& path);

// Applies default settings to, then starts, every registered entity, in
// registration order. Failures are reported on stderr; the others still run.
// Returns the entities' names.
std::vector<std::string> startEntities();

// Stops every registered entity, in reverse order.
void stopEntities();

}  // namespace pshost
