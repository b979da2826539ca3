// Load-time registration of the port-security entity with the host.
// Runs once, during the module's static initialisation.

#include "BLLManager.h"
#include "PortSecurity.h"

namespace {

// Builds the one entity and hands it to the host. Nothing else happens at
// load: no driver access, no thread, no subscription.
struct EntityRegistration {
  EntityRegistration() {
    BLLManager& manager = singleton<BLLManager>::instance();
    manager.registerEntity(singleton<PortSecurity>::instance());
  }
};

const EntityRegistration registration;

}  // namespace
