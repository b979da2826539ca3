// The node's changes that the host announces through events: VLANs created
// and deleted on the bridge, GPON GEM port events. Subscribers run on the
// calling thread with no node mutex held, so they may query the node.
#include "SimNode.h"
#include "vqbridge.h"

namespace sim {

bool Node::createVlan(uint16_t vlan, const char* announcedAs) {
  if (!insertVlan(vlan)) return false;
  const std::string bridge = announcedAs != nullptr ? announcedAs : bridgeName();
  vqbridge::vlanEvent_t& event = vqbridge::instance().vlanCreatedEvent;
  event.raisePre(bridge.c_str(), vlan);
  event.raisePost(bridge.c_str(), vlan);
  return true;
}

bool Node::deleteVlan(uint16_t vlan, bool* agreed, const char* announcedAs) {
  if (!hasVlan(vlan)) return false;
  const std::string bridge = announcedAs != nullptr ? announcedAs : bridgeName();
  vqbridge::vlanEvent_t& event = vqbridge::instance().vlanDeletedEvent;
  const bool allAgreed = event.raisePre(bridge.c_str(), vlan);
  if (agreed != nullptr) *agreed = allAgreed;
  eraseVlan(vlan);
  event.raisePost(bridge.c_str(), vlan);
  return true;
}

bool Node::raiseGemEvent(unsigned int gem, unsigned int interface, unsigned int vport, int kind) {
  // The event's kind is an enumeration whose values fit in three bits.
  if (kind < 0 || kind > 7) return false;
  const Interfaces::interfaceGPONEvent_t eventKind =
      static_cast<Interfaces::interfaceGPONEvent_t>(kind);
  if (eventKind == Interfaces::GPON_GEM_BOUND || eventKind == Interfaces::GPON_GEM_REBOUND)
    bindGem(GemBinding{interface, vport, gem});
  Interfaces::gponGemEvent_t& event = Interfaces::instance().gponGemEvent;
  const int gemArg = static_cast<int>(gem);
  const int interfaceArg = static_cast<int>(interface);
  const int vportArg = static_cast<int>(vport);
  event.raisePre(gemArg, interfaceArg, vportArg, eventKind);
  event.raisePost(gemArg, interfaceArg, vportArg, eventKind);
  return true;
}

}  // namespace sim
