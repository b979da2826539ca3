// psctl's subcommands: the table that maps operator words to handlers, and
// the dispatcher. A handler reads its arguments (UsageError when they are
// wrong), talks to the service and returns the exit status. One thread only.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "Options.h"

namespace psctl {

typedef std::vector<std::string> Arguments;
typedef int (*CommandHandler)(const Options& options, const Arguments& args);

struct Command {
  std::vector<std::string> words;
  size_t minArgs;
  size_t maxArgs;
  const char* synopsis;
  const char* summary;
  CommandHandler run;
};

// Runs the subcommand in options.command. Throws UsageError for an unknown
// command or wrong arguments; service failures are reported and give 1.
int runCommand(const Options& options);

void printUsage(std::ostream& out);

// Handlers, by concern.
int runPing(const Options& options, const Arguments& args);
int runShowAll(const Options& options, const Arguments& args);
int runShowOne(const Options& options, const Arguments& args);
int runListStatic(const Options& options, const Arguments& args);
int runListLearned(const Options& options, const Arguments& args);
int runViolation(const Options& options, const Arguments& args);
int runMonitor(const Options& options, const Arguments& args);

int runGetState(const Options& options, const Arguments& args);
int runSetState(const Options& options, const Arguments& args);
int runSetInterfaceState(const Options& options, const Arguments& args);
int runLimit(const Options& options, const Arguments& args);
int runVlanLimitAdd(const Options& options, const Arguments& args);
int runVlanLimitDel(const Options& options, const Arguments& args);
int runStaticAdd(const Options& options, const Arguments& args);
int runStaticDel(const Options& options, const Arguments& args);
int runMoveToStatic(const Options& options, const Arguments& args);

int runSim(const Options& options, const Arguments& args);

// An interface as the command line gives it: digits are an id, any other
// word a name, looked up on the service (InterfaceIds.h).
struct InterfaceArg {
  std::string name;  // empty for an id
  unsigned int id = 0;
};

// Argument readers shared by the handlers; each throws UsageError.
InterfaceArg interfaceArg(const std::string& text);
bool onOffArg(const std::string& text);

}  // namespace psctl
