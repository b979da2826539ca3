// Every procedure of the program, over UDP and TCP, with profile mode off and
// on (and on for an uplink, where profile mode refuses the procedure) and the
// business lock obtained and refused: the code each answers, what a refusal
// leaves in the reply, and what the call changed in the entity and the driver.
#include <string.h>

#include <functional>
#include <memory>
#include <new>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "BLLManager.h"
#include "BusinessLock.h"
#include "PortSecurity.h"
#include "RpcTestSupport.h"
#include "SimHost.h"

namespace {

using namespace rpctest;

const unsigned int kEth = 1, kUplink = 2, kOther = 3;
const unsigned short kVlan = 100;

rpcPSMacEntry entry(unsigned char last) { return {{0x02, 0, 0, 0, 0, last}, kVlan}; }
PortSecurity::macEntry_t entityEntry(unsigned char last) {
  return {kVlan, {0x02, 0, 0, 0, 0, last}};
}
sim::MacAddress frame(unsigned char last) { return {0x02, 0, 0, 0, 0, last}; }

std::string text(const rpcPSMacEntry& e) {
  std::ostringstream out;
  out << ' ' << e.vlan << '/' << int(e.mac[5]);
  return out.str();
}

std::string text(const rpcPSIntfSettings& s) {
  std::ostringstream out;
  out << " [" << s.name << ' ' << s.type << ' ' << s.state << ' ' << s.limitDynamic << ' '
      << s.limitStatic;
  for (u_int i = 0; i < s.vlans.vlans_len; ++i)
    out << ' ' << s.vlans.vlans_val[i].vlan << '=' << s.vlans.vlans_val[i].limit;
  return out.str() + "]";
}

// A list reply's elements, as text.
template <class Reply>
std::string listText(const Reply& reply) {
  std::string all;
  for (u_int n = 0; n < reply.list.list_len; ++n) all += text(reply.list.list_val[n]);
  return all;
}

// A reply: its code, and the rest of the record as text.
struct Reply {
  unsigned int code = ~0u;
  std::string fields;
};

template <class Record, class Describe>
Reply take(Record* record, xdrproc_t release, Describe describe) {
  if (record == nullptr) return Reply();
  Reply reply{static_cast<unsigned int>(record->result), describe(*record)};
  xdr_free(release, reinterpret_cast<char*>(record));
  return reply;
}

Reply code(rpcPortSecurityResult* result) {
  return result == nullptr ? Reply() : Reply{static_cast<unsigned int>(*result), ""};
}

enum class OnFailure { nothing, keepsLast, zeroed };

struct Procedure {
  int number;
  bool profileRefuses;  // refused with 10 in profile mode...
  bool uplinkExempt;    // ...unless the interface is an uplink
  unsigned int success;
  OnFailure onFailure;  // what a failing query leaves in its reply
  std::function<Reply(CLIENT*, unsigned int)> call;
  // What a change that succeeds leaves in everything(), "#" standing for the
  // interface; with a leading '-', what it takes away.
  std::string leaves = "";
};

const std::vector<Procedure>& procedures() {
  static const std::vector<Procedure> table = {
      {1, true, false, 0, OnFailure::nothing,
       [](CLIENT* c, unsigned int) { return code(rpc_ps_set_state_1(FALSE, c)); }, "state 0 |"},
      {2, true, true, 0, OnFailure::nothing,
       [](CLIENT* c, unsigned int i) { return code(rpc_ps_set_interface_state_1(i, FALSE, c)); },
       " | # 0 1 7 100=10;"},
      {3, false, false, 0, OnFailure::nothing,
       [](CLIENT* c, unsigned int i) { return code(rpc_ps_set_mac_limit_dynamic_1(i, 5, c)); },
       " | # 1 5 7 100=10;"},
      {4, false, false, 0, OnFailure::nothing,
       [](CLIENT* c, unsigned int i) { return code(rpc_ps_set_mac_default_limit_dynamic_1(i, c)); },
       " | # 1 300 7 100=10;"},
      {5, false, false, 0, OnFailure::nothing,
       [](CLIENT* c, unsigned int i) { return code(rpc_ps_set_mac_limit_static_1(i, 5, c)); },
       " | # 1 1 5 100=10;"},
      {6, false, false, 0, OnFailure::nothing,
       [](CLIENT* c, unsigned int i) { return code(rpc_ps_set_mac_default_limit_static_1(i, c)); },
       " | # 1 1 20 100=10;"},
      {7, false, false, 0, OnFailure::nothing,
       [](CLIENT* c, unsigned int i) { return code(rpc_ps_add_mac_static_1(i, entry(3), c)); },
       "00:03, VLAN: 100, configured: 1"},
      {8, false, false, 0, OnFailure::nothing,
       [](CLIENT* c, unsigned int i) { return code(rpc_ps_del_mac_static_1(i, entry(1), c)); },
       "-00:01, VLAN: 100, configured: 1"},
      {9, false, false, 0, OnFailure::nothing,
       [](CLIENT* c, unsigned int i) { return code(rpc_ps_move_dynamic_1(i, c)); },
       "\n \tMAC: 02:00:00:00:00:05, VLAN: 100\n"},
      {10, false, false, 0, OnFailure::keepsLast,
       [](CLIENT* c, unsigned int) {
         return take(rpc_ps_get_state_1(c), xdrRoutine(xdr_rpcResultPSState),
                     [](const rpcResultPSState& r) { return std::to_string(r.state); });
       }},
      {11, false, false, 0, OnFailure::zeroed,
       [](CLIENT* c, unsigned int i) {
         return take(rpc_ps_get_interface_settings_1(i, c), xdrRoutine(xdr_rpcResultPSIntfSettings),
                     [](const rpcResultPSIntfSettings& r) { return text(r.settings); });
       }},
      {12, false, false, 0, OnFailure::keepsLast,
       [](CLIENT* c, unsigned int) {
         return take(rpc_ps_get_interface_settings_all_1(c),
                     xdrRoutine(xdr_rpcResultPSIntfSettingsList),
                     listText<rpcResultPSIntfSettingsList>);
       }},
      {13, false, false, 0, OnFailure::keepsLast,
       [](CLIENT* c, unsigned int i) {
         return take(rpc_ps_get_macs_dynamic_1(i, c), xdrRoutine(xdr_rpcResultPSMacEntryList),
                     listText<rpcResultPSMacEntryList>);
       }},
      {14, false, false, 0, OnFailure::keepsLast,
       [](CLIENT* c, unsigned int i) {
         return take(rpc_ps_get_macs_static_1(i, c), xdrRoutine(xdr_rpcResultPSMacEntryList),
                     listText<rpcResultPSMacEntryList>);
       }},
      {15, false, false, 0, OnFailure::zeroed,
       [](CLIENT* c, unsigned int i) {
         return take(rpc_ps_get_last_violation_1(i, c), xdrRoutine(xdr_rpcResultPSMacEntry),
                     [](const rpcResultPSMacEntry& r) { return text(r.entry); });
       }},
      {16, true, true, 0, OnFailure::nothing,
       [](CLIENT* c, unsigned int i) {
         return code(rpc_ps_add_vlan_mac_limit_dynamic_1(i, kVlan, 12, c));
       },
       " | # 1 1 7 100=12;"},
      {17, true, true, 0, OnFailure::nothing,
       [](CLIENT* c, unsigned int i) {
         return code(rpc_ps_del_vlan_mac_limit_dynamic_1(i, kVlan, c));
       },
       " | # 1 1 7;"},
      {18, false, false, 0, OnFailure::nothing,
       [](CLIENT* c, unsigned int i) {
         return code(rpc_ps_add_mac_static_virtual_port_1(i, entry(2), 0, c));
       },
       "00:02, VLAN: 100, configured: 1"},
      {819, false, false, 0, OnFailure::nothing,
       [](CLIENT* c, unsigned int i) {
         return code(rpc_ps_del_mac_static_virtual_port_1(i, entry(4), 7, c));
       },
       "-00:04, VLAN: 100, configured: 1"},
  };
  return table;
}

class ProcedureTableTest : public ::testing::TestWithParam<const char*> {
 protected:
  static void SetUpTestSuite() { loop = std::make_unique<ServingLoop>(); }
  static void TearDownTestSuite() { loop.reset(); }

