#include "HostOptions.h"

#include <cstdio>

namespace pshost {

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
    std::string* target = name == "--node"      ? &options.nodeFile
                          : name == "--control" ? &options.controlPath
                          : name == "--module"  ? &options.modulePath
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
  }
  return options;
}

void printHostUsage() {
  std::printf(
      "usage: pshost [--node FILE] [--control PATH] [--module PATH] [--version]\n"
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
      "  --version       the version and commit of this pshost\n"
      "  -h, --help      this text\n",
      kDefaultControlPath);
}

}  // namespace pshost
