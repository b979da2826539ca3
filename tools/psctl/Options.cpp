#include "Options.h"

#include <cerrno>
#include <cstdlib>

namespace psctl {
namespace {

// Splits "--name=value"; `value` is empty and `hasValue` false otherwise.
void splitOption(const std::string& arg, std::string& name, std::string& value, bool& hasValue) {
  size_t equals = arg.find('=');
  hasValue = equals != std::string::npos;
  name = hasValue ? arg.substr(0, equals) : arg;
  value = hasValue ? arg.substr(equals + 1) : std::string();
}

}  // namespace

Options parseOptions(int argc, char** argv) {
  Options options;
  int i = 1;
  for (; i < argc; ++i) {
    std::string arg = argv[i];
    if (arg.size() < 2 || arg[0] != '-') break;
    if (arg == "--") {
      ++i;
      break;
    }
    std::string name, value;
    bool hasValue = false;
    splitOption(arg, name, value, hasValue);
    bool takesValue = name == "--host" || name == "--timeout" || name == "--control";
    if (takesValue && !hasValue) {
      if (i + 1 >= argc) throw UsageError("option " + name + " needs a value");
      value = argv[++i];
    } else if (!takesValue && hasValue) {
      throw UsageError("option " + name + " takes no value");
    }
    if (name == "--host") {
      if (value.empty()) throw UsageError("option --host needs a host name");
      options.host = value;
    } else if (name == "--timeout") {
      options.timeoutSeconds = parseSeconds(value, "timeout");
    } else if (name == "--control") {
      if (value.empty()) throw UsageError("option --control needs a path");
      options.controlPath = value;
    } else if (name == "--tcp") {
      options.tcp = true;
    } else if (name == "--udp") {
      options.tcp = false;
    } else if (name == "--json") {
      options.json = true;
    } else if (name == "--help" || name == "-h") {
      options.help = true;
    } else if (name == "--version") {
      options.version = true;
    } else {
      throw UsageError("unknown option " + name);
    }
  }
  options.command.assign(argv + i, argv + argc);
  return options;
}

double parseSeconds(const std::string& text, const std::string& what) {
  char* end = nullptr;
  errno = 0;
  double seconds = std::strtod(text.c_str(), &end);
  if (text.empty() || *end != '\0' || errno != 0 || !(seconds > 0) || seconds > 3600)
    throw UsageError("bad " + what + " '" + text +
                     "' (expected seconds, more than 0, at most 3600)");
  return seconds;
}

unsigned int parseUnsigned(const std::string& text, const std::string& what, unsigned long max) {
  bool digitsOnly = !text.empty() && text.size() <= 10 &&
                    text.find_first_not_of("0123456789") == std::string::npos;
  unsigned long value = digitsOnly ? std::strtoul(text.c_str(), nullptr, 10) : 0;
  if (!digitsOnly || value > max)
    throw UsageError("bad " + what + " '" + text + "' (expected a number from 0 to " +
                     std::to_string(max) + ")");
  return static_cast<unsigned int>(value);
}

unsigned short parseVlan(const std::string& text) {
  bool digitsOnly = !text.empty() && text.size() <= 4 &&
                    text.find_first_not_of("0123456789") == std::string::npos;
  unsigned long value = digitsOnly ? std::strtoul(text.c_str(), nullptr, 10) : 0;
  if (value < 1 || value > 4094) throw UsageError("bad VLAN '" + text + "' (expected 1 to 4094)");
  return static_cast<unsigned short>(value);
}

}  // namespace psctl
