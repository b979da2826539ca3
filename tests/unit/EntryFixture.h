// Fixture for the static-entry, host-event, default-settings and dump tests:
// the shared entity fixture, with the host's VLAN and GEM events forwarded to
// the object under test, and one-line views of what the driver received, the
// log, the static entries and the cache. Use from the test's main thread only.
#pragma once

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <list>
#include <sstream>
#include <string>
#include <vector>

#include "EntityFixture.h"
#include "vqbridge.h"

namespace entitytest {

typedef std::vector<std::string> Lines;

class EntryTest : public EntityTest {
 protected:
  void SetUp() override {
    EntityTest::SetUp();
    subscribeOnce();
    current() = &ps();
  }
  void TearDown() override {
    current() = nullptr;
    EntityTest::TearDown();
  }

  static void failNextLocks(unsigned int count, sim::LockKind kind) {
    lock().failNextAttempts(count, kind);
  }

  // "v<vlan>/<last byte>" for the test MACs 00:11:22:33:44:xx, the whole
  // address otherwise.
  static std::string describe(unsigned short vlan, const unsigned char* mac) {
    static const unsigned char testPrefix[5] = {0x00, 0x11, 0x22, 0x33, 0x44};
    char text[40];
    if (std::memcmp(mac, testPrefix, sizeof testPrefix) == 0)
      std::snprintf(text, sizeof text, "v%u/%02x", vlan, mac[5]);
    else
      std::snprintf(text, sizeof text, "v%u/%02x:%02x:%02x:%02x:%02x:%02x", vlan, mac[0], mac[1],
                    mac[2], mac[3], mac[4], mac[5]);
    return text;
  }

  // Driver commands since the last clear, one line each; clears them.
  static Lines takeSent() {
    Lines lines;
    for (const sim::DriverCommand& command : driver().commands())
      lines.push_back(describe(command) + (command.refused ? " refused" : ""));
    driver().clearCommands();
    return lines;
  }

  // Log messages since the last clear as "<level>|<text>"; clears them.
  static Lines takeLogged() {
    Lines lines;
    for (const sim::LogLine& line : sim::LogRecorder::instance().lines())
      lines.push_back(std::to_string(static_cast<int>(line.level)) + "|" + line.text);
    sim::LogRecorder::instance().clear();
    return lines;
  }

  Lines staticOn(unsigned int id) {
    std::list<PortSecurity::macEntry_t> entries;
    EXPECT_EQ(0u, ps().getStaticMACs(id, entries));
    Lines out;
    for (const PortSecurity::macEntry_t& e : entries) out.push_back(describe(e.vlan, e.mac));
    return out;
  }

  // "<intf>.<vport>@<intfId>:<entry>=<configured>", in cache order.
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

  std::map<unsigned short, unsigned int> vlanLimitsOf(unsigned int id) {
    PortSecurity::interfaceSettingsMap_t settings;
    EXPECT_EQ(0u, ps().getInterfaceSettings(settings));
    return settings[id].vlanLimitDynamicMACs;
  }

  std::string dump() {
    std::ostringstream out;
    ps().externalMessage("portSecurity", "macEntries", &out);
    return out.str();
  }

 private:
  template <class Record>
  static Record recordOf(const sim::DriverCommand& command) {
    Record record;
    std::memset(&record, 0, sizeof record);
    std::memcpy(&record, command.bytes.data(), std::min(sizeof record, command.bytes.size()));
    return record;
  }

  static std::string describe(const sim::DriverCommand& command) {
    using namespace psdriver;
    const std::string intf(reinterpret_cast<const char*>(command.bytes.data()),
                           strnlen(reinterpret_cast<const char*>(command.bytes.data()),
                                   std::min(command.bytes.size(), PS_INTF_LEN)));
    switch (command.code) {
      case PSIOC_SET_STATE:
        return "state " + std::to_string(command.argument);
      case PSIOC_ADD_STATIC:
      case PSIOC_DEL_STATIC: {
        psMacArg_t arg = recordOf<psMacArg_t>(command);
        return (command.code == PSIOC_ADD_STATIC ? "add " : "del ") + intf + " " +
               describe(arg.vlan, arg.mac);
      }
      case PSIOC_SET_INTF_STATE:
        return "intf-state " + intf + " " +
               std::to_string(recordOf<psIntfStateArg_t>(command).state);
      case PSIOC_SET_INTF_LIMIT: {
        psIntfLimitArg_t arg = recordOf<psIntfLimitArg_t>(command);
        return (arg.kind == PS_LIMIT_STATIC ? "static-limit " : "dynamic-limit ") + intf + " " +
               std::to_string(arg.limit);
      }
      case PSIOC_SET_VLAN_LIMIT:
      case PSIOC_DEL_VLAN_LIMIT: {
        psVlanLimitArg_t arg = recordOf<psVlanLimitArg_t>(command);
        return (command.code == PSIOC_DEL_VLAN_LIMIT ? "del-vlan-limit " : "vlan-limit ") + intf +
               " v" + std::to_string(arg.vlan) + " " + std::to_string(arg.limit);
      }
      default:
        return "code " + std::to_string(command.code);
    }
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
  // Subscriptions outlive every test, so they reach whichever object is current.
  static void subscribeOnce() {
    static bool done = false;
    if (done) return;
    done = true;
    vqbridge& bridge = singleton<vqbridge>::instance();
    bridge.vlanCreatedEvent.subscribePost(&forwardVlanAdd);
    bridge.vlanDeletedEvent.subscribePre(&forwardVlanDel);
    singleton<Interfaces>::instance().gponGemEvent.subscribePost(&forwardGem);
  }
};

}  // namespace entitytest
