// A client of pshost's control channel: sends one command line and reads the
// reply up to its last line, "ok" or "error: TEXT". One thread only.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace psctl {

// The control socket could not be reached or closed before the last line.
class ControlError : public std::runtime_error {
 public:
  explicit ControlError(const std::string& what) : std::runtime_error(what) {}
};

struct ControlReply {
  std::vector<std::string> output;  // the lines before the last
  bool ok = false;
  std::string error;  // the TEXT of "error: TEXT"
};

// Throws ControlError; gives up after `timeoutSeconds` without a reply.
ControlReply sendControlCommand(const std::string& socketPath, const std::string& command,
                                double timeoutSeconds);

}  // namespace psctl
