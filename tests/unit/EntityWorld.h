// Test base for the entity's static-entry, event, default and dump
// operations: a fresh simulated world and a fresh PortSecurity object in
// zero-filled storage per test, with the host's VLAN and GEM events
// forwarded to that object. Tests run on one thread.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <list>
#include <new>
#include <string>
#include <vector>

#include "DriverRecords.h"
#include "PortSecurity.h"
#include "SimHost.h"
#include "vqbridge.h"

class EntityWorldTest : public ::testing::Test {
 protected:
  typedef PortSecurity::macEntry_t Entry;

  void SetUp() override {
    sim::reset();
    sim::LogRecorder::instance().setEcho(false);
    subscribeOnce();
    std::memset(storage, 0, sizeof storage);
    entity = new (storage) PortSecurity();
    current() = entity;
  }

  void TearDown() override {
    EXPECT_EQ(0u, driver().openHandles()) << "a driver handle was left open";
    current() = nullptr;
    entity->~PortSecurity();
    sim::reset();
  }

  PortSecurity& ps() { return *entity; }
  static sim::Node& node() { return sim::Node::instance(); }
  static sim::Driver& driver() { return sim::Driver::instance(); }
  static void failNextLocks(unsigned int count, sim::LockKind kind) {
    sim::BusinessLock::instance().failNextAttempts(count, kind);
  }

  static void addInterface(unsigned int id, Interfaces::interfaceType type) {
    node().addInterface(sim::InterfaceConfig{id, type, "if" + std::to_string(id), true, false});
  }

  // MAC 00:11:22:33:44:<last> in `vlan`.
  static Entry entry(unsigned short vlan, unsigned char last) {
    Entry e;
    e.vlan = vlan;
    const unsigned char mac[6] = {0x00, 0x11, 0x22, 0x33, 0x44, last};
    std::memcpy(e.mac, mac, sizeof mac);
    return e;
  }
  static std::string describe(unsigned short vlan, const unsigned char* mac) {
    char text[32];
    std::snprintf(text, sizeof text, "v%u/%02x", vlan, mac[5]);
    return text;
  }

  // Driver commands since the last clear, one readable line each; clears.
  static std::vector<std::string> takeSent() {
    std::vector<std::string> lines;
    for (const sim::DriverCommand& command : driver().commands())
      lines.push_back(describe(command) + (command.refused ? " refused" : ""));
    driver().clearCommands();
    return lines;
  }

  // Log messages since the last clear as "<level>|<text>"; clears.
  static std::vector<std::string> takeLogged() {
    std::vector<std::string> lines;
    for (const sim::LogLine& line : sim::LogRecorder::instance().lines())
      lines.push_back(std::to_string(static_cast<int>(line.level)) + "|" + line.text);
    sim::LogRecorder::instance().clear();
    return lines;
  }

  // The interface's static entries as "v<vlan>/<last mac byte>".
  std::vector<std::string> staticOn(unsigned int id) {
    std::list<Entry> entries;
    EXPECT_EQ(0u, ps().getStaticMACs(id, entries));
    std::vector<std::string> out;
    for (const Entry& e : entries) out.push_back(describe(e.vlan, e.mac));
    return out;
  }

  // The cache as "<intf>.<vport>@<intfId>:v<vlan>/<mac>=<configured>", in order.
  std::vector<std::string> cached() {
    PortSecurity::macEntriesCache_t cache;
    EXPECT_EQ(0u, ps().getMacEntriesCache(cache));
    std::vector<std::string> out;
    for (const auto& perIntf : cache)
      for (const auto& perVPort : perIntf.second)
        for (const auto& e : perVPort.second.entries)
          out.push_back(std::to_string(perIntf.first) + "." + std::to_string(perVPort.first) + "@" +
                        std::to_string(perVPort.second.intfId) + ":" + describe(e.vlan, e.mac) +
                        "=" + (e.configured ? "1" : "0"));
    return out;
  }

  std::string dump() {
    std::ostringstream out;
    ps().externalMessage("portSecurity", "macEntries", &out);
    return out.str();
  }

 private:
  static std::string describe(const sim::DriverCommand& command) {
    using namespace psdriver;
    const uint8_t* bytes = command.bytes.data();
    const char* intf = reinterpret_cast<const char*>(bytes);
    if (command.code == PSIOC_SET_STATE) return "state " + std::to_string(command.argument);
    if (command.bytes.empty()) return "code " + std::to_string(command.code);
    if (command.code == PSIOC_ADD_STATIC || command.code == PSIOC_DEL_STATIC) {
      psMacArg_t arg;
      std::memcpy(&arg, bytes, sizeof arg);
      return std::string(command.code == PSIOC_ADD_STATIC ? "add " : "del ") + intf + " " +
             describe(arg.vlan, arg.mac);
    }
    if (command.code == PSIOC_SET_INTF_STATE) {
      psIntfStateArg_t arg;
      std::memcpy(&arg, bytes, sizeof arg);
      return std::string("intf-state ") + intf + " " + std::to_string(arg.state);
    }
    if (command.code == PSIOC_SET_INTF_LIMIT) {
      psIntfLimitArg_t arg;
      std::memcpy(&arg, bytes, sizeof arg);
      return std::string(arg.kind == PS_LIMIT_STATIC ? "static-limit " : "dynamic-limit ") + intf +
             " " + std::to_string(arg.limit);
    }
    if (command.code == PSIOC_SET_VLAN_LIMIT || command.code == PSIOC_DEL_VLAN_LIMIT) {
      psVlanLimitArg_t arg;
      std::memcpy(&arg, bytes, sizeof arg);
      return std::string(command.code == PSIOC_DEL_VLAN_LIMIT ? "del-vlan-limit " : "vlan-limit ") +
             intf + " v" + std::to_string(arg.vlan) + " " + std::to_string(arg.limit);
    }
    return "code " + std::to_string(command.code);
  }

  static PortSecurity*& current() {
    static PortSecurity* object = nullptr;
    return object;
  }
  static void forwardVlanAdd(const char* bridge, unsigned short vlan) {
    if (current() != nullptr) current()->vlanAddEvent(bridge, vlan);
  }
  static bool forwardVlanDel(const char* bridge, unsigned short vlan) {
    return current() == nullptr || current()->vlanDelEvent(bridge, vlan);
  }
  static void forwardGem(int gem, int intf, int vport, Interfaces::interfaceGPONEvent_t kind) {
    if (current() != nullptr) current()->GPONGemEvent(gem, intf, vport, kind);
  }
  // Subscriptions outlive every test, so they go to whichever object is current.
  static void subscribeOnce() {
    static bool done = false;
    if (done) return;
    done = true;
    vqbridge& bridge = singleton<vqbridge>::instance();
    bridge.vlanCreatedEvent.subscribePost(&forwardVlanAdd);
    bridge.vlanDeletedEvent.subscribePre(&forwardVlanDel);
    singleton<Interfaces>::instance().gponGemEvent.subscribePost(&forwardGem);
  }

  alignas(PortSecurity) unsigned char storage[sizeof(PortSecurity)];
  PortSecurity* entity = nullptr;
};
