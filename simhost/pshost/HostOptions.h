// pshost's command line. Parsing is pure; safe from any thread.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

namespace pshost {

// Where the control channel listens unless told otherwise; psctl sim uses
// the same default.
constexpr const char* kDefaultControlPath = "/tmp/pshost.ctl";

// A command line that pshost cannot run with; what() is the one line to
// print, and the exit status is 2.
class OptionError : public std::runtime_error {
 public:
  explicit OptionError(const std::string& what) : std::runtime_error(what) {}
};

struct HostOptions {
  std::string nodeFile;  // empty: the built-in default node
  std::string controlPath = kDefaultControlPath;
  std::string modulePath;  // empty: libportsecurity.so beside the executable
  size_t logCapacity = 0;  // 0: the node file's or the driver's own
  bool help = false;
  bool version = false;
};

// Throws OptionError.
HostOptions parseHostOptions(int argc, char** argv);

void printHostUsage();

}  // namespace pshost
