// The port-security program over real UDP and TCP sockets and the port
// mapper, served by the process's receive loop: each procedure reaches its
// entity operation and returns its code, and protocol errors are answered
// without stopping the server.
#include <string.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "PortSecurity.h"
#include "RpcTestSupport.h"
#include "SimHost.h"

bool operator==(const rpcPSMacEntry& a, const rpcPSMacEntry& b) {
  return memcmp(a.mac, b.mac, sizeof a.mac) == 0 && a.vlan == b.vlan;
}

namespace {

using namespace rpctest;

TEST(RpcLoopTest, LoopThreadServesUntilStopped) {
  for (const std::string name : {"BLLManager_mng", "dhcpra_fun"}) {
    testing::internal::CaptureStderr();
    {
      ServingLoop loop(name);
      CLIENT* client = connect("tcp");
      ASSERT_NE(nullptr, client);
      EXPECT_TRUE(ping(client));
      clnt_destroy(client);
    }
    const std::string prefix = "[" + std::to_string(getpid()) + "] " + name + ": ";
    EXPECT_EQ(
        prefix + "Starting main RPC loop - custom made.\n" + prefix + "RPC main loop stopping.\n",
        testing::internal::GetCapturedStderr());
  }
}

const unsigned int kEth = 1, kUplink = 2, kGpon = 4, kGem = 40, kUnknown = 99;
const unsigned short kVlan = 100;

rpcPSMacEntry macEntry(unsigned char last) { return {{0x02, 0, 0, 0, 0, last}, kVlan}; }
typedef std::pair<std::vector<rpcPSMacEntry>, unsigned int> MacList;

class RpcProgramTest : public ::testing::TestWithParam<const char*> {
 protected:
  static void SetUpTestSuite() { loop = std::make_unique<ServingLoop>(); }
  static void TearDownTestSuite() { loop.reset(); }

  void SetUp() override {
    sim::reset();
    sim::Node& node = sim::Node::instance();
    node.addInterface({kEth, Interfaces::IF_TYPE_ETHERNET, "eth1", true, false});
    node.addInterface({kUplink, Interfaces::IF_TYPE_ETHERNET, "uplink-port-name", true, true});
    node.addInterface({kGpon, Interfaces::IF_TYPE_GPON, "gpon0", true, false});
    node.addInterface({kGem, Interfaces::IF_TYPE_GEM, "gem40", true, false});
    node.bindGem({kGpon, 1, kGem});
    node.addVlanQuietly(kVlan);
    ASSERT_TRUE(PortSecurity::instance().applyDefaultSettings());
    sim::Driver::instance().clearCommands();
    client = connect(GetParam());
    ASSERT_NE(nullptr, client);
  }
  void TearDown() override {
    if (client != nullptr) clnt_destroy(client);
  }

  // The code of a reply, or ~0 when the call itself failed.
  unsigned int code(const rpcPortSecurityResult* result) {
    EXPECT_NE(nullptr, result) << clnt_sperror(client, GetParam());
    return result == nullptr ? ~0u : static_cast<unsigned int>(*result);
  }

  // One interface's settings; its per-VLAN limits go to `vlans`.
  rpcResultPSIntfSettings settings(unsigned int intf) {
    rpcResultPSIntfSettings* reply = rpc_ps_get_interface_settings_1(intf, client);
    EXPECT_NE(nullptr, reply);
    rpcResultPSIntfSettings copy = *reply;
    const rpcPSVlanSettings* first = reply->settings.vlans.vlans_val;
    vlans.assign(first, first + reply->settings.vlans.vlans_len);
    xdr_free(xdrRoutine(xdr_rpcResultPSIntfSettings), reinterpret_cast<char*>(reply));
    return copy;
  }

  // The entries of a MAC list reply, then its code.
  MacList macs(rpcResultPSMacEntryList* reply) {
    EXPECT_NE(nullptr, reply);
    MacList out({reply->list.list_val, reply->list.list_val + reply->list.list_len}, reply->result);
    xdr_free(xdrRoutine(xdr_rpcResultPSMacEntryList), reinterpret_cast<char*>(reply));
    return out;
  }

