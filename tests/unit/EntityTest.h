// Fixture for the port-security entity tests: a reset simulated node, a fresh
// PortSecurity built in zero-filled storage as the host's singleton is, the
// host's VLAN and GEM events forwarded to it, and one-line views of what the
// driver received, the log and the entity's memory. Main test thread only.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <list>
#include <new>
#include <sstream>
#include <string>
#include <vector>

#include "DriverRecords.h"
#include "PortSecurity.h"
#include "SimHost.h"
#include "vqbridge.h"

namespace entitytest {

using namespace psdriver;
typedef std::vector<std::string> Lines;

// Ethernet 1-3, management 4, internal (type 3) 5, GPON (type 4) 8 whose
// virtual ports 1 and 2 are the GEM (type 5) interfaces 9 and 10.
const unsigned int ETH1 = 1, ETH2 = 2, ETH3 = 3, MNG = 4, INTERNAL = 5, GPON = 8, GEM1 = 9,
                   GEM2 = 10, UNKNOWN_ID = 77;
const unsigned short VLAN10 = 10, VLAN20 = 20, MISSING_VLAN = 30;

// 00:11:22:33:44:<last> in `vlan`.
inline PortSecurity::macEntry_t macEntry(unsigned short vlan, unsigned char last) {
  return {vlan, {0x00, 0x11, 0x22, 0x33, 0x44, last}};
}

// "v<vlan>/<last byte>" of a test MAC.
inline std::string describe(unsigned int vlan, const unsigned char* mac) {
  char text[16];
  std::snprintf(text, sizeof text, "v%u/%02x", vlan, mac[5]);
  return text;
}

// Entries as "v<vlan>/<last byte>", and a report as "<key>:" and its entries
// per key (a key without a list as "<key>:null").
inline Lines listed(const PortSecurity::macEntryList_t& entries) {
  Lines out;
  for (const PortSecurity::macEntry_t& e : entries) out.push_back(describe(e.vlan, e.mac));
  return out;
}
inline Lines listed(const PortSecurity::macEntryMap_t& report) {
  Lines out;
  for (const auto& item : report) {
    out.push_back(std::to_string(item.first) + ":" + (item.second ? "" : "null"));
    if (item.second)
      for (const std::string& entry : listed(*item.second)) out.back() += " " + entry;
  }
  return out;
}

// One driver command as "<kind> <intf> <values>", read at the driver's offsets.
inline std::string describe(const sim::DriverCommand& command) {
  std::vector<uint8_t> b = command.bytes;
  b.resize(48, 0);
  const std::string intf(reinterpret_cast<const char*>(b.data()));
  const auto u32 = [&](size_t at) {
    uint32_t value;
    std::memcpy(&value, &b[at], sizeof value);
    return std::to_string(value);
  };
  const std::string vlan = std::to_string(b[18] | b[19] << 8);
  const unsigned long code = command.code;
  if (code == PSIOC_SET_STATE) return "state " + std::to_string(command.argument);
  if (code == PSIOC_ADD_STATIC) return "add " + intf + " " + describe(b[24] | b[25] << 8, &b[17]);
  if (code == PSIOC_DEL_STATIC) return "del " + intf + " " + describe(b[24] | b[25] << 8, &b[17]);
  if (code == PSIOC_SET_INTF_STATE) return "intf-state " + intf + " " + u32(20);
  if (code == PSIOC_SET_INTF_LIMIT)
    return (b[20] ? "static-limit " : "dynamic-limit ") + intf + " " + u32(24);
  if (code == PSIOC_SET_VLAN_LIMIT) return "vlan-limit " + intf + " v" + vlan + " " + u32(20);
  if (code == PSIOC_DEL_VLAN_LIMIT) return "del-vlan-limit " + intf + " v" + vlan + " " + u32(20);
  if (code == PSIOC_MOVE_TO_STATIC) return "move " + intf;
  if (code == PSIOC_GET_VIOLATION) return "violation " + intf;
  if (code == PSIOC_GET_TABLE_INFO) return "table-info";
  if (code == PSIOC_GET_TABLE_ENTRY) return "entry " + u32(0) + "/" + u32(4) + " port " + u32(40);
  return "code " + std::to_string(code);
}

// The node every entity test runs on: the interfaces, GEM bindings, VLANs
// and management entry named by the constants above.
inline void buildTestNode() {
  typedef Interfaces I;
  sim::Node& node = sim::Node::instance();
  const sim::InterfaceConfig interfaces[] = {
      {ETH1, I::IF_TYPE_ETHERNET, "eth1"},     {ETH2, I::IF_TYPE_ETHERNET, "eth2"},
      {ETH3, I::IF_TYPE_ETHERNET, "eth3"},     {MNG, I::IF_TYPE_MANAGEMENT, "mng0"},
      {INTERNAL, I::IF_TYPE_INTERNAL, "cpu0"}, {GPON, I::IF_TYPE_GPON, "gpon0"},
      {GEM1, I::IF_TYPE_GEM, "gem1"},          {GEM2, I::IF_TYPE_GEM, "gem2"}};
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

  static std::vector<sim::DriverCommand> commandsWith(unsigned long code) {
    std::vector<sim::DriverCommand> matching;
    for (const sim::DriverCommand& command : driver().commands())
      if (command.code == code) matching.push_back(command);
    return matching;
  }

  // A frame learned on interface `id` (driver port id - 1).
  static void learn(unsigned int id, const PortSecurity::macEntry_t& e) {
    const sim::MacAddress mac = {e.mac[0], e.mac[1], e.mac[2], e.mac[3], e.mac[4], e.mac[5]};
    ASSERT_EQ(sim::LearnResult::learned, driver().learn(id - 1, mac, e.vlan));
  }

  // A static entry put into the driver's table behind the entity's back.
  static void addDriverStatic(unsigned int id, const PortSecurity::macEntry_t& entry) {
    psMacArg_t record = {};
    std::snprintf(record.intf, sizeof record.intf, "%u", id);
    std::memcpy(record.mac, entry.mac, sizeof record.mac);
    record.vlan = entry.vlan;
    record.isStatic = 1;
    ASSERT_EQ(0, driver().command(PSIOC_ADD_STATIC, reinterpret_cast<unsigned long>(&record)));
    driver().clearCommands();
  }

  // Accepted static entries v<vlan>/<last> on `id` through the interface
  // layer; the commands they caused are dropped.
  void addStatic(unsigned int id, unsigned short vlan, std::initializer_list<unsigned char> lasts) {
    for (unsigned char last : lasts) ASSERT_EQ(0u, ps().addStaticEntry(id, macEntry(vlan, last)));
    driver().clearCommands();
  }

  // Driver commands since the last clear, one line each; clears them.
  static Lines takeSent() {
    Lines lines;
    for (const sim::DriverCommand& command : driver().commands())
      lines.push_back(describe(command) + (command.refused ? " refused" : ""));
    driver().clearCommands();
    return lines;
  }

  // The driver's static entries on interface `id`, in table order.
  static Lines driverStaticOn(unsigned int id) {
    Lines out;
    for (const auto& chain : driver().table())
      for (const sim::MacTableEntry& entry : chain)
        if (entry.isStatic && entry.port + 1 == id)
          out.push_back(describe(entry.vlan, &entry.mac[0]));
    return out;
  }

  Lines staticOn(unsigned int id) {
    std::list<PortSecurity::macEntry_t> entries;
    EXPECT_EQ(0u, ps().getStaticMACs(id, entries));
    return listed(entries);
  }

  // "<intf>.<vport>@<carrier>:<entry>=<configured>", in cache order.
  Lines cached() {
    PortSecurity::macEntriesCache_t cache;
    EXPECT_EQ(0u, ps().getMacEntriesCache(cache));
    Lines out;
    for (const auto& perIntf : cache)
      for (const auto& perVPort : perIntf.second)
        for (const auto& e : perVPort.second.entries)
          out.push_back(std::to_string(perIntf.first) + "." + std::to_string(perVPort.first) + "@" +
                        std::to_string(perVPort.second.intfId) + ":" + describe(e.vlan, e.mac) +
                        "=" + (e.configured ? "1" : "0"));
    return out;
  }

 private:
  alignas(PortSecurity) unsigned char storage[sizeof(PortSecurity)];
  PortSecurity* entity = nullptr;
};

}  // namespace entitytest
