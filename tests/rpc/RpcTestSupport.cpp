#include "RpcTestSupport.h"

#include <future>

#include "portsecurity/rpc/PortSecurityRpc.h"

namespace rpctest {

namespace {

std::promise<void>* registered = nullptr;

void* registerAndSignal(void* interruptCheck) {
  rpcPortsecurityStart(interruptCheck);
  registered->set_value();
  return nullptr;
}

}  // namespace

ServingLoop::ServingLoop(const std::string& name) : proxy(registerAndSignal, name) {
  std::promise<void> done;
  std::future<void> waiter = done.get_future();
  registered = &done;
  proxy.start();
  waiter.wait();
  registered = nullptr;
}

ServingLoop::~ServingLoop() { proxy.stop(false); }

CLIENT* connect(const char* transport) {
  CLIENT* client = clnt_create("127.0.0.1", PORTSECURITY_PROGRAM, PORTSECURITY_VERSION, transport);
  if (client == nullptr) return nullptr;
  // Bounds a lost request; nothing is asserted about how long a call takes.
  struct timeval limit = {10, 0};
  clnt_control(client, CLSET_TIMEOUT, reinterpret_cast<char*>(&limit));
  return client;
}

bool ping(CLIENT* client) {
  struct timeval limit = {10, 0};
  return clnt_call(client, NULLPROC, xdrRoutine(xdr_void), nullptr, xdrRoutine(xdr_void), nullptr,
                   limit) == RPC_SUCCESS;
}

}  // namespace rpctest
