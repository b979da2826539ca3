#include "RpcSession.h"

#include <algorithm>
#include <cmath>

#include "portsecurity.h"

namespace psctl {
namespace {

timeval toTimeval(double seconds) {
  timeval value;
  value.tv_sec = static_cast<time_t>(seconds);
  value.tv_usec = static_cast<suseconds_t>(std::lround((seconds - value.tv_sec) * 1e6));
  if (value.tv_usec >= 1000000) {
    value.tv_sec += 1;
    value.tv_usec -= 1000000;
  }
  return value;
}

// The library's error text for an empty prefix, without the ": " it puts
// after the prefix and without its line end.
std::string reason(const char* text) {
  std::string result = text != nullptr ? text : "";
  if (result.compare(0, 2, ": ") == 0) result.erase(0, 2);
  while (!result.empty() && (result.back() == '\n' || result.back() == ' ')) result.pop_back();
  return result;
}

}  // namespace

RpcSession::RpcSession(const Options& options) : host(options.host), clnt(nullptr) {
  timeval timeout = toTimeval(options.timeoutSeconds);
  const char* transport = options.tcp ? "tcp" : "udp";
  clnt = clnt_create_timed(host.c_str(), PORTSECURITY_PROG, PORTSECURITY_V1, transport, &timeout);
  if (clnt == nullptr)
    throw RpcError("cannot reach the port-security service on " + host + " (" + transport +
                   "): " + reason(clnt_spcreateerror("")));
  clnt_control(clnt, CLSET_TIMEOUT, reinterpret_cast<char*>(&timeout));
  if (!options.tcp) {
    // Resend a lost datagram well before the call gives up.
    timeval retry = toTimeval(std::min(1.0, options.timeoutSeconds / 2));
    clnt_control(clnt, CLSET_RETRY_TIMEOUT, reinterpret_cast<char*>(&retry));
  }
}

RpcSession::~RpcSession() {
  if (clnt != nullptr) clnt_destroy(clnt);
}

void RpcSession::ping() {
  // The stubs' time-out is overridden by CLSET_TIMEOUT above.
  timeval unused = {25, 0};
  // The library declares xdr_void without its parameters; a plain function
  // pointer in between keeps the cast to xdrproc_t warning-free.
  xdrproc_t none = reinterpret_cast<xdrproc_t>(reinterpret_cast<void (*)()>(xdr_void));
  if (clnt_call(clnt, NULLPROC, none, nullptr, none, nullptr, unused) != RPC_SUCCESS) fail("ping");
}

void RpcSession::fail(const char* procedure) {
  throw RpcError(std::string(procedure) + " on " + host + ": " + reason(clnt_sperror(clnt, "")));
}

}  // namespace psctl
