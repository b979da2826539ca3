#include "ModuleHost.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>

#include "BLEntity.h"
#include "HostRegistry.h"

namespace pshost {

std::string defaultModulePath() {
  char executable[4096];
  ssize_t n = ::readlink("/proc/self/exe", executable, sizeof executable - 1);
  if (n <= 0) return "libportsecurity.so";
  std::string path(executable, static_cast<size_t>(n));
  const std::string directory = path.substr(0, path.rfind('/') + 1);
  // Beside the executable in a build tree; in the plug-in directory once
  // installed.
  const std::string beside = directory + "libportsecurity.so";
#ifdef PS_BIN_TO_PLUGINS
  if (::access(beside.c_str(), F_OK) != 0)
    return directory + PS_BIN_TO_PLUGINS + "/libportsecurity.so";
#endif
  return beside;
}

std::string loadModule(const std::string& path) {
  size_t before = sim::HostRegistry::instance().entities().size();
  // Resolve every symbol now, so that a module built against other host
  // contracts fails here rather than in the middle of a request. The handle
  // stays open for the life of the process.
  void* module = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) {
    // The loader's text starts with the path already.
    const char* reason = ::dlerror();
    throw std::runtime_error(reason != nullptr ? "module " + std::string(reason)
                                               : "module " + path + ": cannot load");
  }
  if (sim::HostRegistry::instance().entities().size() == before)
    throw std::runtime_error("module " + path + ": registered no entity");
  // Read from an exported string rather than asked of the module, which
  // would then have to write something itself.
  const char* version = static_cast<const char*>(::dlsym(module, "portsecurityModuleVersion"));
  return version != nullptr ? version : "unknown";
}

std::vector<std::string> startEntities() {
  std::vector<std::string> names;
  for (BLEntity* entity : sim::HostRegistry::instance().entities()) {
    const std::string& name = entity->getName();
    if (!entity->applyDefaultSettings())
      std::fprintf(stderr, "pshost: %s: default settings were not applied in full\n", name.c_str());
    if (!entity->start()) std::fprintf(stderr, "pshost: %s: did not start\n", name.c_str());
    names.push_back(name);
  }
  return names;
}

void stopEntities() {
  std::vector<BLEntity*> entities = sim::HostRegistry::instance().entities();
  for (auto it = entities.rbegin(); it != entities.rend(); ++it)
    if (!(*it)->stop())
      std::fprintf(stderr, "pshost: %s: did not stop\n", (*it)->getName().c_str());
}

}  // namespace pshost
