// The interface every business-logic entity of the host implements.
// The host calls these operations from its own threads; each entity serialises
// its own work on the business-logic lock (BLLManager).
#pragma once

#include <list>
#include <string>

#include <boost/shared_ptr.hpp>

#include "Storage.h"

class BLEntity : public Storage::StorageItem {
 public:
  explicit BLEntity(const std::string& entityName) : name(entityName) {}

  // The host calls these through fixed vtable slots, in this order, with the
  // destructor after them: keep the order (see docs/host-contracts.md).
  virtual void applyConfiguration(boost::shared_ptr<Storage::Setting> setting) = 0;
  virtual void saveConfiguration(boost::shared_ptr<Storage::Setting> setting) const = 0;
  virtual bool start() = 0;
  // True on success.
  virtual bool applyDefaultSettings() = 0;
  virtual bool stop() = 0;
  // Replaces `dependencies` with the names of the entities this one needs.
  virtual void getDependencies(std::list<std::string>& dependencies) = 0;
  virtual ~BLEntity() = default;

  const std::string& getName() const { return name; }

 private:
  std::string name;
};
