// One ONC RPC client of the port-security program, over TCP or UDP as the
// options say, with the options' time-out for every call. One thread only.
#pragma once

#include <rpc/rpc.h>

#include <stdexcept>
#include <string>

#include "Options.h"

namespace psctl {

// The service could not be reached or did not answer; exit status 1. The
// text names the cause and what to do.
class RpcError : public std::runtime_error {
 public:
  explicit RpcError(const std::string& what) : std::runtime_error(what) {}
};

class RpcSession {
 public:
  // Finds the program through the host's port mapper; throws RpcError.
  explicit RpcSession(const Options& options);
  ~RpcSession();
  RpcSession(const RpcSession&) = delete;
  RpcSession& operator=(const RpcSession&) = delete;

  CLIENT* client() { return clnt; }
  const std::string& hostName() const { return host; }

  // The reply of a generated client stub, or RpcError naming the procedure
  // and the library's reason when the stub returned none.
  template <class Reply>
  Reply& check(Reply* reply, const char* procedure) {
    if (reply == nullptr) fail(procedure);
    return *reply;
  }

  // Calls the null procedure; throws RpcError.
  void ping();

 private:
  [[noreturn]] void fail(const char* procedure);
  // The words for a failed call, or empty when the library's say more.
  std::string cause(clnt_stat status, int error, bool creating) const;

  std::string host;
  const char* transport;
  double timeoutSeconds;
  CLIENT* clnt;
};

}  // namespace psctl
