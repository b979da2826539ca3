// The port-security program over real UDP and TCP sockets and the port
// mapper, served by the process's receive loop: the reply fields and
// refusals that psctl does not print (PsctlTest runs every procedure end to
// end), and protocol errors answered without stopping the server.
#include <string.h>
#include <unistd.h>

#include <memory>
#include <string>

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

const unsigned int kEth = 1, kUplink = 2, kUnknown = 99;
const unsigned short kVlan = 100;

rpcPSMacEntry macEntry(unsigned char last) { return {{0x02, 0, 0, 0, 0, last}, kVlan}; }

class RpcProgramTest : public ::testing::TestWithParam<const char*> {
 protected:
  static void SetUpTestSuite() { loop = std::make_unique<ServingLoop>(); }
  static void TearDownTestSuite() { loop.reset(); }

  void SetUp() override {
    sim::reset();
    sim::Node& node = sim::Node::instance();
    node.addInterface({kEth, Interfaces::IF_TYPE_ETHERNET, "eth1", true, false});
    node.addInterface({kUplink, Interfaces::IF_TYPE_ETHERNET, "uplink", true, true});
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

  // One interface's settings, without its per-VLAN limits.
  rpcResultPSIntfSettings settings(unsigned int intf) {
    rpcResultPSIntfSettings* reply = rpc_ps_get_interface_settings_1(intf, client);
    EXPECT_NE(nullptr, reply);
    rpcResultPSIntfSettings copy = *reply;
    copy.settings.vlans = {0, nullptr};
    xdr_free(xdrRoutine(xdr_rpcResultPSIntfSettings), reinterpret_cast<char*>(reply));
    return copy;
  }

  inline static std::unique_ptr<ServingLoop> loop;
  CLIENT* client = nullptr;
};

TEST_P(RpcProgramTest, ReportFieldsDefaultsAndProfileModeRefusals) {
  EXPECT_EQ(0u, code(rpc_ps_set_interface_state_1(kEth, TRUE, client)));
  EXPECT_EQ(0u, code(rpc_ps_set_mac_limit_static_1(kEth, 5, client)));
  EXPECT_EQ(0u, code(rpc_ps_add_vlan_mac_limit_dynamic_1(kEth, kVlan, 10, client)));
  rpcResultPSIntfSettings changed = settings(kEth);
  EXPECT_EQ(RPC_IFC_ETHERNET, changed.settings.type);
  EXPECT_EQ(TRUE, changed.settings.state);
  EXPECT_EQ(5u, changed.settings.limitStatic);
  // The list carries no per-VLAN limits, not even the one just set.
  rpcResultPSIntfSettingsList* all = rpc_ps_get_interface_settings_all_1(client);
  ASSERT_NE(nullptr, all);
  ASSERT_LT(0u, all->list.list_len);
  for (u_int i = 0; i < all->list.list_len; ++i)
    EXPECT_EQ(0u, all->list.list_val[i].vlans.vlans_len);
  xdr_free(xdrRoutine(xdr_rpcResultPSIntfSettingsList), reinterpret_cast<char*>(all));

  EXPECT_EQ(0u, code(rpc_ps_set_mac_default_limit_static_1(kEth, client)));
  EXPECT_EQ(20u, settings(kEth).settings.limitStatic);
  // A failed report clears the whole record first.
  rpcResultPSIntfSettings unknown = settings(kUnknown);
  EXPECT_EQ(RPC_PS_FAILED, unknown.result);
  EXPECT_EQ(0u, unknown.settings.limitDynamic);
  EXPECT_EQ('\0', unknown.settings.name[0]);

  // Profile mode refuses per-VLAN limits except on uplinks, before the driver.
  sim::Node::instance().setProfileMode(true);
  sim::Driver::instance().clearCommands();
  EXPECT_EQ(10u, code(rpc_ps_add_vlan_mac_limit_dynamic_1(kEth, kVlan, 10, client)));
  EXPECT_EQ(10u, code(rpc_ps_del_vlan_mac_limit_dynamic_1(kEth, kVlan, client)));
  EXPECT_TRUE(sim::Driver::instance().commands().empty());
  EXPECT_EQ(0u, code(rpc_ps_add_vlan_mac_limit_dynamic_1(kUplink, kVlan, 10, client)));
  EXPECT_EQ(0u, code(rpc_ps_del_vlan_mac_limit_dynamic_1(kUplink, kVlan, client)));
  EXPECT_EQ(0u, code(rpc_ps_set_mac_limit_dynamic_1(kEth, 7, client)));
}

// A failed query repeats the last list with its own code.
TEST_P(RpcProgramTest, FailedMacQueryRepeatsTheLastList) {
  sim::Driver::instance().learn(kEth, {0x02, 0, 0, 0, 0, 9}, kVlan);
  for (const unsigned int intf : {kEth, kUnknown}) {
    rpcResultPSMacEntryList* reply = rpc_ps_get_macs_dynamic_1(intf, client);
    ASSERT_NE(nullptr, reply);
    EXPECT_EQ(intf == kEth ? RPC_PS_OK : RPC_PS_FAILED, reply->result);
    ASSERT_EQ(1u, reply->list.list_len);
    EXPECT_EQ(macEntry(9), reply->list.list_val[0]);
    xdr_free(xdrRoutine(xdr_rpcResultPSMacEntryList), reinterpret_cast<char*>(reply));
  }
}

// Unknown procedures and argument garbage: HostileClientsTest.
TEST_P(RpcProgramTest, ProtocolErrorsAreAnsweredAndServingGoesOn) {
  u_int interfaceOnly = kEth;
  EXPECT_EQ(RPC_SUCCESS, call(client, NULLPROC, xdr_u_int, &interfaceOnly, xdr_void, nullptr));
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
