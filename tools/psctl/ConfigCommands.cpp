// The subcommands that change settings: state, limits, per-VLAN limits,
// static entries and move to static. Each prints the service's result code.
#include <algorithm>
#include <array>
#include <string>

#include "Commands.h"
#include "InterfaceIds.h"
#include "MacText.h"
#include "Report.h"
#include "RpcSession.h"
#include "portsecurity.h"

namespace psctl {
namespace {

int reportResult(const Options& options, rpcPortSecurityResult result) {
  return Report(options.json).finish(static_cast<unsigned int>(result));
}

rpcPSMacEntry entryArg(const std::string& macText, const std::string& vlanText) {
  std::array<uint8_t, 6> mac;
  if (!pstext::parseMac(macText, mac))
    throw UsageError("bad MAC '" + macText +
                     "' (expected aa:bb:cc:dd:ee:ff, aa-bb-cc-dd-ee-ff or aabb.ccdd.eeff)");
  rpcPSMacEntry entry = {};
  std::copy(mac.begin(), mac.end(), entry.mac);
  entry.vlan = parseVlan(vlanText);
  return entry;
}

// The optional "vport N" after a static entry; false when absent.
bool vportArg(const Arguments& args, unsigned int& vport) {
  if (args.size() == 3) return false;
  if (args.size() != 5 || args[3] != "vport")
    throw UsageError("expected 'vport N' after the VLAN, not '" + args[3] + "'");
  vport = parseUnsigned(args[4], "virtual port");
  return true;
}

typedef rpcPortSecurityResult* (*EntryCall)(u_int, rpcPSMacEntry, CLIENT*);
typedef rpcPortSecurityResult* (*VportEntryCall)(u_int, rpcPSMacEntry, u_int, CLIENT*);

// ID MAC VLAN [vport N]: the interface's procedure, or the virtual port's
// when one is named.
int runStaticEntryCall(const Options& options, const Arguments& args, EntryCall onInterface,
                       VportEntryCall onVport, const char* procedure) {
  const InterfaceArg which = interfaceArg(args[0]);
  rpcPSMacEntry entry = entryArg(args[1], args[2]);
  unsigned int vport = 0;
  bool hasVport = vportArg(args, vport);
  RpcSession session(options);
  const unsigned int id = interfaceId(session, which);
  rpcPortSecurityResult* reply = hasVport ? onVport(id, entry, vport, session.client())
                                          : onInterface(id, entry, session.client());
  return reportResult(options, session.check(reply, procedure));
}

}  // namespace

int runSetState(const Options& options, const Arguments& args) {
  bool on = onOffArg(args[0]);
  RpcSession session(options);
  return reportResult(options,
                      session.check(rpc_ps_set_state_1(on, session.client()), "set state"));
}

int runSetInterfaceState(const Options& options, const Arguments& args) {
  const InterfaceArg which = interfaceArg(args[0]);
  bool on = onOffArg(args[1]);
  RpcSession session(options);
  const unsigned int id = interfaceId(session, which);
  return reportResult(options, session.check(rpc_ps_set_interface_state_1(id, on, session.client()),
                                             "set interface state"));
}

int runLimit(const Options& options, const Arguments& args) {
  const InterfaceArg which = interfaceArg(args[0]);
  const std::string& kind = args[1];
  if (kind != "dynamic" && kind != "static")
    throw UsageError("expected dynamic or static, not '" + kind + "'");
  bool toDefault = args[2] == "default";
  unsigned int limit = toDefault ? 0 : parseUnsigned(args[2], "limit");
  RpcSession session(options);
  const unsigned int id = interfaceId(session, which);
  CLIENT* client = session.client();
  rpcPortSecurityResult* reply = nullptr;
  if (kind == "dynamic")
    reply = toDefault ? rpc_ps_set_mac_default_limit_dynamic_1(id, client)
                      : rpc_ps_set_mac_limit_dynamic_1(id, limit, client);
  else
    reply = toDefault ? rpc_ps_set_mac_default_limit_static_1(id, client)
                      : rpc_ps_set_mac_limit_static_1(id, limit, client);
  return reportResult(options, session.check(reply, "set limit"));
}

int runVlanLimitAdd(const Options& options, const Arguments& args) {
  const InterfaceArg which = interfaceArg(args[0]);
  unsigned short vlan = parseVlan(args[1]);
  unsigned int limit = parseUnsigned(args[2], "limit");
  RpcSession session(options);
  const unsigned int id = interfaceId(session, which);
  return reportResult(
      options, session.check(rpc_ps_add_vlan_mac_limit_dynamic_1(id, vlan, limit, session.client()),
                             "set VLAN limit"));
}

int runVlanLimitDel(const Options& options, const Arguments& args) {
  const InterfaceArg which = interfaceArg(args[0]);
  unsigned short vlan = parseVlan(args[1]);
  RpcSession session(options);
  const unsigned int id = interfaceId(session, which);
  return reportResult(options,
                      session.check(rpc_ps_del_vlan_mac_limit_dynamic_1(id, vlan, session.client()),
                                    "remove VLAN limit"));
}

int runStaticAdd(const Options& options, const Arguments& args) {
  return runStaticEntryCall(options, args, rpc_ps_add_mac_static_1,
                            rpc_ps_add_mac_static_virtual_port_1, "add static entry");
}

int runStaticDel(const Options& options, const Arguments& args) {
  return runStaticEntryCall(options, args, rpc_ps_del_mac_static_1,
                            rpc_ps_del_mac_static_virtual_port_1, "remove static entry");
}

int runMoveToStatic(const Options& options, const Arguments& args) {
  const InterfaceArg which = interfaceArg(args[0]);
  RpcSession session(options);
  const unsigned int id = interfaceId(session, which);
  return reportResult(options,
                      session.check(rpc_ps_move_dynamic_1(id, session.client()), "move to static"));
}

}  // namespace psctl
