// The host's bridge service, answered from the simulated node's VLAN set.
#include "vqbridge.h"

#include "SimNode.h"

vqbridge::vqbridge() : HostEntity("vqbridge") {}

void vqbridge::getDependencies(std::list<std::string>& dependencies) {
  HostEntity::getDependencies(dependencies);
}

bool vqbridge::vlanCreated(const char* bridge, unsigned short vlan) {
  sim::Node& node = sim::Node::instance();
  return bridge != nullptr && node.bridgeName() == bridge && node.hasVlan(vlan);
}
