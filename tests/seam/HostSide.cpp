#include "HostSide.h"

#include "BLEntity.h"
#include "Interfaces.h"
#include "Network.h"
#include "SimHost.h"
#include "vqbridge.h"

namespace hostside {

void buildNode() {
  sim::reset();
  sim::LogRecorder::instance().setEcho(false);
  sim::Node& node = sim::Node::instance();
  node.addInterface({1, Interfaces::IF_TYPE_MANAGEMENT, "mgmt0"});
  node.addInterface({2, Interfaces::IF_TYPE_ETHERNET, "ge1"});
  node.addInterface({3, Interfaces::IF_TYPE_ETHERNET, "ge2"});
  node.addVlanQuietly(10);
  node.setManagement(sim::ManagementConfig{1, {0x02, 0, 0, 0, 0, 0x01}, 10});
}

void* registeredEntity(const std::string& name) {
  BLEntity* found = nullptr;
  for (BLEntity* entity : sim::HostRegistry::instance().entities())
    if (entity->getName() == name) {
      if (found != nullptr) return nullptr;
      found = entity;
    }
  return found;
}

std::vector<std::string> serviceEntityNames() {
  return {singleton<Interfaces>::instance().getName(), singleton<vqbridge>::instance().getName(),
          singleton<Network>::instance().getName()};
}

std::vector<unsigned long> takeDriverCodes() {
  std::vector<unsigned long> codes;
  for (const sim::DriverCommand& command : sim::Driver::instance().commands())
    codes.push_back(command.code);
  sim::Driver::instance().clearCommands();
  return codes;
}

std::vector<std::string> takeLogLines() {
  std::vector<std::string> texts;
  for (const sim::LogLine& line : sim::LogRecorder::instance().lines()) texts.push_back(line.text);
  sim::LogRecorder::instance().clear();
  return texts;
}

unsigned int openDriverHandles() { return sim::Driver::instance().openHandles(); }
size_t vlanCreatedSubscribers() {
  return singleton<vqbridge>::instance().vlanCreatedEvent.postCount();
}
std::vector<std::string> registeredThreads() { return sim::HostRegistry::instance().threadNames(); }

}  // namespace hostside
