// The simulated network element behind the host contracts: its interfaces,
// GEM bindings, VLANs, management address and profile mode, with the fault
// hooks for the host queries. Safe from any thread; events are raised on the
// calling thread, outside the node's own mutex.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Interfaces.h"
#include "MacAddress.h"

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

struct ManagementConfig {
  unsigned int interfaceId = 0;
  MacAddress mac = {};
  uint16_t vlan = 0;
};

class Node {
 public:
  static Node& instance();

  // Back to an empty node: no interfaces, VLANs or bindings, bridge "br0",
  // management id 0 with a zero address, profile mode off, no faults.
  void reset();

  std::string bridgeName() const;
  void setBridgeName(const std::string& name);

  // Interfaces, kept in the order they were added. Adding an id that exists
  // is refused (false).
  bool addInterface(const InterfaceConfig& config);
  std::vector<InterfaceConfig> interfaces() const;
  bool hasInterface(unsigned int id) const;
  // False when there is no such interface.
  bool findInterface(unsigned int id, InterfaceConfig& out) const;
  bool setActive(unsigned int id, bool active);
  bool setUplink(unsigned int id, bool uplink);

  void setManagement(const ManagementConfig& management);
  ManagementConfig management() const;
  void setProfileMode(bool on);
  bool profileMode() const;

  // GEM bindings: (GPON interface, virtual port) -> GEM interface. Binding a
  // pair again replaces its GEM interface.
  void bindGem(const GemBinding& binding);
  std::vector<GemBinding> gemBindings() const;
  bool findGem(unsigned int interface, unsigned int vport, unsigned int& gem) const;
  // Records the binding for kinds 0 and 2, then raises the host's GEM event
  // (pre- then post-subscribers). Kinds outside 0..7 raise nothing (false).
  bool raiseGemEvent(unsigned int gem, unsigned int interface, unsigned int vport, int kind);

  // VLANs on the bridge. Creating adds the VLAN and then raises the created
  // event; deleting raises the deleted event's pre-subscribers while the VLAN
  // still exists, removes it, then runs the post-subscribers. Both return
  // false, raising nothing, when there is nothing to do. Subscribers' answers
  // do not stop the change; `agreed` receives the pre-subscribers' answer
  // (false when any said false), which the host takes as their veto. The
  // event names `announcedAs` when given, as a host with several bridges may.
  bool createVlan(uint16_t vlan, const char* announcedAs = nullptr);
  bool deleteVlan(uint16_t vlan, bool* agreed = nullptr, const char* announcedAs = nullptr);
  // Adds a VLAN without raising anything.
  void addVlanQuietly(uint16_t vlan);
  bool hasVlan(uint16_t vlan) const;
  std::vector<uint16_t> vlans() const;

  // Fault hooks for the host queries; each fails every call until cleared.
  void failTypeLookup(bool fail);
  void failNameLookup(unsigned int id, bool fail);
  void failNetworkInfo(int code);  // 0 clears
  void failMngIdGet(int code);     // 0 clears
  bool typeLookupFails() const;
  bool nameLookupFails(unsigned int id) const;
  int networkInfoFault() const;
  int mngIdFault() const;

 private:
  Node();
  // Change the VLAN set; false when there was nothing to change.
  bool insertVlan(uint16_t vlan);
  bool eraseVlan(uint16_t vlan);

  struct State;
  State& state;
};

}  // namespace sim
