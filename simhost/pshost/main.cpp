// pshost: the development host process. Runs the port-security module on a
// simulated node, serves the process-wide RPC receive loop and the control
// channel, and stops the module cleanly on SIGINT or SIGTERM.
#include <pthread.h>
#include <rpc/rpc.h>
#include <rpc/rpc_com.h>
#include <signal.h>

#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "BuildVersion.h"
#include "ControlCommands.h"
#include "ControlServer.h"
#include "DataplaneSetup.h"
#include "HostOptions.h"
#include "ModuleHost.h"
#include "NodeConfig.h"
#include "NodeSetup.h"
#include "RpcRegistrations.h"
#include "rte/BLL/core/rpcProxy.h"

namespace {

// The host's own loop thread registers no program of its own.
void* noPrograms(void*) { return nullptr; }

// A TCP client that sends part of a record must not stall the one receive
// loop: with a record limit the library reads connections without blocking.
void limitRpcRecords() {
  int maxRecord = 1 << 20;
  if (!rpc_control(RPC_SVC_CONNMAXREC_SET, &maxRecord))
    std::fprintf(stderr, "pshost: cannot limit the RPC record size\n");
}

// Exit status 2 with one line naming what is wrong.
int startFailure(const char* what) {
  std::fprintf(stderr, "pshost: %s\n", what);
  return 2;
}

int run(const pshost::HostOptions& options, const sigset_t& stopSignals) {
  pshost::NodeConfig node;
  try {
    node =
        options.nodeFile.empty() ? pshost::defaultNode() : pshost::readNodeFile(options.nodeFile);
  } catch (const pshost::NodeFileError& error) {
    return startFailure(error.what());
  }
  if (options.logCapacity != 0)
    node.driverLogCapacity = static_cast<unsigned int>(options.logCapacity);
  pshost::applyNode(node);
  // Detaches the data plane on every way out of run(), unless the node keeps it.
  std::unique_ptr<sim::TcAttachment> dataplane;
  try {
    dataplane = pshost::startDataplane(node);
  } catch (const sim::DataplaneError& error) {
    return startFailure(error.what());
  }
  pshost::ControlServer control(options.controlPath, pshost::runControlCommand);
  std::string modulePath =
      options.modulePath.empty() ? pshost::defaultModulePath() : options.modulePath;
  std::string moduleVersion;
  try {
    control.open();
    limitRpcRecords();
    moduleVersion = pshost::loadModule(modulePath);
  } catch (const std::runtime_error& error) {
    return startFailure(error.what());
  }
  std::fprintf(stderr, "pshost: loaded %s, version %s\n", modulePath.c_str(),
               moduleVersion.c_str());
  if (!pshost::portMapperAnswers())
    std::fprintf(stderr,
                 "pshost: no port mapper answers on 127.0.0.1 port 111, so the RPC program "
                 "cannot be published: start rpcbind (rpcbind -w) and restart pshost\n");
  std::vector<std::string> entities = pshost::startEntities();
  RPCProxy receiveLoop(noPrograms, "BLLManager_mng");
  receiveLoop.start();
  control.start();
  std::fprintf(stderr, "pshost: running %s on %s (%zu interfaces), control channel %s\n",
               entities.empty() ? "no entity" : entities.front().c_str(),
               options.nodeFile.empty() ? "the default node" : options.nodeFile.c_str(),
               node.interfaces.size(), options.controlPath.c_str());
  int signal = 0;
  while (sigwait(&stopSignals, &signal) != 0) {
  }
  std::fprintf(stderr, "pshost: %s, stopping\n", strsignal(signal));
  pshost::stopEntities();
  control.stop();
  receiveLoop.stop(false);
  pshost::withdrawRegistrations();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  // Blocked before any thread exists, so every thread inherits the mask and
  // only the sigwait in run() ever sees these signals.
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
  // A client that hangs up before its reply must not end the process.
  ::signal(SIGPIPE, SIG_IGN);

  pshost::HostOptions options;
  try {
    options = pshost::parseHostOptions(argc, argv);
  } catch (const pshost::OptionError& error) {
    return startFailure(error.what());
  }
  if (options.help) {
    pshost::printHostUsage();
    return 0;
  }
  if (options.version) {
    std::printf("pshost " PS_VERSION " (commit " PS_COMMIT ")\n");
    return 0;
  }
  return run(options, stopSignals);
}
