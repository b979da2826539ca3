// A server thread that registers an entity's RPC programs and, for the two
// names reserved for the process's own service threads, runs the process-wide
// RPC receive loop. Owned by one entity, which calls start and stop in order
// and never from the proxy's own thread.
#pragma once

#include <rpc/rpc.h>

#include <string>

#include <boost/thread/thread.hpp>

extern "C" {
// One interruption point: 1 when an interruption was pending (consumed), else 0.
int checkInterrupt();

// Registers one program version on a loopback UDP and a loopback TCP transport
// and publishes both in the port mapper. Problems go to standard error only.
void rpcProxyRegisterSvc(unsigned long program, unsigned long version,
                         void (*dispatch)(struct svc_req*, SVCXPRT*));
}

class RPCProxy {
 public:
  typedef void* (*startRoutine_t)(void*);
  typedef int (*interruptCheck_t)();

  RPCProxy(startRoutine_t routine, const std::string& name);
  // Joins a running thread; from the thread itself the join is refused with
  // the thread library's resource error, which is let through.
  ~RPCProxy() noexcept(false);
  RPCProxy(const RPCProxy&) = delete;
  RPCProxy& operator=(const RPCProxy&) = delete;

  // False, doing nothing, while the thread has not been joined.
  bool start();
  // Requests interruption; true: waits up to 100 ms and says whether it
  // ended; false: joins without limit and returns true.
  bool stop(bool timed);
  // True when no thread is joinable or it ended within 100 ms.
  bool isStopped();
  void threadFunction();

 private:
  void runReceiveLoop();

  boost::thread thread;
  interruptCheck_t interruptCheck;
  startRoutine_t startRoutine;
  std::string threadName;
};