  void SetUp() override {
    client = connect(GetParam());
    ASSERT_NE(nullptr, client);
  }
  void TearDown() override {
    clnt_destroy(client);
    dropEverything();
  }

  // The entity is the process's singleton: it is built anew in its place, as
  // at load, so that no case sees what another one left.
  static void dropEverything() {
    {
      // Under the host's lock, which the serving thread took to read it.
      BLLManager::exclusiveLock_t lock;
      PortSecurity& ps = PortSecurity::instance();
      ps.~PortSecurity();
      std::memset(static_cast<void*>(&ps), 0, sizeof ps);
      new (&ps) PortSecurity();
    }
    sim::reset();
  }

  // Every setter has something to change on `intf`, every query something to
  // report: state on, limits other than the defaults, a per-VLAN limit, an
  // applied and a cached entry, learned entries and a violation.
  static void buildNode(unsigned int intf) {
    dropEverything();
    PortSecurity& ps = PortSecurity::instance();
    sim::Node& node = sim::Node::instance();
    node.addInterface({kEth, Interfaces::IF_TYPE_ETHERNET, "eth1", true, false});
    node.addInterface({kUplink, Interfaces::IF_TYPE_ETHERNET, "uplink", true, true});
    node.addInterface({kOther, Interfaces::IF_TYPE_ETHERNET, "eth3", true, false});
    node.addVlanQuietly(kVlan);
    ASSERT_TRUE(ps.applyDefaultSettings());
    ASSERT_EQ(0u, ps.setState(true));
    ASSERT_EQ(0u, ps.setState(intf, true));
    ASSERT_EQ(0u, ps.setLimitDynamicMACs(intf, 1));
    ASSERT_EQ(0u, ps.setLimitStaticMACs(intf, 7));
    ASSERT_EQ(0u, ps.setLimitDynamicMACs(intf, kVlan, 10));
    ASSERT_EQ(0u, ps.addStaticEntryApi(intf, entityEntry(1)));
    ASSERT_EQ(0u, ps.addStaticEntryVirtualPort(intf, entityEntry(4), 0));
    sim::Driver& driver = sim::Driver::instance();
    ASSERT_EQ(sim::LearnResult::learned, driver.learn(intf - 1, frame(5), kVlan));
    ASSERT_EQ(sim::LearnResult::violation, driver.learn(intf - 1, frame(6), kVlan));
    ASSERT_EQ(sim::LearnResult::learned, driver.learn(intf, frame(7), kVlan));
  }

