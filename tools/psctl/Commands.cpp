#include "Commands.h"

#include <ostream>

#include "Report.h"
#include "RpcSession.h"
#include "TextTable.h"

namespace psctl {
namespace {

const size_t kAny = static_cast<size_t>(-1);

const std::vector<Command>& commandTable() {
  static const std::vector<Command> table = {
      {{"ping"}, 0, 0, "", "check that the service answers", runPing},
      {{"state"}, 0, 0, "", "show the global port-security state", runGetState},
      {{"state"}, 1, 1, "on|off", "switch port security on or off globally", runSetState},
      {{"state"},
       2,
       2,
       "ID on|off",
       "switch port security on or off on an interface",
       runSetInterfaceState},
      {{"show"}, 0, 0, "", "id and settings of every reported interface", runShowAll},
      {{"show"}, 1, 1, "ID", "settings of one interface, with its per-VLAN limits", runShowOne},
      {{"limit"},
       3,
       3,
       "ID dynamic|static N|default",
       "set a MAC limit (defaults: 300 dynamic, 20 static)",
       runLimit},
      {{"vlan-limit", "add"},
       3,
       3,
       "ID VLAN N",
       "set a per-VLAN dynamic limit (1 to 64)",
       runVlanLimitAdd},
      {{"vlan-limit", "del"}, 2, 2, "ID VLAN", "remove a per-VLAN dynamic limit", runVlanLimitDel},
      {{"static", "add"},
       3,
       5,
       "ID MAC VLAN [vport N]",
       "add a static entry, on a GPON virtual port if given",
       runStaticAdd},
      {{"static", "del"}, 3, 5, "ID MAC VLAN [vport N]", "remove a static entry", runStaticDel},
      {{"static", "list"}, 1, 1, "ID", "static entries applied on an interface", runListStatic},
      {{"learned"},
       1,
       1,
       "ID",
       "learned on driver port ID (interface ID+1; a name: its own)",
       runListLearned},
      {{"violation"}, 1, 1, "ID", "the last violation seen on an interface", runViolation},
      {{"monitor"},
       0,
       kAny,
       "[ID...] [--interval SECS] [--json]",
       "print each new violation until Ctrl-C (default: every reported interface)",
       runMonitor},
      {{"move-to-static"},
       1,
       1,
       "ID",
       "make an interface's learned addresses static",
       runMoveToStatic},
      {{"sim"}, 1, kAny, "COMMAND...", "send a command to pshost's control channel", runSim},
  };
  return table;
}

bool startsWith(const std::vector<std::string>& line, const std::vector<std::string>& words) {
  if (line.size() < words.size()) return false;
  for (size_t i = 0; i < words.size(); ++i)
    if (line[i] != words[i]) return false;
  return true;
}

std::string formOf(const Command& command) {
  std::string text = "psctl";
  for (const std::string& word : command.words) text += " " + word;
  if (*command.synopsis != '\0') text += std::string(" ") + command.synopsis;
  return text;
}

}  // namespace

int runCommand(const Options& options) {
  const std::vector<std::string>& line = options.command;
  if (line.empty()) throw UsageError("no command given");
  std::vector<const Command*> forms;
  for (const Command& command : commandTable())
    if (startsWith(line, command.words)) forms.push_back(&command);
  if (forms.empty()) throw UsageError("unknown command '" + line[0] + "'");
  for (const Command* command : forms) {
    Arguments args(line.begin() + command->words.size(), line.end());
    if (args.size() < command->minArgs || args.size() > command->maxArgs) continue;
    try {
      return command->run(options, args);
    } catch (const RpcError& error) {
      return reportFailure(options.json, error.what());
    }
  }
  std::string usage = "usage:";
  for (const Command* command : forms)
    usage += (forms.size() > 1 ? "\n  " : " ") + formOf(*command);
  throw UsageError(usage);
}

void printUsage(std::ostream& out) {
  out << "usage: psctl [OPTIONS] COMMAND [ARGS]\n"
         "\n"
         "Manages port security on a node running pshost, over ONC RPC.\n"
         "\n"
         "Options (before the command):\n"
         "  --host HOST      the node to manage (default 127.0.0.1)\n"
         "  --tcp            call over TCP (default; long MAC lists need it)\n"
         "  --udp            call over UDP\n"
         "  --timeout SECS   give up on a call after SECS seconds (default 60)\n"
         "  --json           print one JSON object instead of text\n"
         "  --control PATH   pshost's control socket, for 'sim' (default "
      << kDefaultControlPath
      << ")\n"
         "  --version        the version and commit of this psctl\n"
         "  -h, --help       this text\n"
         "\n"
         "Commands:\n";
  std::vector<std::vector<std::string>> rows;
  for (const Command& command : commandTable())
    rows.push_back({"  " + formOf(command).substr(6), command.summary});
  for (const std::string& row : pstext::formatTable(rows)) out << row << "\n";
  out << "\n"
         "ID is an interface id, or its name as the service reports it (psctl show).\n"
         "MAC is aa:bb:cc:dd:ee:ff, aa-bb-cc-dd-ee-ff or aabb.ccdd.eeff.\n"
         "monitor reads each interface's last violation once an interval: two violations\n"
         "closer together than the interval fold into one.\n"
         "Exit status: 0 success, 1 the service refused or could not be reached, 2 usage\n"
         "or an interface name that names no interface or more than one.\n";
}

InterfaceArg interfaceArg(const std::string& text) {
  InterfaceArg arg;
  if (text.find_first_not_of("0123456789") == std::string::npos)
    arg.id = parseUnsigned(text, "interface id");
  else
    arg.name = text;
  return arg;
}

bool onOffArg(const std::string& text) {
  if (text == "on") return true;
  if (text == "off") return false;
  throw UsageError("expected on or off, not '" + text + "'");
}

}  // namespace psctl
