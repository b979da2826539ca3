#include "RpcSession.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <sstream>

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

bool refused(clnt_stat status, int error) {
  return error == ECONNREFUSED &&
         (status == RPC_SYSTEMERROR || status == RPC_CANTRECV || status == RPC_CANTSEND);
}

}  // namespace

RpcSession::RpcSession(const Options& options)
    : host(options.host),
      transport(options.tcp ? "tcp" : "udp"),
      timeoutSeconds(options.timeoutSeconds),
      clnt(nullptr) {
  timeval timeout = toTimeval(options.timeoutSeconds);
  clnt = clnt_create_timed(host.c_str(), PORTSECURITY_PROG, PORTSECURITY_V1, transport, &timeout);
  if (clnt == nullptr) {
    const std::string library = reason(clnt_spcreateerror(""));
    const rpc_err error = rpc_createerr.cf_error;
    clnt_stat status = rpc_createerr.cf_stat;
    if (status == RPC_PMAPFAILURE || status == RPC_RPCBFAILURE) status = error.re_status;
    const std::string words = cause(status, error.re_errno, true);
    throw RpcError(!words.empty() ? words
                                  : "cannot reach the port-security service on " + host + " (" +
                                        transport + "): " + library);
  }
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
  rpc_err error;
  clnt_geterr(clnt, &error);
  const std::string words = cause(error.re_status, error.re_errno, false);
  throw RpcError(
      std::string(procedure) +
      (!words.empty() ? ": " + words : " on " + host + ": " + reason(clnt_sperror(clnt, ""))));
}

std::string RpcSession::cause(clnt_stat status, int error, bool creating) const {
  if (status == RPC_PROGNOTREGISTERED)
    return "the port-security program is not registered with the port mapper on " + host +
           ": is pshost, or the element's host, running?";
  if (refused(status, error)) {
    // A refusal before the program's port is known is the port mapper's:
    // whether the port mapper itself can be reached tells the two apart.
    timeval timeout = toTimeval(timeoutSeconds);
    CLIENT* mapper = creating
                         ? clnt_create_timed(host.c_str(), PMAPPROG, PMAPVERS, transport, &timeout)
                         : nullptr;
    if (mapper != nullptr) clnt_destroy(mapper);
    if (creating && mapper == nullptr)
      return "no port mapper answers on " + host + ": start rpcbind there (as root: rpcbind -w)";
    return "the port-security program is registered on " + host + ", but its " + transport +
           " port refuses the connection: pshost, or the element's host, stopped without "
           "unregistering; start it again";
  }
  if (status == RPC_TIMEDOUT || (status == RPC_SYSTEMERROR && error == ETIMEDOUT)) {
    std::ostringstream seconds;
    seconds << timeoutSeconds;
    return "no answer from " + host + " within " + seconds.str() + " s (" + transport +
           "): check that the host is up and that pshost, or the element's host, is not "
           "stopped; a busy one needs a longer --timeout";
  }
  return std::string();
}

}  // namespace psctl
