// An entity of the host's own services (interface registry, network
// information, bridge): it exists in the host under its name, but keeps no
// configuration and has nothing to start or stop. Its operations touch no
// state and are safe from any thread.
#pragma once

#include <list>
#include <string>

#include <boost/shared_ptr.hpp>

#include "BLEntity.h"

class HostEntity : public BLEntity {
 public:
  explicit HostEntity(const std::string& entityName) : BLEntity(entityName) {}

  // Accept any setting and change nothing.
  void applyConfiguration(boost::shared_ptr<Storage::Setting> setting) override;
  void saveConfiguration(boost::shared_ptr<Storage::Setting> setting) const override;
  // Always true.
  bool start() override;
  bool applyDefaultSettings() override;
  bool stop() override;
  // Empties `dependencies`: a host service needs no other entity.
  void getDependencies(std::list<std::string>& dependencies) override;
};
