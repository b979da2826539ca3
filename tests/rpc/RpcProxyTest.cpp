// RPCProxy and rpcProxyRegisterSvc: start and stop of the server thread, the
// registration thread that registers both transports and ends, each transport
// attempted on its own with its failures reported on stderr; and the loaded
// entity's start() and stop(), whose subscriptions outlive every test.
#include <arpa/inet.h>
#include <dlfcn.h>
#include <errno.h>
#include <netinet/in.h>
#include <rpc/pmap_clnt.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "BLLManager.h"
#include "HostRegistry.h"
#include "PortSecurity.h"
#include "RpcTestSupport.h"
#include "SimHost.h"
#include "portsecurity/rpc/PortSecurityRpc.h"
#include "rte/BLL/core/rpcProxy.h"
#include "vqbridge.h"

namespace {

// The registration step made to fail next, by interposing the call that
// takes it; every other call goes to the libraries.
enum class Fail {
  nothing,
  udpSocket,
  udpBind,
  udpTransport,
  udpRegistration,
  tcpSocket,
  tcpBind,
  tcpListen,
  tcpTransport,
  tcpRegistration,
  reply
};
std::atomic<Fail> failNext{Fail::nothing};

bool failing(Fail step) { return failNext.compare_exchange_strong(step, Fail::nothing); }

}  // namespace

// The server's sockets, as it asks for them, fail with EMFILE.
extern "C" int socket(int domain, int type, int protocol) {
  static auto next = reinterpret_cast<int (*)(int, int, int)>(dlsym(RTLD_NEXT, "socket"));
  const bool udp = type == SOCK_DGRAM && protocol == IPPROTO_UDP;
  if (domain == AF_INET && (udp || protocol == IPPROTO_TCP) &&
      failing(udp ? Fail::udpSocket : Fail::tcpSocket)) {
    errno = EMFILE;
    return -1;
  }
  return next(domain, type, protocol);
}

extern "C" int listen(int fd, int backlog) {
  static auto next = reinterpret_cast<int (*)(int, int)>(dlsym(RTLD_NEXT, "listen"));
  if (!failing(Fail::tcpListen)) return next(fd, backlog);
  errno = EADDRINUSE;
  return -1;
}

// A bind to 127.0.0.1, port 0 fails with EADDRINUSE.
extern "C" int bind(int fd, const struct sockaddr* address, socklen_t length) {
  typedef int (*bind_t)(int, const struct sockaddr*, socklen_t);
  static bind_t next = reinterpret_cast<bind_t>(dlsym(RTLD_NEXT, "bind"));
  const struct sockaddr_in* in = reinterpret_cast<const struct sockaddr_in*>(address);
  int type = 0;
  socklen_t typeLength = sizeof type;
  if (in != nullptr && in->sin_family == AF_INET && in->sin_addr.s_addr == htonl(INADDR_LOOPBACK) &&
      in->sin_port == 0 && getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &typeLength) == 0 &&
      failing(type == SOCK_DGRAM ? Fail::udpBind : Fail::tcpBind)) {
    errno = EADDRINUSE;
    return -1;
  }
  return next(fd, address, length);
}

extern "C" SVCXPRT* svcudp_create(int sock) {
  static auto next = reinterpret_cast<SVCXPRT* (*)(int)>(dlsym(RTLD_NEXT, "svcudp_create"));
  return failing(Fail::udpTransport) ? nullptr : next(sock);
}

extern "C" SVCXPRT* svctcp_create(int sock, u_int sendSize, u_int receiveSize) {
  static auto next = reinterpret_cast<decltype(&svctcp_create)>(dlsym(RTLD_NEXT, "svctcp_create"));
  return failing(Fail::tcpTransport) ? nullptr : next(sock, sendSize, receiveSize);
}

extern "C" bool_t svc_sendreply(SVCXPRT* transport, xdrproc_t encode, void* result) {
  static auto next = reinterpret_cast<decltype(&svc_sendreply)>(dlsym(RTLD_NEXT, "svc_sendreply"));
  return !failing(Fail::reply) && next(transport, encode, result);
}

