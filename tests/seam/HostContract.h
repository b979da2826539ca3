// The host's entity interface as the host's binary contract states it,
// written here rather than taken from host/: the seam tests call the module
// through this declaration, so a header that drifts from the host's slot
// order fails them.
#pragma once

#include <list>
#include <string>
#include <vector>

#include <boost/shared_ptr.hpp>

namespace contract {

namespace Storage {
class Setting;
}

// The host's entity interface: a base that adds nothing virtual, the six
// operations in this slot order, the virtual destructor, then the name.
class BLEntity {
 public:
  virtual void applyConfiguration(boost::shared_ptr<Storage::Setting> setting) = 0;
  virtual void saveConfiguration(boost::shared_ptr<Storage::Setting> setting) const = 0;
  virtual bool start() = 0;
  virtual bool applyDefaultSettings() = 0;
  virtual bool stop() = 0;
  virtual void getDependencies(std::list<std::string>& dependencies) = 0;

  std::string name;

 protected:
  virtual ~BLEntity();
};

// The entity's operations, then the two destructor entries (complete, deleting).
const std::vector<std::string> PORTSECURITY_SLOTS = {
    "_ZN12PortSecurity18applyConfigurationEN5boost10shared_ptrIN7Storage7SettingEEE",
    "_ZNK12PortSecurity17saveConfigurationEN5boost10shared_ptrIN7Storage7SettingEEE",
    "_ZN12PortSecurity5startEv",
    "_ZN12PortSecurity20applyDefaultSettingsEv",
    "_ZN12PortSecurity4stopEv",
    "_ZN12PortSecurity15getDependenciesERNSt7__cxx114listINS0_12basic_stringIcSt11char_"
    "traitsIcESaIcEEESaIS6_EEE",
    "_ZN12PortSecurityD1Ev",
    "_ZN12PortSecurityD0Ev",
};

}  // namespace contract
