// An entity of the development host's own services (interface registry,
// network information, bridge): it exists in the host under its name, but
// keeps no configuration and has nothing to start or stop. Its operations
// touch no state and are safe from any thread. All inline: a module built
// against these headers refers to nothing of it, as it could not in a host
// whose services derive from BLEntity directly.
#pragma once

#include <list>
#include <string>

#include <boost/shared_ptr.hpp>

#include "BLEntity.h"

class HostEntity : public BLEntity {
 public:
  explicit HostEntity(const std::string& entityName) : BLEntity(entityName) {}

  // Accept any setting and change nothing.
  void applyConfiguration(boost::shared_ptr<Storage::Setting>) override {}
  void saveConfiguration(boost::shared_ptr<Storage::Setting>) const override {}
  // Always true.
  bool start() override { return true; }
  bool applyDefaultSettings() override { return true; }
  bool stop() override { return true; }
  // Empties `dependencies`: a host service needs no other entity.
  void getDependencies(std::list<std::string>& dependencies) override { dependencies.clear(); }
};
