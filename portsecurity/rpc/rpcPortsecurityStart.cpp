#include "PortSecurityRpc.h"

#include "rte/BLL/core/rpcProxy.h"

void* rpcPortsecurityStart(void*) {
  rpcProxyRegisterSvc(PORTSECURITY_PROGRAM, PORTSECURITY_VERSION, rpcPortsecurityDispatch);
  return nullptr;
}
