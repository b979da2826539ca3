// The node's network information: management MAC address and VLAN.
#pragma once

#include <list>
#include <string>

#include "HostEntity.h"
#include "singleton.h"

class Network : public HostEntity, public singleton<Network> {
 public:
  struct NetworkInfo {
    unsigned char mngMac[6];
    unsigned short mngVlan;
    unsigned int ipAddress;
    unsigned int netmask;
    unsigned int gateway;
  };

  Network();
  // Defined by the host, out of line: the class's vtable and typeinfo are
  // the host's, and a module that builds the singleton only refers to them.
  void getDependencies(std::list<std::string>& dependencies) override;

  // 0 on success, an error code otherwise.
  int getNetworkInfo(NetworkInfo* info);
};
