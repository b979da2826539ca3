// The port-security program over real UDP and TCP sockets and the port
// mapper: each procedure reaches its entity operation and returns its code,
// and protocol errors are answered without stopping the server.
#include <string.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "PortSecurity.h"
#include "RpcTestSupport.h"
#include "SimHost.h"
#include "portsecurity.h"
#include "singleton.h"

bool operator==(const rpcPSMacEntry& a, const rpcPSMacEntry& b) {
  return memcmp(a.mac, b.mac, sizeof a.mac) == 0 && a.vlan == b.vlan;
}

namespace {

using rpctest::xdrRoutine;

const unsigned int kEth = 1;
const unsigned int kUplink = 2;
const unsigned int kGpon = 4;
const unsigned int kGem = 40;
const unsigned int kUnknown = 99;
const unsigned short kVlan = 100;

rpcPSMacEntry macEntry(unsigned char last, unsigned short vlan = kVlan) {
  rpcPSMacEntry entry = {{0x02, 0x00, 0x00, 0x00, 0x00, last}, vlan};
  return entry;
}

class EndToEndTest : public ::testing::TestWithParam<const char*> {
 protected:
  static void SetUpTestSuite() { loop = new rpctest::ServingLoop(); }
  static void TearDownTestSuite() {
    delete loop;
    loop = nullptr;
  }

