// Helpers of the RPC tests: the process's receive loop serving the
// port-security program, and clients that reach it through the port mapper.
// Use from the test's main thread only.
#pragma once

#include <rpc/rpc.h>

#include <string>

#include "rte/BLL/core/rpcProxy.h"

namespace rpctest {

// Registers the port-security program and runs the receive loop on a proxy
// of the given loop-running name; the constructor returns once the program
// is registered. Stopped (joined) on destruction.
class ServingLoop {
 public:
  explicit ServingLoop(const std::string& name = "BLLManager_mng");
  ~ServingLoop();
  ServingLoop(const ServingLoop&) = delete;
  ServingLoop& operator=(const ServingLoop&) = delete;

  bool stop() { return proxy.stop(false); }

 private:
  RPCProxy proxy;
};

// A client of the port-security program over "udp" or "tcp", or null.
CLIENT* connect(const char* transport);

// Calls the null procedure; true on an empty successful reply.
bool ping(CLIENT* client);

template <class Routine>
xdrproc_t xdrRoutine(Routine routine) {
  return reinterpret_cast<xdrproc_t>(reinterpret_cast<void (*)()>(routine));
}

}  // namespace rpctest
