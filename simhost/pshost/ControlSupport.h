// What the control commands share: the reply they build, the error that
// rejects a command, argument readers and the handlers of each group.
// Used only on the control thread.
#pragma once

#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace pshost {

typedef std::vector<std::string> Words;

// Rejects a command: the reply becomes "error: TEXT" and nothing changes.
class CommandError : public std::runtime_error {
 public:
  explicit CommandError(const std::string& what) : std::runtime_error(what) {}
};

struct ControlOutput {
  std::vector<std::string> lines;
  void line(const std::string& text) { lines.push_back(text); }
};

// Argument readers; each throws CommandError naming the argument.
unsigned int numberArg(const std::string& text, const char* what, unsigned long low = 0,
                       unsigned long high = 0xffffffffUL);
uint16_t vlanArg(const std::string& text);
bool onOffArg(const std::string& text);
std::array<uint8_t, 6> macArg(const std::string& text);
// The optional COUNT after a hook command, 1 when absent.
unsigned int countArg(const Words& args, size_t index);
// Throws unless `args` has between `low` and `high` words.
void expectArgs(const Words& args, size_t low, size_t high, const char* usage);

// The world around the host.
void vlanCommand(const Words& args, ControlOutput& out);
void gemCommand(const Words& args, ControlOutput& out);
void learnCommand(const Words& args, ControlOutput& out);
void profileCommand(const Words& args, ControlOutput& out);
void uplinkCommand(const Words& args, ControlOutput& out);
void messageCommand(const Words& args, ControlOutput& out);
void interfacesCommand(const Words& args, ControlOutput& out);
void vlansCommand(const Words& args, ControlOutput& out);

// The test hooks of the driver, the lock and the log.
void driverCommand(const Words& args, ControlOutput& out);
void lockCommand(const Words& args, ControlOutput& out);
void logCommand(const Words& args, ControlOutput& out);

}  // namespace pshost
