// What the RPC tests share: the process's receive loop serving the
// port-security program, and the client-side odds and ends of calling it.
#pragma once

#include <rpc/rpc.h>

#include <string>

#include "portsecurity.h"
#include "portsecurity/rpc/PortSecurityRpc.h"
#include "rte/BLL/core/rpcProxy.h"

namespace rpctest {

template <class Routine>
xdrproc_t xdrRoutine(Routine routine) {
  return reinterpret_cast<xdrproc_t>(reinterpret_cast<void (*)()>(routine));
}

// The process's receive loop on a proxy of a loop-running name, serving the
// program registered beforehand from this thread. Joined on destruction.
class ServingLoop {
 public:
  explicit ServingLoop(const std::string& name = "BLLManager_mng")
      : proxy([](void*) -> void* { return nullptr; }, name) {
    rpcPortsecurityStart(nullptr);
    proxy.start();
  }
  ~ServingLoop() { proxy.stop(false); }

 private:
  RPCProxy proxy;
};

inline CLIENT* connect(const char* transport) {
  return clnt_create("127.0.0.1", PORTSECURITY_PROGRAM, PORTSECURITY_VERSION, transport);
}

// A call with the XDR routines given, whatever the procedure's own; the time
// limit bounds a lost request, no time is asserted.
template <class Encode, class Decode>
clnt_stat call(CLIENT* client, rpcproc_t procedure, Encode encode, void* argument, Decode decode,
               void* result) {
  const timeval limit = {10, 0};
  return clnt_call(client, procedure, xdrRoutine(encode), static_cast<char*>(argument),
                   xdrRoutine(decode), static_cast<char*>(result), limit);
}

inline bool ping(CLIENT* client) {
  return call(client, NULLPROC, xdr_void, nullptr, xdr_void, nullptr) == RPC_SUCCESS;
}

}  // namespace rpctest
