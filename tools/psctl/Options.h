// psctl's global options (those before the subcommand) and the usage error
// that every parser throws. Parsing is pure; safe from any thread.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace psctl {

// Where pshost listens for control commands unless told otherwise.
constexpr const char* kDefaultControlPath = "/tmp/pshost.ctl";

// A command line that psctl cannot act on; exit status 2.
class UsageError : public std::runtime_error {
 public:
  explicit UsageError(const std::string& what) : std::runtime_error(what) {}
};

struct Options {
  std::string host = "127.0.0.1";
  // TCP by default: a long MAC list does not fit in one UDP reply.
  bool tcp = true;
  // Long enough to list the largest table the simulated driver holds.
  double timeoutSeconds = 60.0;
  bool json = false;
  bool help = false;
  bool version = false;
  std::string controlPath = kDefaultControlPath;
  // The subcommand and its arguments.
  std::vector<std::string> command;
};

// Reads the global options up to the first word that is not one; the rest is
// the subcommand. Throws UsageError.
Options parseOptions(int argc, char** argv);

// Number parsers for command arguments; `what` names the argument in the
// UsageError ("bad interface id 'x'").
unsigned int parseUnsigned(const std::string& text, const std::string& what,
                           unsigned long max = 0xffffffffUL);
unsigned short parseVlan(const std::string& text);
double parseSeconds(const std::string& text, const std::string& what);

}  // namespace psctl
