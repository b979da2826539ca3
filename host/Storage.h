// Configuration storage types of the host framework. Entities take part in the
// host's configuration tree through these; this module never looks inside.
#pragma once

#include <string>

#include <boost/shared_ptr.hpp>

namespace Storage {

// Root of everything that takes part in configuration storage. It declares
// nothing virtual: the first slots of an entity's vtable belong to BLEntity's
// operations, and the host deletes entities through BLEntity.
class StorageItem {
 protected:
  StorageItem() = default;
  ~StorageItem() = default;
};

// A node of the host's configuration tree, opaque to entities.
class Setting {
 public:
  virtual ~Setting() = default;
};

}  // namespace Storage

// Header-level constants: every unit that includes this header gets its own
// copies, built at load and destroyed at unload.
static const std::string defaultConfigFileName = "default_config.xml";
static const std::string savedConfigFileName = "saved_config.xml";
static const boost::shared_ptr<Storage::Setting> noSetting(static_cast<Storage::Setting*>(nullptr));
