// The simulated network element behind the host contracts: its interfaces,
// GEM bindings, VLANs, management address and profile mode, with the fault
// hooks that tests use. Safe from any thread; events are raised on the
// calling thread, outside the node's own mutex.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Interfaces.h"

namespace sim {

struct InterfaceConfig {
  unsigned int id = 0;
  Interfaces::interfaceType type = Interfaces::IF_TYPE_ETHERNET;
  std::string name;
  bool active = true;
  bool uplink = false;
};

struct GemBinding {
  unsigned int interface = 0;
  unsigned int vport = 0;
  unsigned int gem = 0;
};

class Node {
 public:
  static Node& instance();

  // Back to an empty node: no interfaces, VLANs or bindings, bridge "br0",
  // management id 0, profile mode off, no faults.
  void reset();

  std::string bridgeName() const;
  void setBridgeName(const std::string& name);

  // Interfaces, kept in the order they were added.
  void addInterface(const InterfaceConfig& config);
  std::vector<InterfaceConfig> interfaces() const;
  bool hasInterface(unsigned int id) const;
  bool setActive(unsigned int id, bool active);
  bool setUplink(unsigned int id, bool uplink);

  void setManagement(unsigned int interfaceId, const uint8_t mac[6], uint16_t vlan);
  void setProfileMode(bool on);
  bool profileMode() const;

  // GEM bindings: (GPON interface, virtual port) -> GEM interface.
  void bindGem(const GemBinding& binding);
  std::vector<GemBinding> gemBindings() const;
  // Records the binding for kinds 0 and 2, then raises the host's GEM event.
  void raiseGemEvent(unsigned int gem, unsigned int interface, unsigned int vport, int kind);

  // VLANs on the bridge. Creating raises the created event after the VLAN
  // exists; deleting raises the deleted event's pre-subscribers while it
  // still exists, then removes it and runs the post-subscribers. Both return
  // false, raising nothing, when there is nothing to do.
  bool createVlan(uint16_t vlan);
  bool deleteVlan(uint16_t vlan);
  void addVlanQuietly(uint16_t vlan);
  std::vector<uint16_t> vlans() const;

  // Fault hooks for the host queries; each fails every call until cleared.
  void failTypeLookup(bool fail);
  void failNameLookup(unsigned int id, bool fail);
  void failNetworkInfo(int code);  // 0 clears
  void failMngIdGet(int code);     // 0 clears

  // Used by the host contract implementations.
  struct Snapshot;
  Node();

 private:
  struct State;
  State& state() const;
};

}  // namespace sim
