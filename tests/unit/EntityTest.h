// Fixture for the port-security entity tests: a reset simulated node, a fresh
// PortSecurity built in zero-filled storage as the host's singleton is, and
// the host's VLAN and GEM events forwarded to it. Main test thread only.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "DriverRecords.h"
#include "PortSecurity.h"
#include "SimHost.h"
#include "vqbridge.h"

namespace entitytest {

using namespace psdriver;

// Ethernet 1-3, management 4, internal (type 3) 5, GPON (type 4) 8 whose
// virtual ports 1 and 2 are the GEM (type 5) interfaces 9 and 10.
const unsigned int ETH1 = 1, ETH2 = 2, ETH3 = 3, MNG = 4, INTERNAL = 5, GPON = 8, GEM1 = 9,
                   GEM2 = 10, UNKNOWN_ID = 77,
                   LAST = 4294967295u;  // ten digits, the widest interface field
const unsigned short VLAN10 = 10, VLAN20 = 20, MISSING_VLAN = 30;

// 00:11:22:33:44:<last> in `vlan`.
inline PortSecurity::macEntry_t macEntry(unsigned short vlan, unsigned char last) {
  return {vlan, {0x00, 0x11, 0x22, 0x33, 0x44, last}};
}

// The node every entity test runs on: the interfaces, GEM bindings, VLANs
// and management entry named by the constants above.
inline void buildTestNode() {
  typedef Interfaces I;
  sim::Node& node = sim::Node::instance();
  // Listed out of id order, as a host may list them.
  const sim::InterfaceConfig interfaces[] = {
      {GEM2, I::IF_TYPE_GEM, "gem2"},       {ETH1, I::IF_TYPE_ETHERNET, "eth1"},
      {ETH2, I::IF_TYPE_ETHERNET, "eth2"},  {ETH3, I::IF_TYPE_ETHERNET, "eth3"},
      {MNG, I::IF_TYPE_MANAGEMENT, "mng0"}, {INTERNAL, I::IF_TYPE_INTERNAL, "cpu0"},
      {GPON, I::IF_TYPE_GPON, "gpon0"},     {GEM1, I::IF_TYPE_GEM, "gem1"},
      {LAST, I::IF_TYPE_ETHERNET, "last"}};
  for (const sim::InterfaceConfig& c : interfaces) node.addInterface(c);
  node.bindGem(sim::GemBinding{GPON, 1, GEM1});
  node.bindGem(sim::GemBinding{GPON, 2, GEM2});
  node.addVlanQuietly(VLAN10);
  node.addVlanQuietly(VLAN20);
  node.setManagement(sim::ManagementConfig{MNG, {0x02, 0, 0, 0, 0, 0x01}, VLAN10});
}

// Sends the host's VLAN and GEM events to `entity` (none when null). The
// host keeps its subscriptions for the whole process, so they are made once
// and reach whichever entity is current.
inline void forwardHostEventsTo(PortSecurity* entity) {
  static PortSecurity* current = nullptr;
  static bool subscribed = false;
  current = entity;
  if (subscribed) return;
  subscribed = true;
  vqbridge& bridge = singleton<vqbridge>::instance();
  bridge.vlanCreatedEvent.subscribePost([](const char* name, unsigned short vlan) {
    if (current != nullptr) current->vlanAddEvent(name, vlan);
  });
  bridge.vlanDeletedEvent.subscribePre([](const char* name, unsigned short vlan) {
    return current == nullptr || current->vlanDelEvent(name, vlan);
  });
  singleton<Interfaces>::instance().gponGemEvent.subscribePost(
      [](int gem, int intf, int vport, Interfaces::interfaceGPONEvent_t kind) {
        if (current != nullptr) current->GPONGemEvent(gem, intf, vport, kind);
      });
}

// A reset node, and a fresh entity built in `storage` as the host builds its
// singleton (in zero-filled storage), with the host's events sent to it.
inline PortSecurity* buildTestEntity(unsigned char (&storage)[sizeof(PortSecurity)]) {
  sim::reset();
  sim::LogRecorder::instance().setEcho(false);
  buildTestNode();
  std::memset(storage, 0, sizeof storage);
  PortSecurity* entity = new (storage) PortSecurity();
  forwardHostEventsTo(entity);
  return entity;
}

class EntityTest : public ::testing::Test {
 protected:
  void SetUp() override { entity = buildTestEntity(storage); }

  void TearDown() override {
    forwardHostEventsTo(nullptr);
    entity->~PortSecurity();
    EXPECT_EQ(0u, driver().openHandles()) << "a driver handle was left open";
    EXPECT_EQ(0u, driver().commandsOutsideTheirLock())
        << "a driver command was sent without the business lock it needs";
    EXPECT_EQ(0u, lock().callsOutsideLock()) << "an interface was checked outside the lock";
    EXPECT_EQ(0u, lock().exclusiveDepth() + lock().sharedDepth())
        << "the business lock is still held";
    sim::reset();
  }

  static sim::Node& node() { return sim::Node::instance(); }
  static sim::Driver& driver() { return sim::Driver::instance(); }
  static sim::BusinessLock& lock() { return sim::BusinessLock::instance(); }
  PortSecurity& ps() { return *entity; }

 private:
  alignas(PortSecurity) unsigned char storage[sizeof(PortSecurity)];
  PortSecurity* entity = nullptr;
};

}  // namespace entitytest
