// RPCProxy lifecycle: start, stop, interruption and the receive loop.
#include <netinet/in.h>
#include <rpc/pmap_clnt.h>
#include <unistd.h>

#include <future>
#include <string>

#include <gtest/gtest.h>

#include "RpcTestSupport.h"
#include "portsecurity/rpc/PortSecurityRpc.h"
#include "rte/BLL/core/rpcProxy.h"

namespace {

// Holds the proxy's thread until the test opens it, then reports what the
// proxy's interrupt check answered.
struct Gate {
  std::promise<void> open;
  std::shared_future<void> opened = open.get_future().share();
  std::promise<int> checked;
};
Gate* gate = nullptr;

void* waitAtGate(void* interruptCheck) {
  gate->opened.wait();
  gate->checked.set_value((*static_cast<RPCProxy::interruptCheck_t*>(interruptCheck))());
  return nullptr;
}

class RpcProxyTest : public ::testing::Test {
 protected:
  void SetUp() override { gate = &g; }
  void TearDown() override { gate = nullptr; }
  Gate g;
};

unsigned short registeredPort(unsigned long protocol) {
  struct sockaddr_in mapper = {};
  mapper.sin_family = AF_INET;
  mapper.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return pmap_getport(&mapper, PORTSECURITY_PROGRAM, PORTSECURITY_VERSION, protocol);
}

TEST_F(RpcProxyTest, StartIsRefusedUntilTheThreadIsJoined) {
  RPCProxy proxy(waitAtGate, "PortSecurity_mng");
  EXPECT_TRUE(proxy.isStopped());
  EXPECT_TRUE(proxy.start());
  EXPECT_FALSE(proxy.start());
  g.open.set_value();
  EXPECT_EQ(0, g.checked.get_future().get());  // no stop requested yet
  EXPECT_FALSE(proxy.start());                 // ended, but not joined
  EXPECT_TRUE(proxy.stop(false));
  EXPECT_TRUE(proxy.isStopped());
}

TEST_F(RpcProxyTest, TimedStopReportsABusyThreadAndLeavesTheInterruptPending) {
  RPCProxy proxy(waitAtGate, "PortSecurity_mng");
  ASSERT_TRUE(proxy.start());
  EXPECT_FALSE(proxy.stop(true));
  g.open.set_value();
  EXPECT_EQ(1, g.checked.get_future().get());
  EXPECT_TRUE(proxy.stop(false));
  EXPECT_TRUE(proxy.stop(true));
}

TEST(RpcProxyRegistrationTest, NonLoopThreadRegistersBothTransportsAndEnds) {
  pmap_unset(PORTSECURITY_PROGRAM, PORTSECURITY_VERSION);
  RPCProxy proxy(rpcPortsecurityStart, "PortSecurity_mng");
  testing::internal::CaptureStderr();
  ASSERT_TRUE(proxy.start());
  EXPECT_TRUE(proxy.stop(false));
  EXPECT_EQ("", testing::internal::GetCapturedStderr());
  EXPECT_NE(0, registeredPort(IPPROTO_UDP));
  EXPECT_NE(0, registeredPort(IPPROTO_TCP));
}

TEST(RpcProxyLoopTest, LoopThreadServesUntilStopped) {
  for (const std::string name : {"BLLManager_mng", "dhcpra_fun"}) {
    testing::internal::CaptureStderr();
    {
      rpctest::ServingLoop loop(name);
      CLIENT* client = rpctest::connect("tcp");
      ASSERT_NE(nullptr, client);
      EXPECT_TRUE(rpctest::ping(client));
      clnt_destroy(client);
      EXPECT_TRUE(loop.stop());
    }
    const std::string prefix = "[" + std::to_string(getpid()) + "] " + name + ": ";
    EXPECT_EQ(
        prefix + "Starting main RPC loop - custom made.\n" + prefix + "RPC main loop stopping.\n",
        testing::internal::GetCapturedStderr());
  }
}

}  // namespace
