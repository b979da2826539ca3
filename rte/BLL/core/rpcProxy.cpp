// RPCProxy: the server thread that registers an entity's RPC programs and, on
// the process's own service threads, runs the shared RPC receive loop.
#include "rte/BLL/core/rpcProxy.h"

#include "rte/BLL/core/datagramBounds.h"

#include <arpa/inet.h>
#include <errno.h>
#include <netinet/in.h>
#include <stdio.h>
#include <string.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/thread/thread_time.hpp>

#include "BLLManager.h"
#include "singleton.h"

namespace {

// Diagnostics name the source position of the failed step as fixed text, so
// that the messages stay the same whatever the build does to file names.
const char kSourcePath[] = "rte/BLL/core/rpcProxy.cpp";
const int kLineUdpSocket = 47;
const int kLineUdpBind = 52;
const int kLineUdpCreate = 57;
const int kLineUdpRegister = 61;
const int kLineTcpSocket = 70;
const int kLineTcpBind = 76;
const int kLineTcpListen = 83;
const int kLineTcpCreate = 89;
const int kLineTcpRegister = 93;

const int kListenBacklog = 128;
const int kLoopDescriptors = 1024;

typedef void (*dispatch_t)(struct svc_req*, SVCXPRT*);

bool isLoopRunningName(const std::string& name) {
  return name == "BLLManager_mng" || name == "dhcpra_fun";
}

void reportWithErrno(const char* format, int line, unsigned long program, unsigned long version) {
  int error = errno;
  fprintf(stderr, format, kSourcePath, line, program, program, version, error, strerror(error));
}

void report(const char* format, int line, unsigned long program, unsigned long version) {
  fprintf(stderr, format, kSourcePath, line, program, program, version);
}

bool bindLoopback(int sock) {
  struct sockaddr_in address;
  memset(&address, 0, sizeof address);
  address.sin_family = AF_INET;
  address.sin_port = htons(0);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return bind(sock, reinterpret_cast<struct sockaddr*>(&address), sizeof address) == 0;
}

// A failed step leaves its socket open on purpose: the transport that never
// came up keeps its descriptor for the life of the process.
void registerUdp(unsigned long program, unsigned long version, dispatch_t dispatch) {
  int sock = socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
  if (sock < 0) {
    reportWithErrno(
        "%s:%d Cannot create UDP socket for RPC service 0x%08lx/%lu, version %lu (%d - %s).\n",
        kLineUdpSocket, program, version);
    return;
  }
  const bool heldBack = holdDatagramsBack(sock);
  if (!bindLoopback(sock)) {
    reportWithErrno(
        "%s:%d Cannot bind UDP socket for RPC service 0x%08lx/%lu, version %lu (%d - %s).\n",
        kLineUdpBind, program, version);
    return;
  }
  SVCXPRT* transport = svcudp_create(sock);
  if (transport == nullptr) {
    report("%s:%d Cannot create UDP RPC service 0x%08lx/%lu, version %lu.\n", kLineUdpCreate,
           program, version);
    return;
  }
  if (!boundDecodingToDatagram(transport, heldBack)) {
    report("%s:%d Cannot create UDP RPC service 0x%08lx/%lu, version %lu.\n", kLineUdpCreate,
           program, version);
    return;
  }
  if (!svc_register(transport, program, version, dispatch, IPPROTO_UDP)) {
    report("%s:%d Cannot register UDP RPC service 0x%08lx/%lu, version %lu.\n", kLineUdpRegister,
           program, version);
  }
}

void registerTcp(unsigned long program, unsigned long version, dispatch_t dispatch) {
  int sock = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
  if (sock < 0) {
    reportWithErrno(
        "%s:%d Cannot create TCP socket for RPC service 0x%08lx/%lu, version %lu (%d - %s).\n",
        kLineTcpSocket, program, version);
    return;
  }
  if (!bindLoopback(sock)) {
    reportWithErrno(
        "%s:%d Cannot bind TCP socket for RPC service 0x%08lx/%lu, version %lu (%d - %s).\n",
        kLineTcpBind, program, version);
    return;
  }
  if (listen(sock, kListenBacklog) != 0) {
    reportWithErrno(
        "%s:%d Cannot set TCP socket for RPC service 0x%08lx/%lu, version %lu to listen mode "
        "(%d - %s).\n",
        kLineTcpListen, program, version);
    return;
  }
  SVCXPRT* transport = svctcp_create(sock, 0, 0);
  if (transport == nullptr) {
    report("%s:%d Cannot create TCP RPC service 0x%08lx/%lu, version %lu.\n", kLineTcpCreate,
           program, version);
    return;
  }
  if (!svc_register(transport, program, version, dispatch, IPPROTO_TCP)) {
    report("%s:%d Cannot register TCP RPC service 0x%08lx/%lu, version %lu.\n", kLineTcpRegister,
           program, version);
  }
}

}  // namespace

int checkInterrupt() {
  try {
    boost::this_thread::interruption_point();
  } catch (const boost::thread_interrupted&) {
    return 1;
  }
  return 0;
}

void rpcProxyRegisterSvc(unsigned long program, unsigned long version,
                         void (*dispatch)(struct svc_req*, SVCXPRT*)) {
  pmap_unset(program, version);
  registerUdp(program, version, dispatch);
  registerTcp(program, version, dispatch);
}

RPCProxy::RPCProxy(startRoutine_t routine, const std::string& name)
    : thread(), interruptCheck(checkInterrupt), startRoutine(routine), threadName(name) {}

RPCProxy::~RPCProxy() noexcept(false) {
  if (thread.joinable()) {
    thread.interrupt();
    thread.join();
  }
}

bool RPCProxy::start() {
  if (thread.joinable()) return false;
  boost::thread started(&RPCProxy::threadFunction, this);
  thread.swap(started);
  return true;
}

bool RPCProxy::stop(bool timed) {
  if (thread.joinable()) thread.interrupt();
  if (timed) return isStopped();
  thread.join();
  return true;
}

bool RPCProxy::isStopped() {
  if (!thread.joinable()) return true;
  return thread.timed_join(boost::get_system_time() + boost::posix_time::milliseconds(100));
}

void RPCProxy::threadFunction() {
  singleton<BLLManager>::instance().registerThread(threadName);
  startRoutine(&interruptCheck);
  if (!isLoopRunningName(threadName)) return;
  runReceiveLoop();
}

void RPCProxy::runReceiveLoop() {
  fprintf(stderr, "[%d] %s: Starting main RPC loop - custom made.\n", getpid(), threadName.c_str());
  try {
    for (;;) {
      fd_set readSet = svc_fdset;
      struct timeval timeout = {1, 0};
      int ready = select(kLoopDescriptors, &readSet, nullptr, nullptr, &timeout);
      if (ready == -1) {
        if (errno == EINTR) continue;
        int error = errno;
        fprintf(stderr, "[%d] %s: RPC main loop stopping (%d - %s).\n", getpid(),
                threadName.c_str(), error, strerror(error));
        return;
      }
      if (ready > 0) svc_getreqset(&readSet);
      boost::this_thread::interruption_point();
    }
  } catch (const boost::thread_interrupted&) {
    fprintf(stderr, "[%d] %s: RPC main loop stopping.\n", getpid(), threadName.c_str());
  }
}
