// Control commands that reach the development host's test hooks: the
// simulated driver's command log, table and faults, the lock's faults and
// the host log.
#include <cstdio>
#include <cstdlib>

#include "ControlSupport.h"
#include "DriverRecords.h"
#include "MacText.h"
#include "SimHost.h"
#include "TextTable.h"

namespace pshost {
namespace {

std::string hexCode(unsigned long code) {
  char text[24];
  std::snprintf(text, sizeof text, "0x%08lx", code);
  return text;
}

std::string hexBytes(const std::vector<uint8_t>& bytes) {
  std::string text;
  char pair[3];
  for (uint8_t byte : bytes) {
    std::snprintf(pair, sizeof pair, "%02x", byte);
    text += pair;
  }
  return text;
}

// A request code the driver knows, written 0x%08x as the log shows it.
unsigned long driverCodeArg(const std::string& text) {
  bool hex = text.size() > 2 && text.size() <= 10 && text.compare(0, 2, "0x") == 0 &&
             text.find_first_not_of("0123456789abcdefABCDEF", 2) == std::string::npos;
  unsigned long code = hex ? std::strtoul(text.c_str() + 2, nullptr, 16) : 0;
  size_t size = 0;
  if (!hex || !sim::driverRecordSize(code, size))
    throw CommandError("unknown driver command '" + text + "' (see driver log for the codes)");
  return code;
}

void showDriverLog(ControlOutput& out) {
  sim::Driver& driver = sim::Driver::instance();
  // Read the count first: commands that arrive in between only make it low.
  const uint64_t dropped = driver.droppedCommands();
  if (dropped != 0)
    out.line(std::to_string(dropped) + " earlier commands dropped (log capacity " +
             std::to_string(driver.commandLogCapacity()) + ")");
  for (const sim::DriverCommand& command : driver.commands()) {
    std::string text = hexCode(command.code) + " ";
    if (command.code == psdriver::PSIOC_SET_STATE)
      text += std::to_string(command.argument);
    else
      text += hexBytes(command.bytes);
    out.line(command.refused ? text + " refused" : text);
  }
}

// The counts alone: cheap to ask for often, where the log itself is long.
void countDriverLog(ControlOutput& out) {
  sim::Driver& driver = sim::Driver::instance();
  const uint64_t dropped = driver.droppedCommands();
  const size_t kept = driver.keptCommands();
  out.line(std::to_string(dropped + kept) + " commands, " + std::to_string(kept) + " kept, " +
           std::to_string(dropped) + " dropped (log capacity " +
           std::to_string(driver.commandLogCapacity()) + ")");
}

void showDriverTable(ControlOutput& out) {
  std::vector<std::vector<sim::MacTableEntry>> chains = sim::Driver::instance().table();
  std::vector<Words> rows = {{"BUCKET", "POS", "MAC", "VLAN", "PORT", "KIND"}};
  for (size_t bucket = 0; bucket < chains.size(); ++bucket)
    for (size_t position = 0; position < chains[bucket].size(); ++position) {
      const sim::MacTableEntry& entry = chains[bucket][position];
      rows.push_back({std::to_string(bucket), std::to_string(position),
                      pstext::formatMac(entry.mac.data()), std::to_string(entry.vlan),
                      std::to_string(entry.port), entry.isStatic ? "static" : "dynamic"});
    }
  if (rows.size() == 1) {
    out.line("empty");
    return;
  }
  for (const std::string& text : pstext::formatTable(rows)) out.line(text);
}

// Writes the text's line ends as \n, so that each message stays one line.
std::string escapedLineEnds(const std::string& text) {
  std::string escaped;
  for (char c : text) escaped += c == '\n' ? std::string("\\n") : std::string(1, c);
  return escaped;
}

}  // namespace

void driverCommand(const Words& args, ControlOutput& out) {
  const char* usage =
      "driver log [clear|count] | table | fail CODE [COUNT] | openfail [COUNT] | handles";
  if (args.empty()) throw CommandError(std::string("usage: ") + usage);
  sim::Driver& driver = sim::Driver::instance();
  const std::string& what = args[0];
  if (what == "log" && args.size() == 1) {
    showDriverLog(out);
  } else if (what == "log" && args.size() == 2 && args[1] == "clear") {
    driver.clearCommands();
  } else if (what == "log" && args.size() == 2 && args[1] == "count") {
    countDriverLog(out);
  } else if (what == "table" && args.size() == 1) {
    showDriverTable(out);
  } else if (what == "fail" && (args.size() == 2 || args.size() == 3)) {
    unsigned long code = driverCodeArg(args[1]);
    driver.refuseNext(code, countArg(args, 2));
  } else if (what == "openfail" && args.size() <= 2) {
    driver.failNextOpens(countArg(args, 1));
  } else if (what == "handles" && args.size() == 1) {
    out.line(std::to_string(driver.openHandles()));
  } else {
    throw CommandError(std::string("usage: ") + usage);
  }
}

void lockCommand(const Words& args, ControlOutput&) {
  expectArgs(args, 1, 2, "lock fail [COUNT]");
  if (args[0] != "fail") throw CommandError("usage: lock fail [COUNT]");
  sim::BusinessLock::instance().failNextAttempts(countArg(args, 1));
}

void logCommand(const Words& args, ControlOutput& out) {
  expectArgs(args, 0, 1, "log [clear]");
  sim::LogRecorder& log = sim::LogRecorder::instance();
  if (args.size() == 1) {
    if (args[0] != "clear") throw CommandError("usage: log [clear]");
    log.clear();
    return;
  }
  for (const sim::LogLine& line : log.lines())
    out.line(std::to_string(static_cast<int>(line.level)) + " " + escapedLineEnds(line.text));
}

}  // namespace pshost
