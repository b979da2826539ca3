#include "NodeSetup.h"

#include "SimHost.h"

namespace pshost {

void applyNode(const NodeConfig& config) {
  sim::reset();
  sim::Node& node = sim::Node::instance();
  node.setBridgeName(config.bridge);
  for (const NodeInterface& intf : config.interfaces) {
    sim::InterfaceConfig added;
    added.id = intf.id;
    added.type = static_cast<Interfaces::interfaceType>(intf.type);
    added.name = intf.name;
    added.active = intf.active;
    added.uplink = intf.uplink;
    node.addInterface(added);
  }
  sim::ManagementConfig management;
  management.interfaceId = config.managementInterface;
  management.mac = config.managementMac;
  management.vlan = config.managementVlan;
  node.setManagement(management);
  node.setProfileMode(config.profileMode);
  for (const NodeGem& gem : config.gem) node.bindGem({gem.interface, gem.vport, gem.gem});
  for (uint16_t vlan : config.vlans) node.addVlanQuietly(vlan);
  sim::Driver& driver = sim::Driver::instance();
  if (config.driverBuckets != 0) driver.setBucketCount(config.driverBuckets);
  if (config.driverEntries != 0) driver.setEntryCapacity(config.driverEntries);
  if (config.driverLogCapacity != 0) driver.setCommandLogCapacity(config.driverLogCapacity);
}

}  // namespace pshost
