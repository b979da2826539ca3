// The host's bridge service, answered from the simulated node's VLAN set.
#include "vqbridge.h"

#include "SimNode.h"

vqbridge::vqbridge() : BLEntity("vqbridge") {}

void vqbridge::applyConfiguration(boost::shared_ptr<Storage::Setting>) {}

void vqbridge::saveConfiguration(boost::shared_ptr<Storage::Setting>) const {}

bool vqbridge::start() { return true; }

bool vqbridge::applyDefaultSettings() { return true; }

bool vqbridge::stop() { return true; }

void vqbridge::getDependencies(std::list<std::string>& dependencies) { dependencies.clear(); }

bool vqbridge::vlanCreated(const char* bridge, unsigned short vlan) {
  sim::Node& node = sim::Node::instance();
  return bridge != nullptr && node.bridgeName() == bridge && node.hasVlan(vlan);
}