  void SetUp() override {
    sim::reset();
    sim::Node& node = sim::Node::instance();
    node.addInterface({kEth, Interfaces::IF_TYPE_ETHERNET, "eth1", true, false});
    node.addInterface({kUplink, Interfaces::IF_TYPE_ETHERNET, "uplink-port-name", true, true});
    node.addInterface({kGpon, Interfaces::IF_TYPE_GPON, "gpon0", true, false});
    node.addInterface({kGem, Interfaces::IF_TYPE_GEM, "gem40", true, false});
    node.bindGem({kGpon, 1, kGem});
    node.addVlanQuietly(kVlan);
    ASSERT_TRUE(singleton<PortSecurity>::instance().applyDefaultSettings());
    sim::Driver::instance().clearCommands();
    client = rpctest::connect(GetParam());
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

  rpcResultPSIntfSettings settings(unsigned int intf) {
    rpcResultPSIntfSettings* reply = rpc_ps_get_interface_settings_1(intf, client);
    EXPECT_NE(nullptr, reply);
    rpcResultPSIntfSettings copy = *reply;
    copy.settings.vlans = {0, nullptr};
    vlans.assign(reply->settings.vlans.vlans_val,
                 reply->settings.vlans.vlans_val + reply->settings.vlans.vlans_len);
    xdr_free(xdrRoutine(xdr_rpcResultPSIntfSettings), reinterpret_cast<char*>(reply));
    return copy;
  }

  // The entries of a MAC list reply; the reply's code goes to `code`.
  std::vector<rpcPSMacEntry> macs(rpcResultPSMacEntryList* reply, unsigned int& code) {
    EXPECT_NE(nullptr, reply);
    code = reply->result;
    std::vector<rpcPSMacEntry> out(reply->list.list_val,
                                   reply->list.list_val + reply->list.list_len);
    xdr_free(xdrRoutine(xdr_rpcResultPSMacEntryList), reinterpret_cast<char*>(reply));
    return out;
  }

  static rpctest::ServingLoop* loop;
  CLIENT* client = nullptr;
  std::vector<rpcPSVlanSettings> vlans;  // of the last settings() reply
};

rpctest::ServingLoop* EndToEndTest::loop = nullptr;

TEST_P(EndToEndTest, StateAndLimitSettersReachTheEntity) {
  EXPECT_EQ(0u, code(rpc_ps_set_state_1(TRUE, client)));
  EXPECT_TRUE(sim::Driver::instance().globalState());
  rpcResultPSState* state = rpc_ps_get_state_1(client);
  ASSERT_NE(nullptr, state);
  EXPECT_EQ(RPC_PS_OK, state->result);
  EXPECT_EQ(TRUE, state->state);

  EXPECT_EQ(0u, code(rpc_ps_set_interface_state_1(kEth, TRUE, client)));
  EXPECT_EQ(1u, code(rpc_ps_set_interface_state_1(kUnknown, TRUE, client)));
  EXPECT_EQ(0u, code(rpc_ps_set_mac_limit_dynamic_1(kEth, 42, client)));
  EXPECT_EQ(0u, code(rpc_ps_set_mac_limit_static_1(kEth, 5, client)));
  rpcResultPSIntfSettings changed = settings(kEth);
  EXPECT_EQ(RPC_PS_OK, changed.result);
  EXPECT_STREQ("eth1", changed.settings.name);
  EXPECT_EQ(RPC_IFC_ETHERNET, changed.settings.type);
  EXPECT_EQ(TRUE, changed.settings.state);
  EXPECT_EQ(42u, changed.settings.limitDynamic);
  EXPECT_EQ(5u, changed.settings.limitStatic);

  EXPECT_EQ(0u, code(rpc_ps_set_mac_default_limit_dynamic_1(kEth, client)));
  EXPECT_EQ(0u, code(rpc_ps_set_mac_default_limit_static_1(kEth, client)));
  rpcResultPSIntfSettings defaults = settings(kEth);
  EXPECT_EQ(300u, defaults.settings.limitDynamic);
  EXPECT_EQ(20u, defaults.settings.limitStatic);

  rpcResultPSIntfSettings unknown = settings(kUnknown);
  EXPECT_EQ(RPC_PS_FAILED, unknown.result);
  EXPECT_EQ(0u, unknown.settings.limitDynamic);
  EXPECT_EQ('\0', unknown.settings.name[0]);
}

TEST_P(EndToEndTest, VlanLimitsAreReportedOnlyForOneInterface) {
  EXPECT_EQ(7u, code(rpc_ps_add_vlan_mac_limit_dynamic_1(kEth, kVlan, 65, client)));
  EXPECT_EQ(1u, code(rpc_ps_add_vlan_mac_limit_dynamic_1(kEth, kVlan + 1, 10, client)));
  EXPECT_EQ(0u, code(rpc_ps_add_vlan_mac_limit_dynamic_1(kEth, kVlan, 10, client)));
  settings(kEth);
  ASSERT_EQ(1u, vlans.size());
  EXPECT_EQ(kVlan, vlans[0].vlan);
  EXPECT_EQ(10u, vlans[0].limit);

  rpcResultPSIntfSettingsList* all = rpc_ps_get_interface_settings_all_1(client);
  ASSERT_NE(nullptr, all);
  EXPECT_EQ(RPC_PS_OK, all->result);
  std::vector<std::string> names;
  for (u_int i = 0; i < all->list.list_len; ++i) {
    names.push_back(all->list.list_val[i].name);
    EXPECT_EQ(0u, all->list.list_val[i].vlans.vlans_len);
  }
  xdr_free(xdrRoutine(xdr_rpcResultPSIntfSettingsList), reinterpret_cast<char*>(all));
  // GPON interfaces are not listed; a long name is cut to 15 characters.
  EXPECT_EQ((std::vector<std::string>{"eth1", "uplink-port-nam", "gem40"}), names);

  EXPECT_EQ(0u, code(rpc_ps_del_vlan_mac_limit_dynamic_1(kEth, kVlan, client)));
  settings(kEth);
  EXPECT_TRUE(vlans.empty());
}

TEST_P(EndToEndTest, ProfileModeRefusesStateAndVlanLimitsExceptOnUplinks) {
  sim::Node::instance().setProfileMode(true);
  EXPECT_EQ(10u, code(rpc_ps_set_state_1(TRUE, client)));
  EXPECT_EQ(10u, code(rpc_ps_set_interface_state_1(kEth, TRUE, client)));
  EXPECT_EQ(10u, code(rpc_ps_add_vlan_mac_limit_dynamic_1(kEth, kVlan, 10, client)));
  EXPECT_EQ(10u, code(rpc_ps_del_vlan_mac_limit_dynamic_1(kEth, kVlan, client)));
  EXPECT_TRUE(sim::Driver::instance().commands().empty());

  EXPECT_EQ(0u, code(rpc_ps_set_interface_state_1(kUplink, TRUE, client)));
  EXPECT_EQ(0u, code(rpc_ps_add_vlan_mac_limit_dynamic_1(kUplink, kVlan, 10, client)));
  EXPECT_EQ(0u, code(rpc_ps_del_vlan_mac_limit_dynamic_1(kUplink, kVlan, client)));
  EXPECT_EQ(0u, code(rpc_ps_set_mac_limit_dynamic_1(kEth, 7, client)));
  EXPECT_FALSE(sim::Driver::instance().globalState());
  EXPECT_TRUE(sim::Driver::instance().interfaceState(kUplink).enabled);
}

TEST_P(EndToEndTest, StaticEntriesPerInterfaceAndVirtualPort) {
  unsigned int result = ~0u;
  EXPECT_EQ(0u, code(rpc_ps_set_mac_limit_static_1(kEth, 1, client)));
  EXPECT_EQ(0u, code(rpc_ps_add_mac_static_1(kEth, macEntry(1), client)));
  EXPECT_EQ(2u, code(rpc_ps_add_mac_static_1(kEth, macEntry(2), client)));
  EXPECT_EQ(std::vector<rpcPSMacEntry>{macEntry(1)},
            macs(rpc_ps_get_macs_static_1(kEth, client), result));
  EXPECT_EQ(0u, result);
  EXPECT_EQ(0u, code(rpc_ps_del_mac_static_1(kEth, macEntry(1), client)));
  EXPECT_TRUE(macs(rpc_ps_get_macs_static_1(kEth, client), result).empty());

  EXPECT_EQ(1u, code(rpc_ps_add_mac_static_virtual_port_1(kGpon, macEntry(3), 0, client)));
  EXPECT_EQ(0u, code(rpc_ps_add_mac_static_virtual_port_1(kGpon, macEntry(3), 1, client)));
  EXPECT_EQ(std::vector<rpcPSMacEntry>{macEntry(3)},
            macs(rpc_ps_get_macs_static_1(kGem, client), result));
  EXPECT_EQ(0u, code(rpc_ps_del_mac_static_virtual_port_1(kGpon, macEntry(3), 1, client)));
  EXPECT_TRUE(macs(rpc_ps_get_macs_static_1(kGem, client), result).empty());
}

TEST_P(EndToEndTest, LearnedEntriesViolationsAndMoveToStatic) {
  unsigned int result = ~0u;
  // The per-interface query lists the table entries whose driver port is
  // the interface id; the driver counts port p against interface p + 1.
  sim::Driver::instance().learn(kEth, {0x02, 0, 0, 0, 0, 9}, kVlan);
  EXPECT_EQ(std::vector<rpcPSMacEntry>{macEntry(9)},
            macs(rpc_ps_get_macs_dynamic_1(kEth, client), result));
  EXPECT_EQ(0u, result);
  // A failed query repeats the last list with its own code.
  EXPECT_EQ(std::vector<rpcPSMacEntry>{macEntry(9)},
            macs(rpc_ps_get_macs_dynamic_1(kUnknown, client), result));
  EXPECT_EQ(1u, result);

  rpcResultPSMacEntry* violation = rpc_ps_get_last_violation_1(kEth, client);
  ASSERT_NE(nullptr, violation);
  EXPECT_EQ(RPC_PS_NOT_FOUND, violation->result);

  EXPECT_EQ(0u, code(rpc_ps_set_state_1(TRUE, client)));
  EXPECT_EQ(0u, code(rpc_ps_set_interface_state_1(kEth, TRUE, client)));
  EXPECT_EQ(0u, code(rpc_ps_set_mac_limit_dynamic_1(kEth, 0, client)));
  sim::Driver::instance().learn(kEth - 1, {0x02, 0, 0, 0, 0, 8}, kVlan);
  violation = rpc_ps_get_last_violation_1(kEth, client);
  ASSERT_NE(nullptr, violation);
  EXPECT_EQ(RPC_PS_OK, violation->result);
  EXPECT_EQ(macEntry(8), violation->entry);

  EXPECT_EQ(1u, code(rpc_ps_move_dynamic_1(kUnknown, client)));
  EXPECT_EQ(0u, code(rpc_ps_move_dynamic_1(kUplink, client)));
}

TEST_P(EndToEndTest, ProtocolErrorsAreAnsweredAndServingGoesOn) {
  struct timeval limit = {10, 0};
  u_int interfaceOnly = kEth;
  EXPECT_EQ(RPC_SUCCESS, clnt_call(client, NULLPROC, xdrRoutine(xdr_u_int),
                                   reinterpret_cast<char*>(&interfaceOnly), xdrRoutine(xdr_void),
                                   nullptr, limit));
  EXPECT_EQ(RPC_PROCUNAVAIL, clnt_call(client, 19, xdrRoutine(xdr_void), nullptr,
                                       xdrRoutine(xdr_void), nullptr, limit));
  EXPECT_TRUE(rpctest::ping(client));

  // The datagram transport decodes from its whole receive buffer, so only a
  // stream can carry a body that ends too early.
  if (std::string(GetParam()) != "tcp") return;
  // A body of procedure 7 is one unit short of what procedure 18 needs.
  rpc_ps_add_mac_static_1_argument shortBody = {kEth, macEntry(5)};
  rpcPortSecurityResult unused;
  EXPECT_EQ(RPC_CANTDECODEARGS,
            clnt_call(client, RPC_PS_ADD_MAC_STATIC_VIRTUAL_PORT,
                      xdrRoutine(xdr_rpc_ps_add_mac_static_1_argument),
                      reinterpret_cast<char*>(&shortBody), xdrRoutine(xdr_rpcPortSecurityResult),
                      reinterpret_cast<char*>(&unused), limit));
  EXPECT_TRUE(sim::Driver::instance().commands().empty());
  EXPECT_TRUE(rpctest::ping(client));
  EXPECT_EQ(0u, code(rpc_ps_del_mac_static_virtual_port_1(kEth, macEntry(5), 0, client)));
}

INSTANTIATE_TEST_SUITE_P(Transports, EndToEndTest, ::testing::Values("udp", "tcp"));

}  // namespace
