// The node's network information: management MAC address and VLAN.
#pragma once

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

  // 0 on success, an error code otherwise.
  int getNetworkInfo(NetworkInfo* info);
};