  // The entity's memory and the driver's table, as text.
  static std::string everything() {
    PortSecurity& ps = PortSecurity::instance();
    std::ostringstream out;
    bool state = false;
    ps.getState(state);
    out << "state " << state;
    PortSecurity::interfaceSettingsMap_t settings;
    ps.getInterfaceSettings(settings);
    for (const auto& s : settings) {
      out << " | " << s.first << ' ' << s.second.state << ' ' << s.second.limitDynamicMACs << ' '
          << s.second.limitStaticMACs;
      for (const auto& v : s.second.vlanLimitDynamicMACs) out << ' ' << v.first << '=' << v.second;
      out << ';';
    }
    ps.externalMessage("portSecurity", "macEntries", &out);
    for (const auto& chain : sim::Driver::instance().table())
      for (const sim::MacTableEntry& e : chain) out << int(e.mac[5]) << '@' << e.port << e.isStatic;
    return out.str();
  }

  inline static std::unique_ptr<ServingLoop> loop;
  CLIENT* client = nullptr;
};

TEST_P(ProcedureTableTest, EveryProcedureInEveryModeAndLockState) {
  for (const Procedure& p : procedures())
    // Profile mode off; on; on, for an uplink, which only matters where profile mode does.
    for (const int mode : {0, 1, 2})
      if (mode < 2 || p.profileRefuses)
        for (const bool lockRefused : {false, true}) {
          const unsigned int intf = mode == 2 ? kUplink : kEth;
          SCOPED_TRACE("procedure " + std::to_string(p.number) + ", profile mode " +
                       std::to_string(mode) + (lockRefused ? ", lock refused" : ""));
          buildNode(intf);
          // A query first succeeds once, so that what a failure keeps shows.
          const Reply last = p.onFailure == OnFailure::nothing ? Reply() : p.call(client, intf);
          sim::Node::instance().setProfileMode(mode != 0);
          const std::string before = everything();
          if (lockRefused) sim::BusinessLock::instance().failNextAttempts(1);
          const Reply reply = p.call(client, intf);
          sim::BusinessLock::instance().clearFaults();
          sim::Node::instance().setProfileMode(false);

          const bool refused = mode != 0 && p.profileRefuses && !(mode == 2 && p.uplinkExempt);
          const unsigned int expected = refused ? 10u : lockRefused ? 1u : p.success;
          EXPECT_EQ(expected, reply.code);
          const bool changes = expected == 0 && p.onFailure == OnFailure::nothing;
          const std::string after = everything();
          EXPECT_EQ(changes, before != after);
          const bool takes = p.leaves[0] == '-';
          std::string leaves = p.leaves.substr(takes);
          if (leaves.find('#') != std::string::npos)
            leaves.replace(leaves.find('#'), 1, std::to_string(intf));
          if (changes && !leaves.empty()) {
            EXPECT_EQ(takes, after.find(leaves) == std::string::npos) << after;
            EXPECT_NE(takes, before.find(leaves) == std::string::npos) << before;
          }
          if (p.onFailure == OnFailure::zeroed && expected != 0) {
            EXPECT_EQ(p.number == 11 ? " [ 0 0 0 0]" : " 0/0", reply.fields);
          } else if (p.onFailure != OnFailure::nothing) {
            EXPECT_EQ(last.fields, reply.fields);  // the same report, or the last one kept
          }
        }
}

INSTANTIATE_TEST_SUITE_P(Transports, ProcedureTableTest, ::testing::Values("udp", "tcp"));

}  // namespace
