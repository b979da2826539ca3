// The process's receive loop, and protocol errors answered over real UDP and
// TCP sockets without stopping the server (every procedure's answers:
// ProcedureTableTest).
#include <string.h>
#include <unistd.h>

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "PortSecurity.h"
#include "RpcTestSupport.h"
#include "SimHost.h"

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

  inline static std::unique_ptr<ServingLoop> loop;
  CLIENT* client = nullptr;
};

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
  rpcPortSecurityResult* deleted =
      rpc_ps_del_mac_static_virtual_port_1(kEth, macEntry(5), 0, client);
  ASSERT_NE(nullptr, deleted);
  EXPECT_EQ(RPC_PS_OK, *deleted);
}

INSTANTIATE_TEST_SUITE_P(Transports, RpcProgramTest, ::testing::Values("udp", "tcp"));

}  // namespace
