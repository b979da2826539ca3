// Splitting a control line into words, finding its command, and the argument
// readers that every command uses.
#include "ControlCommands.h"

#include <cstdlib>
#include <sstream>

#include "ControlSupport.h"
#include "MacText.h"

namespace pshost {
namespace {

typedef void (*ControlHandler)(const Words& args, ControlOutput& out);

struct ControlCommand {
  const char* name;
  ControlHandler run;
  const char* usage;
};

void helpCommand(const Words& args, ControlOutput& out);

const ControlCommand kCommands[] = {
    {"vlan", vlanCommand, "vlan add|del VID          create or delete a VLAN on the bridge"},
    {"gem", gemCommand,
     "gem GEM INTF VPORT KIND   raise a GPON GEM event (0 bound, 1 unbound, "
     "2 rebound, 3 state changed)"},
    {"learn", learnCommand,
     "learn PORT MAC VID        a frame from MAC in VID arrives on driver "
     "port PORT (interface PORT+1)"},
    {"profile", profileCommand, "profile on|off            switch profile mode"},
    {"uplink", uplinkCommand, "uplink ID on|off          mark an interface as uplink or not"},
    {"message", messageCommand,
     "message MODULE COMMAND    send an external message, print what "
     "comes back"},
    {"interfaces", interfacesCommand,
     "interfaces                the node's interfaces and GEM "
     "bindings"},
    {"vlans", vlansCommand, "vlans                     the VLANs on the bridge"},
    {"driver", driverCommand,
     "driver log [clear|count] | table | fail CODE [COUNT] | openfail [COUNT] "
     "| handles"},
    {"lock", lockCommand, "lock fail [COUNT]         the next COUNT lock attempts fail"},
    {"log", logCommand, "log [clear]               host log messages since the last clear"},
    {"help", helpCommand, "help                      this list"},
};

void helpCommand(const Words& args, ControlOutput& out) {
  expectArgs(args, 0, 0, "help");
  for (const ControlCommand& command : kCommands) out.line(command.usage);
}

Words splitWords(const std::string& line) {
  std::istringstream in(line);
  Words words;
  std::string word;
  while (in >> word) words.push_back(word);
  return words;
}

bool isDecimal(const std::string& text) {
  return !text.empty() && text.size() <= 10 &&
         text.find_first_not_of("0123456789") == std::string::npos;
}

}  // namespace

std::string runControlCommand(const std::string& line) {
  Words words = splitWords(line);
  ControlOutput out;
  std::string last = "ok";
  try {
    if (words.empty()) throw CommandError("empty command; try help");
    const ControlCommand* found = nullptr;
    for (const ControlCommand& command : kCommands)
      if (words[0] == command.name) found = &command;
    if (found == nullptr) throw CommandError("unknown command '" + words[0] + "'; try help");
    found->run(Words(words.begin() + 1, words.end()), out);
  } catch (const CommandError& error) {
    out.lines.clear();
    last = std::string("error: ") + error.what();
  }
  std::string reply;
  for (const std::string& text : out.lines) reply += text + "\n";
  return reply + last + "\n";
}

unsigned int numberArg(const std::string& text, const char* what, unsigned long low,
                       unsigned long high) {
  unsigned long value = isDecimal(text) ? std::strtoul(text.c_str(), nullptr, 10) : 0;
  if (!isDecimal(text) || value < low || value > high)
    throw CommandError(std::string("bad ") + what + " '" + text + "' (expected " +
                       std::to_string(low) + " to " + std::to_string(high) + ")");
  return static_cast<unsigned int>(value);
}

uint16_t vlanArg(const std::string& text) {
  return static_cast<uint16_t>(numberArg(text, "VLAN", 1, 4094));
}

bool onOffArg(const std::string& text) {
  if (text == "on") return true;
  if (text == "off") return false;
  throw CommandError("expected on or off, not '" + text + "'");
}

std::array<uint8_t, 6> macArg(const std::string& text) {
  std::array<uint8_t, 6> mac{};
  if (!pstext::parseMac(text, mac))
    throw CommandError("bad MAC '" + text + "' (expected aa:bb:cc:dd:ee:ff)");
  return mac;
}

unsigned int countArg(const Words& args, size_t index) {
  return args.size() > index ? numberArg(args[index], "count", 1, 1000000) : 1;
}

void expectArgs(const Words& args, size_t low, size_t high, const char* usage) {
  if (args.size() < low || args.size() > high) throw CommandError(std::string("usage: ") + usage);
}

}  // namespace pshost
