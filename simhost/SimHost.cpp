#include "SimHost.h"

#include <sstream>

#include "BLLManager.h"

namespace sim {

void reset() {
  Node::instance().reset();
  Driver::instance().reset();
  LogRecorder::instance().clear();
  HostRegistry::instance().clearThreads();
  BusinessLock::instance().clearFaults();
  BusinessLock::instance().clearAudit();
}

std::string sendExternalMessage(const std::string& module, const std::string& command,
                                const std::string& argument) {
  std::ostringstream stream;
  BLLManager::externalMessageEvent_t& event = BLLManager::instance().externalMessage;
  event.raisePre();
  event.raisePost(module, command, &stream, argument);
  return stream.str();
}

}  // namespace sim
