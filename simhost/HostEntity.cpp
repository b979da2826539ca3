// The BLEntity operations shared by the host's own services: none of them
// keeps configuration or has anything to start or stop.
#include "HostEntity.h"

void HostEntity::applyConfiguration(boost::shared_ptr<Storage::Setting>) {}

void HostEntity::saveConfiguration(boost::shared_ptr<Storage::Setting>) const {}

bool HostEntity::start() { return true; }

bool HostEntity::applyDefaultSettings() { return true; }

bool HostEntity::stop() { return true; }

void HostEntity::getDependencies(std::list<std::string>& dependencies) { dependencies.clear(); }
