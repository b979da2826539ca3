// rpcProxyRegisterSvc: each transport is attempted on its own, and every
// failure is reported on standard error with its fixed source position.
#include <arpa/inet.h>
#include <dlfcn.h>
#include <errno.h>
#include <netinet/in.h>
#include <rpc/pmap_clnt.h>
#include <sys/socket.h>

#include <atomic>
#include <string>

#include <gtest/gtest.h>

#include "rte/BLL/core/rpcProxy.h"

namespace {

// When armed, the next bind of a datagram socket to 127.0.0.1, port 0
// fails with EADDRINUSE; every other bind goes to the C library.
std::atomic<bool> failNextLoopbackUdpBind{false};

bool isLoopbackAnyPortDatagram(int fd, const struct sockaddr* address) {
  int type = 0;
  socklen_t length = sizeof type;
  if (getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &length) != 0 || type != SOCK_DGRAM) return false;
  if (address == nullptr || address->sa_family != AF_INET) return false;
  const struct sockaddr_in* in = reinterpret_cast<const struct sockaddr_in*>(address);
  return in->sin_addr.s_addr == htonl(INADDR_LOOPBACK) && in->sin_port == 0;
}

}  // namespace

extern "C" int bind(int fd, const struct sockaddr* address, socklen_t length) {
  typedef int (*bind_t)(int, const struct sockaddr*, socklen_t);
  static bind_t next = reinterpret_cast<bind_t>(dlsym(RTLD_NEXT, "bind"));
  if (isLoopbackAnyPortDatagram(fd, address) && failNextLoopbackUdpBind.exchange(false)) {
    errno = EADDRINUSE;
    return -1;
  }
  return next(fd, address, length);
}

namespace {

// A transient program number, so the port-security registration is untouched.
const unsigned long kTestProgram = 0x40000d0d;

void firstDispatcher(struct svc_req*, SVCXPRT* transport) { svcerr_noproc(transport); }
void secondDispatcher(struct svc_req*, SVCXPRT* transport) { svcerr_decode(transport); }

unsigned short registeredPort(unsigned long protocol) {
  struct sockaddr_in mapper = {};
  mapper.sin_family = AF_INET;
  mapper.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return pmap_getport(&mapper, kTestProgram, 1, protocol);
}

class RegisterSvcTest : public ::testing::Test {
 protected:
  void TearDown() override { svc_unregister(kTestProgram, 1); }
};

TEST_F(RegisterSvcTest, FailedUdpBindStillRegistersTcp) {
  failNextLoopbackUdpBind = true;
  testing::internal::CaptureStderr();
  rpcProxyRegisterSvc(kTestProgram, 1, firstDispatcher);
  EXPECT_EQ(
      "rte/BLL/core/rpcProxy.cpp:52 Cannot bind UDP socket for RPC service "
      "0x40000d0d/1073745165, version 1 (98 - Address already in use).\n",
      testing::internal::GetCapturedStderr());
  EXPECT_EQ(0, registeredPort(IPPROTO_UDP));
  EXPECT_NE(0, registeredPort(IPPROTO_TCP));
}

TEST_F(RegisterSvcTest, SecondDispatcherForTheSameProgramIsRefusedOnBothTransports) {
  testing::internal::CaptureStderr();
  rpcProxyRegisterSvc(kTestProgram, 1, firstDispatcher);
  ASSERT_EQ("", testing::internal::GetCapturedStderr());
  EXPECT_NE(0, registeredPort(IPPROTO_UDP));

  testing::internal::CaptureStderr();
  rpcProxyRegisterSvc(kTestProgram, 1, secondDispatcher);
  EXPECT_EQ(
      "rte/BLL/core/rpcProxy.cpp:61 Cannot register UDP RPC service 0x40000d0d/1073745165, "
      "version 1.\n"
      "rte/BLL/core/rpcProxy.cpp:93 Cannot register TCP RPC service 0x40000d0d/1073745165, "
      "version 1.\n",
      testing::internal::GetCapturedStderr());
  EXPECT_EQ(0, registeredPort(IPPROTO_UDP));
  EXPECT_EQ(0, registeredPort(IPPROTO_TCP));
}

}  // namespace
