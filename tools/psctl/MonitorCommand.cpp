// psctl monitor: polls the interfaces' last violations and prints a line
// each time one changes, until SIGINT or SIGTERM ends it with status 0.
#include <signal.h>
#include <time.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <iostream>

#include <nlohmann/json.hpp>

#include "Commands.h"
#include "InterfaceIds.h"
#include "MacText.h"
#include "ResultText.h"
#include "RpcSession.h"
#include "portsecurity.h"

namespace psctl {
namespace {

struct MonitorArgs {
  std::vector<InterfaceArg> interfaces;
  double interval = 1.0;
  bool json = false;
};

struct Watched {
  unsigned int id;
  std::string name;
  bool recorded;  // a violation is recorded; `last` holds it
  rpcPSMacEntry last;
};

MonitorArgs monitorArgs(const Options& options, const Arguments& args) {
  MonitorArgs parsed;
  parsed.json = options.json;
  for (size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "--json") {
      parsed.json = true;
    } else if (args[i] == "--interval") {
      if (i + 1 == args.size()) throw UsageError("option --interval needs a value");
      parsed.interval = parseSeconds(args[++i], "interval");
    } else if (args[i].rfind("--interval=", 0) == 0) {
      parsed.interval = parseSeconds(args[i].substr(11), "interval");
    } else if (args[i].rfind("-", 0) == 0) {
      throw UsageError("unknown monitor option " + args[i]);
    } else {
      parsed.interfaces.push_back(interfaceArg(args[i]));
    }
  }
  return parsed;
}

std::string nameOf(const char* field, size_t size) {
  return std::string(field, strnlen(field, size));
}

// The name of a reported interface; empty for one the service does not report.
std::string interfaceName(RpcSession& session, unsigned int id) {
  rpcResultPSIntfSettings& reply =
      session.check(rpc_ps_get_interface_settings_1(id, session.client()), "interface settings");
  std::string name = reply.result == RPC_PS_OK
                         ? nameOf(reply.settings.name, sizeof reply.settings.name)
                         : std::string();
  xdr_free(reinterpret_cast<xdrproc_t>(reinterpret_cast<void (*)()>(xdr_rpcResultPSIntfSettings)),
           reinterpret_cast<char*>(&reply));
  return name;
}

// Every interface the service reports now, with its id.
std::vector<Watched> reportedInterfaces(RpcSession& session) {
  unsigned int result = 0;
  const std::vector<ListedInterface> listed = listInterfaces(session, result);
  if (result != RPC_PS_OK) throw RpcError("interface settings: " + resultText(result));
  std::vector<Watched> found;
  for (const ListedInterface& entry : listed)
    if (entry.identified) found.push_back({entry.id, entry.name, false, {}});
  return found;
}

// Reads the interface's last violation; true when it differs from the one
// seen before.
bool changed(RpcSession& session, Watched& watched) {
  rpcResultPSMacEntry& reply =
      session.check(rpc_ps_get_last_violation_1(watched.id, session.client()), "last violation");
  if (reply.result != RPC_PS_OK && reply.result != RPC_PS_NOT_FOUND)
    throw RpcError("interface " + std::to_string(watched.id) + ": " + resultText(reply.result));
  const bool recorded = reply.result == RPC_PS_OK;
  const bool differs =
      recorded && (!watched.recorded || reply.entry.vlan != watched.last.vlan ||
                   std::memcmp(reply.entry.mac, watched.last.mac, sizeof reply.entry.mac) != 0);
  watched.recorded = recorded;
  watched.last = reply.entry;
  return differs;
}

std::string timeText(const char* format) {
  char text[40];
  const time_t now = ::time(nullptr);
  struct tm local;
  ::localtime_r(&now, &local);
  ::strftime(text, sizeof text, format, &local);
  return text;
}

void printViolation(const Watched& watched, bool json) {
  const std::string mac = pstext::formatMac(watched.last.mac);
  if (json) {
    nlohmann::json line = {{"time", timeText("%Y-%m-%dT%H:%M:%S%z")},
                           {"interface", watched.id},
                           {"name", watched.name},
                           {"mac", mac},
                           {"vlan", watched.last.vlan}};
    std::cout << line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << std::endl;
  } else {
    std::string where = std::to_string(watched.id);
    if (!watched.name.empty()) where += " (" + watched.name + ")";
    std::cout << timeText("%Y-%m-%d %H:%M:%S") << " violation on interface " << where << ": " << mac
              << " in VLAN " << watched.last.vlan << std::endl;
  }
}

// Waits one interval; true when SIGINT or SIGTERM came meanwhile.
bool stopSignalledWithin(const sigset_t& stopSignals, double seconds) {
  timespec wait;
  wait.tv_sec = static_cast<time_t>(seconds);
  wait.tv_nsec = static_cast<long>((seconds - std::floor(seconds)) * 1e9);
  int signal;
  while ((signal = ::sigtimedwait(&stopSignals, nullptr, &wait)) < 0 && errno == EINTR) {
  }
  return signal > 0;
}

}  // namespace

int runMonitor(const Options& options, const Arguments& args) {
  const MonitorArgs parsed = monitorArgs(options, args);
  // Held pending rather than handled, so that a call under way is never cut
  // short; the wait between polls takes them.
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  ::sigprocmask(SIG_BLOCK, &stopSignals, nullptr);

  RpcSession session(options);
  std::vector<Watched> watched;
  if (parsed.interfaces.empty()) {
    watched = reportedInterfaces(session);
  } else {
    for (unsigned int id : interfaceIds(session, parsed.interfaces))
      watched.push_back({id, interfaceName(session, id), false, {}});
  }
  // What is recorded when it starts is the baseline, not news.
  for (Watched& interface : watched) changed(session, interface);
  while (!stopSignalledWithin(stopSignals, parsed.interval))
    for (Watched& interface : watched)
      if (changed(session, interface)) printViolation(interface, parsed.json);
  return 0;
}

}  // namespace psctl
