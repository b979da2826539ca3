// The node's network information: management MAC address and VLAN.
#pragma once

#include "BLEntity.h"
#include "singleton.h"

class Network : public BLEntity, public singleton<Network> {
 public:
  struct NetworkInfo {
    unsigned char mngMac[6];
    unsigned short mngVlan;
    unsigned int ipAddress;
    unsigned int netmask;
    unsigned int gateway;
  };

  Network();

  void applyConfiguration(boost::shared_ptr<Storage::Setting> setting) override;
  void saveConfiguration(boost::shared_ptr<Storage::Setting> setting) const override;
  bool start() override;
  bool applyDefaultSettings() override;
  bool stop() override;
  void getDependencies(std::list<std::string>& dependencies) override;

  // 0 on success, an error code otherwise.
  int getNetworkInfo(NetworkInfo* info);
};
