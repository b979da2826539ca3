// Entry points of the port-security RPC program (0x2000000d, version 1).
// The dispatcher runs only on the thread that serves the RPC receive loop.
#pragma once

#include <rpc/rpc.h>

constexpr unsigned long PORTSECURITY_PROGRAM = 0x2000000d;
constexpr unsigned long PORTSECURITY_VERSION = 1;

extern "C" {
// Registers the program on UDP and TCP; the argument is ignored.
void* rpcPortsecurityStart(void* unused);
}

void rpcPortsecurityDispatch(struct svc_req* request, SVCXPRT* transport);
