// The host's network information, answered from the simulated node.
#include "Network.h"

#include <cstring>

#include "SimNode.h"

Network::Network() : HostEntity("network") {}

void Network::getDependencies(std::list<std::string>& dependencies) {
  HostEntity::getDependencies(dependencies);
}

int Network::getNetworkInfo(NetworkInfo* info) {
  sim::Node& node = sim::Node::instance();
  const int fault = node.networkInfoFault();
  if (fault != 0) return fault;
  if (info == nullptr) return -1;
  const sim::ManagementConfig management = node.management();
  std::memset(info, 0, sizeof *info);
  std::memcpy(info->mngMac, management.mac.data(), sizeof info->mngMac);
  info->mngVlan = management.vlan;
  return 0;
}
