// The process's receive loop (every procedure's answers: ProcedureTableTest;
// protocol errors: HostileClientsTest).
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include "RpcTestSupport.h"

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

}  // namespace
