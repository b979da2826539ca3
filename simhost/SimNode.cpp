#include "SimNode.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>
#include <set>
#include <utility>

namespace sim {

struct Node::State {
  mutable std::mutex mutex;
  std::string bridge = "br0";
  std::vector<InterfaceConfig> interfaces;
  ManagementConfig management;
  bool profileMode = false;
  std::map<std::pair<unsigned int, unsigned int>, unsigned int> gems;
  std::set<uint16_t> vlans;
  // Asked once or twice per interface of every report, and nearly always
  // unarmed: readable without the lock.
  std::atomic<bool> typeFault{false};
  std::set<unsigned int> nameFaults;
  std::atomic<bool> anyNameFault{false};
  int networkFault = 0;
  int mngIdFault = 0;

  InterfaceConfig* find(unsigned int id) {
    for (InterfaceConfig& config : interfaces)
      if (config.id == id) return &config;
    return nullptr;
  }

  // Sets one flag of an interface; false when the node has no such interface.
  bool setFlag(unsigned int id, bool InterfaceConfig::*flag, bool value) {
    std::lock_guard<std::mutex> guard(mutex);
    InterfaceConfig* config = find(id);
    if (config == nullptr) return false;
    config->*flag = value;
    return true;
  }
};

Node& Node::instance() {
  // Never destroyed: module code may query the node at process exit.
  static Node* node = new Node();
  return *node;
}

Node::Node() : state(*new State()) {}

void Node::reset() {
  std::lock_guard<std::mutex> guard(state.mutex);
  state.bridge = "br0";
  state.interfaces.clear();
  state.management = ManagementConfig();
  state.profileMode = false;
  state.gems.clear();
  state.vlans.clear();
  state.typeFault = false;
  state.nameFaults.clear();
  state.anyNameFault = false;
  state.networkFault = 0;
  state.mngIdFault = 0;
}

std::string Node::bridgeName() const {
  std::lock_guard<std::mutex> guard(state.mutex);
  return state.bridge;
}

void Node::setBridgeName(const std::string& name) {
  std::lock_guard<std::mutex> guard(state.mutex);
  state.bridge = name;
}

bool Node::addInterface(const InterfaceConfig& config) {
  std::lock_guard<std::mutex> guard(state.mutex);
  if (state.find(config.id) != nullptr) return false;
  state.interfaces.push_back(config);
  return true;
}

std::vector<InterfaceConfig> Node::interfaces() const {
  std::lock_guard<std::mutex> guard(state.mutex);
  return state.interfaces;
}

bool Node::hasInterface(unsigned int id) const {
  std::lock_guard<std::mutex> guard(state.mutex);
  return state.find(id) != nullptr;
}

bool Node::findInterface(unsigned int id, InterfaceConfig& out) const {
  std::lock_guard<std::mutex> guard(state.mutex);
  const InterfaceConfig* config = state.find(id);
  if (config == nullptr) return false;
  out = *config;
  return true;
}

bool Node::setActive(unsigned int id, bool active) {
  return state.setFlag(id, &InterfaceConfig::active, active);
}

bool Node::setUplink(unsigned int id, bool uplink) {
  return state.setFlag(id, &InterfaceConfig::uplink, uplink);
}

void Node::setManagement(const ManagementConfig& management) {
  std::lock_guard<std::mutex> guard(state.mutex);
  state.management = management;
}

ManagementConfig Node::management() const {
  std::lock_guard<std::mutex> guard(state.mutex);
  return state.management;
}

void Node::setProfileMode(bool on) {
  std::lock_guard<std::mutex> guard(state.mutex);
  state.profileMode = on;
}

bool Node::profileMode() const {
  std::lock_guard<std::mutex> guard(state.mutex);
  return state.profileMode;
}

void Node::bindGem(const GemBinding& binding) {
  std::lock_guard<std::mutex> guard(state.mutex);
  state.gems[std::make_pair(binding.interface, binding.vport)] = binding.gem;
}

std::vector<GemBinding> Node::gemBindings() const {
  std::lock_guard<std::mutex> guard(state.mutex);
  std::vector<GemBinding> bindings;
  for (const auto& gem : state.gems)
    bindings.push_back(GemBinding{gem.first.first, gem.first.second, gem.second});
  return bindings;
}

bool Node::findGem(unsigned int interface, unsigned int vport, unsigned int& gem) const {
  std::lock_guard<std::mutex> guard(state.mutex);
  auto found = state.gems.find(std::make_pair(interface, vport));
  if (found == state.gems.end()) return false;
  gem = found->second;
  return true;
}

void Node::addVlanQuietly(uint16_t vlan) {
  std::lock_guard<std::mutex> guard(state.mutex);
  state.vlans.insert(vlan);
}

bool Node::insertVlan(uint16_t vlan) {
  std::lock_guard<std::mutex> guard(state.mutex);
  return state.vlans.insert(vlan).second;
}

bool Node::eraseVlan(uint16_t vlan) {
  std::lock_guard<std::mutex> guard(state.mutex);
  return state.vlans.erase(vlan) != 0;
}

bool Node::hasVlan(uint16_t vlan) const {
  std::lock_guard<std::mutex> guard(state.mutex);
  return state.vlans.count(vlan) != 0;
}

std::vector<uint16_t> Node::vlans() const {
  std::lock_guard<std::mutex> guard(state.mutex);
  return std::vector<uint16_t>(state.vlans.begin(), state.vlans.end());
}

void Node::failTypeLookup(bool fail) { state.typeFault = fail; }

void Node::failNameLookup(unsigned int id, bool fail) {
  std::lock_guard<std::mutex> guard(state.mutex);
  if (fail)
    state.nameFaults.insert(id);
  else
    state.nameFaults.erase(id);
  state.anyNameFault = !state.nameFaults.empty();
}

void Node::failNetworkInfo(int code) {
  std::lock_guard<std::mutex> guard(state.mutex);
  state.networkFault = code;
}

void Node::failMngIdGet(int code) {
  std::lock_guard<std::mutex> guard(state.mutex);
  state.mngIdFault = code;
}

bool Node::typeLookupFails() const { return state.typeFault; }

bool Node::nameLookupFails(unsigned int id) const {
  if (!state.anyNameFault) return false;
  std::lock_guard<std::mutex> guard(state.mutex);
  return state.nameFaults.count(id) != 0;
}

int Node::networkInfoFault() const {
  std::lock_guard<std::mutex> guard(state.mutex);
  return state.networkFault;
}

int Node::mngIdFault() const {
  std::lock_guard<std::mutex> guard(state.mutex);
  return state.mngIdFault;
}

}  // namespace sim