  inline static std::unique_ptr<ServingLoop> loop;
  CLIENT* client = nullptr;
  std::vector<rpcPSVlanSettings> vlans;
};

TEST_P(RpcProgramTest, SettersAndReportsReachTheEntityAndProfileModeRefusesSome) {
  EXPECT_EQ(0u, code(rpc_ps_set_state_1(TRUE, client)));
  rpcResultPSState* state = rpc_ps_get_state_1(client);
  ASSERT_NE(nullptr, state);
  EXPECT_EQ(RPC_PS_OK, state->result);
  EXPECT_EQ(TRUE, state->state);
  EXPECT_EQ(0u, code(rpc_ps_set_interface_state_1(kEth, TRUE, client)));
  EXPECT_EQ(1u, code(rpc_ps_set_interface_state_1(kUnknown, TRUE, client)));
  EXPECT_EQ(0u, code(rpc_ps_set_mac_limit_dynamic_1(kEth, 42, client)));
  EXPECT_EQ(0u, code(rpc_ps_set_mac_limit_static_1(kEth, 5, client)));
  EXPECT_EQ(7u, code(rpc_ps_add_vlan_mac_limit_dynamic_1(kEth, kVlan, 65, client)));
  EXPECT_EQ(0u, code(rpc_ps_add_vlan_mac_limit_dynamic_1(kEth, kVlan, 10, client)));
  rpcResultPSIntfSettings changed = settings(kEth);
  EXPECT_EQ(RPC_PS_OK, changed.result);
  EXPECT_STREQ("eth1", changed.settings.name);
  EXPECT_EQ(RPC_IFC_ETHERNET, changed.settings.type);
  EXPECT_EQ(TRUE, changed.settings.state);
  EXPECT_EQ(42u, changed.settings.limitDynamic);
  EXPECT_EQ(5u, changed.settings.limitStatic);
  ASSERT_EQ(1u, vlans.size());
  EXPECT_EQ(kVlan, vlans[0].vlan);
  EXPECT_EQ(10u, vlans[0].limit);

  rpcResultPSIntfSettingsList* all = rpc_ps_get_interface_settings_all_1(client);
  ASSERT_NE(nullptr, all);
  std::vector<std::string> names;
  for (u_int i = 0; i < all->list.list_len; ++i) {
    names.push_back(all->list.list_val[i].name);
    EXPECT_EQ(0u, all->list.list_val[i].vlans.vlans_len);  // per-VLAN limits only for one
  }
  xdr_free(xdrRoutine(xdr_rpcResultPSIntfSettingsList), reinterpret_cast<char*>(all));
  // GPON interfaces are not listed; a long name is cut to 15 characters.
  EXPECT_EQ((std::vector<std::string>{"eth1", "uplink-port-nam", "gem40"}), names);

  EXPECT_EQ(0u, code(rpc_ps_set_mac_default_limit_dynamic_1(kEth, client)));
  EXPECT_EQ(0u, code(rpc_ps_set_mac_default_limit_static_1(kEth, client)));
  EXPECT_EQ(0u, code(rpc_ps_del_vlan_mac_limit_dynamic_1(kEth, kVlan, client)));
  rpcResultPSIntfSettings defaults = settings(kEth);
  EXPECT_EQ(300u, defaults.settings.limitDynamic);
  EXPECT_EQ(20u, defaults.settings.limitStatic);
  EXPECT_TRUE(vlans.empty());
  // A failed report clears the whole record first.
  rpcResultPSIntfSettings unknown = settings(kUnknown);
  EXPECT_EQ(RPC_PS_FAILED, unknown.result);
  EXPECT_EQ(0u, unknown.settings.limitDynamic);
  EXPECT_EQ('\0', unknown.settings.name[0]);

  sim::Node::instance().setProfileMode(true);
  sim::Driver::instance().clearCommands();
  EXPECT_EQ(10u, code(rpc_ps_set_state_1(FALSE, client)));
  EXPECT_EQ(10u, code(rpc_ps_set_interface_state_1(kEth, FALSE, client)));
  EXPECT_EQ(10u, code(rpc_ps_add_vlan_mac_limit_dynamic_1(kEth, kVlan, 10, client)));
  EXPECT_EQ(10u, code(rpc_ps_del_vlan_mac_limit_dynamic_1(kEth, kVlan, client)));
  EXPECT_TRUE(sim::Driver::instance().commands().empty());
  EXPECT_EQ(0u, code(rpc_ps_set_interface_state_1(kUplink, TRUE, client)));
  EXPECT_EQ(0u, code(rpc_ps_add_vlan_mac_limit_dynamic_1(kUplink, kVlan, 10, client)));
  EXPECT_EQ(0u, code(rpc_ps_del_vlan_mac_limit_dynamic_1(kUplink, kVlan, client)));
  EXPECT_EQ(0u, code(rpc_ps_set_mac_limit_dynamic_1(kEth, 7, client)));
  EXPECT_TRUE(sim::Driver::instance().globalState());
  EXPECT_TRUE(sim::Driver::instance().interfaceState(kUplink).enabled);
}

TEST_P(RpcProgramTest, StaticAndLearnedEntriesViolationsAndMove) {
  EXPECT_EQ(0u, code(rpc_ps_add_mac_static_1(kEth, macEntry(1), client)));
  EXPECT_EQ(MacList({macEntry(1)}, 0), macs(rpc_ps_get_macs_static_1(kEth, client)));
  EXPECT_EQ(0u, code(rpc_ps_del_mac_static_1(kEth, macEntry(1), client)));
  EXPECT_EQ(MacList({}, 0), macs(rpc_ps_get_macs_static_1(kEth, client)));
  EXPECT_EQ(0u, code(rpc_ps_add_mac_static_virtual_port_1(kGpon, macEntry(3), 1, client)));
  EXPECT_EQ(MacList({macEntry(3)}, 0), macs(rpc_ps_get_macs_static_1(kGem, client)));
  EXPECT_EQ(0u, code(rpc_ps_del_mac_static_virtual_port_1(kGpon, macEntry(3), 1, client)));
  EXPECT_EQ(MacList({}, 0), macs(rpc_ps_get_macs_static_1(kGem, client)));

  // The per-interface query lists the table entries whose driver port is
  // the interface id; the driver counts port p against interface p + 1.
  sim::Driver::instance().learn(kEth, {0x02, 0, 0, 0, 0, 9}, kVlan);
  EXPECT_EQ(MacList({macEntry(9)}, 0), macs(rpc_ps_get_macs_dynamic_1(kEth, client)));
  // A failed query repeats the last list with its own code.
  EXPECT_EQ(MacList({macEntry(9)}, 1), macs(rpc_ps_get_macs_dynamic_1(kUnknown, client)));

  rpcResultPSMacEntry* violation = rpc_ps_get_last_violation_1(kEth, client);
  ASSERT_NE(nullptr, violation);
  EXPECT_EQ(RPC_PS_NOT_FOUND, violation->result);
  EXPECT_EQ(0u, code(rpc_ps_set_state_1(TRUE, client)));
  EXPECT_EQ(0u, code(rpc_ps_set_interface_state_1(kEth, TRUE, client)));
  EXPECT_EQ(0u, code(rpc_ps_set_mac_limit_dynamic_1(kEth, 0, client)));
  sim::Driver::instance().learn(kEth - 1, {0x02, 0, 0, 0, 0, 8}, kVlan);
  ASSERT_NE(nullptr, violation = rpc_ps_get_last_violation_1(kEth, client));
  EXPECT_EQ(RPC_PS_OK, violation->result);
  EXPECT_EQ(macEntry(8), violation->entry);

  EXPECT_EQ(0u, code(rpc_ps_move_dynamic_1(kUplink, client)));
  EXPECT_EQ(MacList({macEntry(9)}, 0), macs(rpc_ps_get_macs_static_1(kUplink, client)));
}

TEST_P(RpcProgramTest, ProtocolErrorsAreAnsweredAndServingGoesOn) {
  u_int interfaceOnly = kEth;
  EXPECT_EQ(RPC_SUCCESS, call(client, NULLPROC, xdr_u_int, &interfaceOnly, xdr_void, nullptr));
  // The last procedure is 819; there is no procedure 19.
  EXPECT_EQ(RPC_PROCUNAVAIL, call(client, 19, xdr_void, nullptr, xdr_void, nullptr));
  EXPECT_TRUE(ping(client));

  // A body of procedure 7 is one unit short of what procedure 18 needs.
  rpc_ps_add_mac_static_1_argument shortBody = {kEth, macEntry(5)};
  rpcPortSecurityResult unused;
  EXPECT_EQ(RPC_CANTDECODEARGS,
            call(client, RPC_PS_ADD_MAC_STATIC_VIRTUAL_PORT, xdr_rpc_ps_add_mac_static_1_argument,
                 &shortBody, xdr_rpcPortSecurityResult, &unused));
  EXPECT_TRUE(sim::Driver::instance().commands().empty());
  EXPECT_TRUE(ping(client));
  EXPECT_EQ(0u, code(rpc_ps_del_mac_static_virtual_port_1(kEth, macEntry(5), 0, client)));
}

INSTANTIATE_TEST_SUITE_P(Transports, RpcProgramTest, ::testing::Values("udp", "tcp"));

}  // namespace
