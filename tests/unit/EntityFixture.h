// Test fixture for the port-security entity: a reset simulated world with a
// small node, and a fresh PortSecurity per test, built in zero-filled storage
// as the host's singleton is. Use from the test's main thread only.
#pragma once

#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "DriverRecords.h"
#include "PortSecurity.h"
#include "SimHost.h"
#include "bridge.h"

namespace entitytest {

// The node every entity test starts from.
const unsigned int ETH1 = 1;
const unsigned int ETH2 = 2;
const unsigned int ETH3 = 3;
const unsigned int MNG = 4;       // management interface
const unsigned int INTERNAL = 5;  // interface type 3
const unsigned int GPON = 8;      // interface type 4
const unsigned int GEM1 = 9;      // type 5, virtual port 1 of GPON
const unsigned int GEM2 = 10;     // type 5, virtual port 2 of GPON
const unsigned int UNKNOWN_ID = 77;
const unsigned short VLAN10 = 10;
const unsigned short VLAN20 = 20;
const unsigned short MISSING_VLAN = 30;
const sim::MacAddress MNG_MAC = {0x02, 0x00, 0x00, 0x00, 0x00, 0x01};

inline PortSecurity::macEntry_t macEntry(unsigned short vlan, unsigned char last) {
  PortSecurity::macEntry_t entry;
  entry.vlan = vlan;
  const unsigned char mac[6] = {0x00, 0x11, 0x22, 0x33, 0x44, last};
  std::memcpy(entry.mac, mac, sizeof mac);
  return entry;
}

inline sim::MacAddress simMac(const PortSecurity::macEntry_t& entry) {
  sim::MacAddress mac;
  std::memcpy(mac.data(), entry.mac, mac.size());
  return mac;
}

// The bytes of a driver record, for comparison with what the driver received.
template <class Record>
std::vector<uint8_t> bytesOf(const Record& record) {
  const uint8_t* begin = reinterpret_cast<const uint8_t*>(&record);
  return std::vector<uint8_t>(begin, begin + sizeof record);
}

// A zero-filled record with its interface field written as the driver
// expects it: decimal text, NUL, zero rest.
template <class Record>
Record recordFor(unsigned int id) {
  Record record;
  std::memset(&record, 0, sizeof record);
  const std::string text = std::to_string(id);
  std::memcpy(record.intf, text.c_str(), text.size());
  return record;
}

class EntityTest : public ::testing::Test {
 protected:
  void SetUp() override {
    sim::reset();
    sim::LogRecorder::instance().setEcho(false);
    buildNode();
    std::memset(storage, 0, sizeof storage);
    entity = new (storage) PortSecurity();
  }

  void TearDown() override {
    entity->~PortSecurity();
    EXPECT_EQ(0u, driver().openHandles()) << "a driver handle was left open";
    sim::reset();
  }

  static sim::Node& node() { return sim::Node::instance(); }
  static sim::Driver& driver() { return sim::Driver::instance(); }
  static sim::BusinessLock& lock() { return sim::BusinessLock::instance(); }
  PortSecurity& ps() { return *entity; }

  static void addInterface(unsigned int id, Interfaces::interfaceType type, const std::string& name,
                           bool active = true) {
    sim::InterfaceConfig config;
    config.id = id;
    config.type = type;
    config.name = name;
    config.active = active;
    ASSERT_TRUE(node().addInterface(config));
  }

  // Every command the driver received since the last clear.
  static std::vector<sim::DriverCommand> commands() { return driver().commands(); }
  static std::vector<sim::DriverCommand> commandsWith(unsigned long code) {
    std::vector<sim::DriverCommand> matching;
    for (const sim::DriverCommand& command : driver().commands())
      if (command.code == code) matching.push_back(command);
    return matching;
  }

  // Puts a dynamic entry into the driver's table, as if a frame had been
  // learned on interface `id` (driver port id - 1).
  static void learn(unsigned int id, const PortSecurity::macEntry_t& entry) {
    ASSERT_EQ(sim::LearnResult::learned, driver().learn(id - 1, simMac(entry), entry.vlan));
  }

  // Puts a static entry for interface `id` into the driver's table behind the
  // entity's back, then forgets the command.
  static void addDriverStatic(unsigned int id, const PortSecurity::macEntry_t& entry) {
    psdriver::psMacArg_t record = recordFor<psdriver::psMacArg_t>(id);
    std::memcpy(record.mac, entry.mac, sizeof record.mac);
    record.vlan = entry.vlan;
    record.isStatic = 1;
    const int handle = br_open("br0", "mac_table");
    ASSERT_GE(handle, 0);
    const int result = ::ioctl(handle, psdriver::PSIOC_ADD_STATIC, &record);
    ::close(handle);
    ASSERT_EQ(0, result);
    driver().clearCommands();
  }

  static bool logIsEmpty() { return sim::LogRecorder::instance().lines().empty(); }

 private:
  static void buildNode() {
    addInterface(ETH1, Interfaces::IF_TYPE_ETHERNET, "eth1");
    addInterface(ETH2, Interfaces::IF_TYPE_ETHERNET, "eth2");
    addInterface(ETH3, Interfaces::IF_TYPE_ETHERNET, "eth3");
    addInterface(MNG, Interfaces::IF_TYPE_MANAGEMENT, "mng0");
    addInterface(INTERNAL, Interfaces::IF_TYPE_INTERNAL, "cpu0");
    addInterface(GPON, Interfaces::IF_TYPE_GPON, "gpon0");
    addInterface(GEM1, Interfaces::IF_TYPE_GEM, "gem1");
    addInterface(GEM2, Interfaces::IF_TYPE_GEM, "gem2");
    node().bindGem(sim::GemBinding{GPON, 1, GEM1});
    node().bindGem(sim::GemBinding{GPON, 2, GEM2});
    node().addVlanQuietly(VLAN10);
    node().addVlanQuietly(VLAN20);
    sim::ManagementConfig management;
    management.interfaceId = MNG;
    management.mac = MNG_MAC;
    management.vlan = VLAN10;
    node().setManagement(management);
  }

  alignas(PortSecurity) unsigned char storage[sizeof(PortSecurity)];
  PortSecurity* entity = nullptr;
};

}  // namespace entitytest
