#include "HostOptions.h"

#include <cstdio>

#include "DriverCommandLog.h"

namespace pshost {
namespace {

size_t parseLogCapacity(const std::string& text) {
  const std::string range = "1 to " + std::to_string(sim::DriverCommandLog::kMaxCapacity);
  if (text.size() > 9 || text.find_first_not_of("0123456789") != std::string::npos)
    throw OptionError("option --log-capacity: expected a number from " + range);
  size_t capacity = std::stoul(text);
  if (capacity == 0 || capacity > sim::DriverCommandLog::kMaxCapacity)
    throw OptionError("option --log-capacity: out of range (" + range + ")");
  return capacity;
}

}  // namespace

HostOptions parseHostOptions(int argc, char** argv) {
  HostOptions options;
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    std::string name = arg, value;
    size_t equals = arg.find('=');
    bool inlineValue = arg.compare(0, 2, "--") == 0 && equals != std::string::npos;
    if (inlineValue) {
      name = arg.substr(0, equals);
      value = arg.substr(equals + 1);
    }
    if (name == "--help" || name == "-h" || name == "--version") {
      if (inlineValue) throw OptionError("option " + name + " takes no value");
      (name == "--version" ? options.version : options.help) = true;
      continue;
    }
    std::string capacity;
    std::string* target = name == "--node"           ? &options.nodeFile
                          : name == "--control"      ? &options.controlPath
                          : name == "--module"       ? &options.modulePath
                          : name == "--log-capacity" ? &capacity
                                                     : nullptr;
    if (target == nullptr) {
      if (arg.compare(0, 1, "-") == 0) throw OptionError("unknown option " + name);
      throw OptionError("unexpected argument '" + arg + "'");
    }
    if (!inlineValue) {
      if (i + 1 >= argc) throw OptionError("option " + name + " needs a value");
      value = argv[++i];
    }
    if (value.empty()) throw OptionError("option " + name + " needs a value");
    *target = value;
    if (target == &capacity) options.logCapacity = parseLogCapacity(capacity);
  }
  return options;
}

void printHostUsage() {
  std::printf(
      "usage: pshost [--node FILE] [--control PATH] [--module PATH] [--log-capacity N]\n"
      "              [--version]\n"
      "\n"
      "Runs the port-security module on a simulated node: loads the module, applies\n"
      "its default settings, starts it, and serves its RPC program until SIGINT or\n"
      "SIGTERM.\n"
      "\n"
      "  --node FILE     the node to simulate, as JSON (default: the built-in\n"
      "                  optical line terminal of examples/olt.json)\n"
      "  --control PATH  the control channel's UNIX socket (default %s)\n"
      "  --module PATH   the module to load (default: libportsecurity.so beside\n"
      "                  pshost, else the installed plug-in)\n"
      "  --log-capacity N\n"
      "                  driver commands the log keeps before it drops the oldest\n"
      "                  (default: the node file's driver.logCapacity, else %zu)\n"
      "  --version       the version and commit of this pshost\n"
      "  -h, --help      this text\n",
      kDefaultControlPath, sim::DriverCommandLog::kDefaultCapacity);
}

}  // namespace pshost