extern "C" bool_t svc_register(SVCXPRT* transport, u_long program, u_long version,
                               void (*dispatch)(struct svc_req*, SVCXPRT*), int protocol) {
  static auto next = reinterpret_cast<decltype(&svc_register)>(dlsym(RTLD_NEXT, "svc_register"));
  return !failing(protocol == IPPROTO_TCP ? Fail::tcpRegistration : Fail::udpRegistration) &&
         next(transport, program, version, dispatch, protocol);
}

namespace {

// A transient program number, so the port-security registration is untouched.
const unsigned long kTestProgram = 0x40000d0d;

unsigned short registeredPort(unsigned long program, unsigned long protocol) {
  struct sockaddr_in mapper = {};
  mapper.sin_family = AF_INET;
  mapper.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return pmap_getport(&mapper, program, 1, protocol);
}

// Holds the proxy's thread until the test opens the gate, then reports what
// the proxy's interrupt check answered.
class RpcProxyTest : public ::testing::Test {
 protected:
  void SetUp() override {
    open = std::promise<void>();
    gate = open.get_future().share();
    checked = std::promise<int>();
  }
  static void* waitAtGate(void* interruptCheck) {
    const std::vector<std::string> threads = sim::HostRegistry::instance().threadNames();
    toldFirst = std::find(threads.begin(), threads.end(), kGateThread) != threads.end();
    gate.wait();
    checked.set_value((*static_cast<RPCProxy::interruptCheck_t*>(interruptCheck))());
    return nullptr;
  }
  inline static std::promise<void> open;
  inline static std::shared_future<void> gate;
  inline static std::promise<int> checked;
  // Whether the host had been told of the thread before its routine ran.
  inline static bool toldFirst = false;
  static constexpr const char* kGateThread = "gate_thread";
};

TEST_F(RpcProxyTest, StartIsRefusedUntilTheThreadIsJoined) {
  RPCProxy proxy(waitAtGate, kGateThread);
  EXPECT_TRUE(proxy.isStopped());
  EXPECT_TRUE(proxy.start());
  EXPECT_FALSE(proxy.start());
  open.set_value();
  EXPECT_EQ(0, checked.get_future().get());  // no stop requested yet
  EXPECT_TRUE(toldFirst);
  EXPECT_FALSE(proxy.start());  // ended, but not joined
  EXPECT_TRUE(proxy.stop(false));
  EXPECT_TRUE(proxy.isStopped());
}

TEST_F(RpcProxyTest, TimedStopReportsABusyThreadAndLeavesTheInterruptPending) {
  RPCProxy proxy(waitAtGate, "PortSecurity_mng");
  ASSERT_TRUE(proxy.start());
  EXPECT_FALSE(proxy.stop(true));
  open.set_value();
  EXPECT_EQ(1, checked.get_future().get());
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
  EXPECT_NE(0, registeredPort(PORTSECURITY_PROGRAM, IPPROTO_UDP));
  EXPECT_NE(0, registeredPort(PORTSECURITY_PROGRAM, IPPROTO_TCP));
}

TEST(RegisterSvcTest, EachTransportIsRegisteredOrReportedOnItsOwn) {
  const std::string service = " RPC service 0x40000d0d/1073745165, version 1";
  const std::string emfile = "Too many open files", inUse = "Address already in use";
  const struct {
    Fail step;
    std::string line;
    bool udp, tcp;  // registered with the port mapper afterwards
  } cases[] = {
      {Fail::udpSocket, ":47 Cannot create UDP socket for" + service + " (24 - " + emfile + ")",
       false, true},
      {Fail::udpBind, ":52 Cannot bind UDP socket for" + service + " (98 - " + inUse + ")", false,
       true},
      {Fail::udpTransport, ":57 Cannot create UDP" + service, false, true},
      {Fail::udpRegistration, ":61 Cannot register UDP" + service, false, true},
      {Fail::tcpSocket, ":70 Cannot create TCP socket for" + service + " (24 - " + emfile + ")",
       true, false},
      {Fail::tcpBind, ":76 Cannot bind TCP socket for" + service + " (98 - " + inUse + ")", true,
       false},
      {Fail::tcpListen,
       ":83 Cannot set TCP socket for" + service + " to listen mode (98 - " + inUse + ")", true,
       false},
      {Fail::tcpTransport, ":89 Cannot create TCP" + service, true, false},
      {Fail::tcpRegistration, ":93 Cannot register TCP" + service, true, false},
  };
  for (const auto& c : cases) {
    failNext = c.step;
    testing::internal::CaptureStderr();
    rpcProxyRegisterSvc(kTestProgram, 1, [](svc_req*, SVCXPRT* t) { svcerr_noproc(t); });
    EXPECT_EQ("rte/BLL/core/rpcProxy.cpp" + c.line + ".\n", testing::internal::GetCapturedStderr());
    EXPECT_EQ(c.udp, registeredPort(kTestProgram, IPPROTO_UDP) != 0) << c.line;
    EXPECT_EQ(c.tcp, registeredPort(kTestProgram, IPPROTO_TCP) != 0) << c.line;
    svc_unregister(kTestProgram, 1);
  }
}

TEST(RpcDispatchTest, AReplyThatCannotBeSentIsAnsweredWithASystemError) {
  rpctest::ServingLoop loop;
  CLIENT* client = rpctest::connect("udp");
  ASSERT_NE(nullptr, client);
  failNext = Fail::reply;
  EXPECT_EQ(RPC_SYSTEMERROR, rpctest::call(client, 10, xdr_void, nullptr, xdr_void, nullptr));
  EXPECT_TRUE(rpctest::ping(client));
  clnt_destroy(client);
}

TEST(EntityLifecycleTest, StopLeavesHandlersSubscribedSoRestartDoublesThem) {
  sim::reset();
  sim::LogRecorder::instance().setEcho(false);
  PortSecurity& entity = PortSecurity::instance();
  vqbridge& bridge = vqbridge::instance();
  // VLAN deleted (pre), VLAN created, GEM event, external message; then the
  // VLAN-deleted post list, which start() does not use.
  const auto counts = [&] {
    return std::vector<size_t>{
        bridge.vlanDeletedEvent.preCount(), bridge.vlanCreatedEvent.postCount(),
        Interfaces::instance().gponGemEvent.postCount(),
        BLLManager::instance().externalMessage.postCount(), bridge.vlanDeletedEvent.postCount()};
  };
  std::vector<size_t> expected = counts();
  ASSERT_TRUE(entity.start());
  EXPECT_TRUE(entity.stop());
  ASSERT_TRUE(entity.start());
  EXPECT_TRUE(entity.stop());
  EXPECT_TRUE(entity.stop());
  for (size_t i = 0; i < 4; ++i) expected[i] += 2;
  ASSERT_EQ(expected, counts());

  // Every subscription runs its handler: one dump text per copy, and one
  // lock-failure line per copy of the VLAN handler.
  std::ostringstream single;
  entity.externalMessage("portSecurity", "macEntries", &single);
  ASSERT_FALSE(single.str().empty());
  std::string dumps;
  for (size_t copy = 0; copy < expected[3]; ++copy) dumps += single.str();
  EXPECT_EQ(dumps, sim::sendExternalMessage("portSecurity", "macEntries"));
  sim::BusinessLock::instance().failNextAttempts(expected[1], sim::LockKind::exclusive);
  ASSERT_TRUE(sim::Node::instance().createVlan(42));
  size_t handled = 0;
  for (const sim::LogLine& line : sim::LogRecorder::instance().lines())
    handled += line.text.compare(0, 13, "vlanAddEvent:") == 0;
  EXPECT_EQ(expected[1], handled);
  sim::reset();
}

}  // namespace
