// The read-only subcommands: ping, interface settings, MAC lists and the
// last violation.
#include <cstring>
#include <string>

#include "Commands.h"
#include "InterfaceIds.h"
#include "MacText.h"
#include "Report.h"
#include "ResultText.h"
#include "RpcSession.h"
#include "TextTable.h"
#include "portsecurity.h"

namespace psctl {
namespace {

// The name field is NUL-terminated on the wire, but a peer might not say so.
std::string interfaceName(const rpcPSIntfSettings& settings) {
  return std::string(settings.name, strnlen(settings.name, sizeof settings.name));
}

nlohmann::json settingsJson(const rpcPSIntfSettings& settings) {
  return {{"name", interfaceName(settings)},
          {"type", static_cast<unsigned int>(settings.type)},
          {"typeName", interfaceTypeText(settings.type)},
          {"state", settings.state != 0},
          {"limitDynamic", settings.limitDynamic},
          {"limitStatic", settings.limitStatic}};
}

const char* onOff(bool_t value) { return value ? "on" : "off"; }

// Long tables (tens of thousands of learned entries) are common here, so
// each form is built only when asked for, and the text lines directly: every
// MAC has the same width.
int reportMacList(const Options& options, unsigned int id, const rpcResultPSMacEntryList& reply) {
  Report report(options.json);
  const u_int count = reply.result == RPC_PS_OK ? reply.list.list_len : 0;
  if (options.json) {
    nlohmann::json entries = nlohmann::json::array();
    for (u_int i = 0; i < count; ++i) {
      const rpcPSMacEntry& entry = reply.list.list_val[i];
      entries.push_back({{"mac", pstext::formatMac(entry.mac)}, {"vlan", entry.vlan}});
    }
    report.data()["interface"] = id;
    report.data()["entries"] = std::move(entries);
  } else if (count == 0) {
    report.line("no entries on interface " + std::to_string(id));
  } else {
    report.line("MAC                VLAN");
    for (u_int i = 0; i < count; ++i) {
      const rpcPSMacEntry& entry = reply.list.list_val[i];
      report.line(pstext::formatMac(entry.mac) + "  " + std::to_string(entry.vlan));
    }
  }
  return report.finish(reply.result);
}

}  // namespace

int runPing(const Options& options, const Arguments&) {
  RpcSession session(options);
  session.ping();
  Report report(options.json);
  report.line(options.host + ": port-security service answers (" + (options.tcp ? "tcp" : "udp") +
              ")");
  return report.finish(0);
}

int runShowAll(const Options& options, const Arguments&) {
  RpcSession session(options);
  unsigned int result = 0;
  const std::vector<ListedInterface> listed = listInterfaces(session, result);
  Report report(options.json);
  nlohmann::json list = nlohmann::json::array();
  std::vector<std::vector<std::string>> rows = {
      {"ID", "NAME", "TYPE", "STATE", "DYNAMIC", "STATIC"}};
  for (const ListedInterface& entry : listed) {
    const nlohmann::json id = entry.identified ? nlohmann::json(entry.id) : nlohmann::json();
    list.push_back({{"id", id},
                    {"name", entry.name},
                    {"type", entry.type},
                    {"typeName", interfaceTypeText(entry.type)},
                    {"state", entry.state},
                    {"limitDynamic", entry.limitDynamic},
                    {"limitStatic", entry.limitStatic}});
    rows.push_back({entry.identified ? std::to_string(entry.id) : "-", entry.name,
                    interfaceTypeText(entry.type), onOff(entry.state),
                    std::to_string(entry.limitDynamic), std::to_string(entry.limitStatic)});
  }
  report.data()["interfaces"] = list;
  for (const std::string& text : pstext::formatTable(rows)) report.line(text);
  return report.finish(result);
}

int runShowOne(const Options& options, const Arguments& args) {
  const InterfaceArg which = interfaceArg(args[0]);
  RpcSession session(options);
  const unsigned int id = interfaceId(session, which);
  rpcResultPSIntfSettings& reply =
      session.check(rpc_ps_get_interface_settings_1(id, session.client()), "interface settings");
  const rpcPSIntfSettings& settings = reply.settings;
  Report report(options.json);
  nlohmann::json vlans = nlohmann::json::array();
  nlohmann::json& data = report.data();
  data = settingsJson(settings);
  data["id"] = id;
  report.line("interface " + std::to_string(id) + ": " + interfaceName(settings));
  std::vector<std::vector<std::string>> rows = {
      {"  type", interfaceTypeText(settings.type)},
      {"  state", onOff(settings.state)},
      {"  dynamic limit", std::to_string(settings.limitDynamic)},
      {"  static limit", std::to_string(settings.limitStatic)}};
  if (settings.vlans.vlans_len == 0) rows.push_back({"  VLAN limits", "none"});
  for (u_int i = 0; reply.result == RPC_PS_OK && i < settings.vlans.vlans_len; ++i) {
    const rpcPSVlanSettings& vlan = settings.vlans.vlans_val[i];
    vlans.push_back({{"vlan", vlan.vlan}, {"limit", vlan.limit}});
    rows.push_back({"  VLAN " + std::to_string(vlan.vlan), "limit " + std::to_string(vlan.limit)});
  }
  for (const std::string& text : pstext::formatTable(rows)) report.line(text);
  data["vlanLimits"] = vlans;
  return report.finish(reply.result);
}

int runListStatic(const Options& options, const Arguments& args) {
  const InterfaceArg which = interfaceArg(args[0]);
  RpcSession session(options);
  const unsigned int id = interfaceId(session, which);
  return reportMacList(
      options, id, session.check(rpc_ps_get_macs_static_1(id, session.client()), "static MACs"));
}

int runListLearned(const Options& options, const Arguments& args) {
  const InterfaceArg which = interfaceArg(args[0]);
  RpcSession session(options);
  // The service takes the driver's port, interface id - 1: a name means
  // that interface's own entries.
  unsigned int id = interfaceId(session, which);
  if (!which.name.empty() && id > 0) --id;
  return reportMacList(
      options, id, session.check(rpc_ps_get_macs_dynamic_1(id, session.client()), "learned MACs"));
}

int runViolation(const Options& options, const Arguments& args) {
  const InterfaceArg which = interfaceArg(args[0]);
  RpcSession session(options);
  const unsigned int id = interfaceId(session, which);
  rpcResultPSMacEntry& reply =
      session.check(rpc_ps_get_last_violation_1(id, session.client()), "last violation");
  Report report(options.json);
  report.data() = {
      {"interface", id}, {"mac", pstext::formatMac(reply.entry.mac)}, {"vlan", reply.entry.vlan}};
  report.line("last violation on interface " + std::to_string(id) + ": " +
              pstext::formatMac(reply.entry.mac) + " in VLAN " + std::to_string(reply.entry.vlan));
  return report.finish(reply.result);
}

int runGetState(const Options& options, const Arguments&) {
  RpcSession session(options);
  rpcResultPSState& reply = session.check(rpc_ps_get_state_1(session.client()), "global state");
  Report report(options.json);
  report.data()["state"] = reply.state != 0;
  report.line(std::string("port security is ") + onOff(reply.state));
  return report.finish(reply.result);
}

}  // namespace psctl
