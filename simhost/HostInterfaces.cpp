// The host's interface registry, answered from the simulated node.
#include "Interfaces.h"

#include "BusinessLock.h"
#include "SimNode.h"

namespace {

const int kFailed = -1;

}  // namespace

Interfaces::Interfaces() : HostEntity("interfaces") {}

void Interfaces::getDependencies(std::list<std::string>& dependencies) {
  HostEntity::getDependencies(dependencies);
}

int Interfaces::interfaceListGet(std::vector<Interface>& list) {
  list.clear();
  for (const sim::InterfaceConfig& config : sim::Node::instance().interfaces())
    list.push_back(Interface{config.id, config.type, config.name, config.name, std::string()});
  return 0;
}

bool Interfaces::checkId(unsigned int id) {
  sim::BusinessLock::instance().noteCallNeedingLock();
  return sim::Node::instance().hasInterface(id);
}

int Interfaces::interfaceGetNameById(unsigned int id, std::string& name) const {
  sim::Node& node = sim::Node::instance();
  sim::InterfaceConfig config;
  if (node.nameLookupFails(id) || !node.findInterface(id, config)) return kFailed;
  name = config.name;
  return 0;
}

int Interfaces::interfaceGetTypeById(unsigned int id, interfaceType* type) const {
  sim::Node& node = sim::Node::instance();
  sim::InterfaceConfig config;
  if (type == nullptr || node.typeLookupFails() || !node.findInterface(id, config)) return kFailed;
  *type = config.type;
  return 0;
}

int Interfaces::interfaceMngIdGet(unsigned int& id) {
  sim::Node& node = sim::Node::instance();
  const int fault = node.mngIdFault();
  if (fault != 0) return fault;
  id = node.management().interfaceId;
  return 0;
}

bool Interfaces::isInterfaceActive(unsigned int id) const {
  sim::InterfaceConfig config;
  return sim::Node::instance().findInterface(id, config) && config.active;
}

int Interfaces::interfaceGPONGemInterfaceFind(unsigned int intf, unsigned int vport,
                                              unsigned int& gemIntf) {
  return sim::Node::instance().findGem(intf, vport, gemIntf) ? 0 : kFailed;
}
