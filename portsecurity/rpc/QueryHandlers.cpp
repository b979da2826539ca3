// RPC handlers that report the global state, one interface's settings and
// an interface's last violation. Only on the thread that serves the RPC
// receive loop; each result record is reused by the next call.
#include <string.h>

#include "HandlerSupport.h"

using rpcHandlers::entity;
using rpcHandlers::toResult;

namespace {

// An ascending copy of the interface's per-VLAN limits.
void fillVlanLimits(const PortSecurity::interfaceSettings_t& settings, rpcPSIntfSettings& wire) {
  const size_t count = settings.vlanLimitDynamicMACs.size();
  if (count == 0) return;
  rpcPSVlanSettings* vlans = new rpcPSVlanSettings[count];
  memset(vlans, 0, count * sizeof *vlans);
  wire.vlans.vlans_len = static_cast<u_int>(count);
  wire.vlans.vlans_val = vlans;
  for (const auto& vlanLimit : settings.vlanLimitDynamicMACs) {
    vlans->vlan = vlanLimit.first;
    vlans->limit = vlanLimit.second;
    ++vlans;
  }
}

}  // namespace

// On failure `state` keeps the value of the last successful call.
rpcResultPSState* rpc_ps_get_state_1_svc(struct svc_req*) {
  static rpcResultPSState reply;
  bool state = false;
  unsigned int code = entity().getState(state);
  reply.result = toResult(code);
  if (code == 0) reply.state = state ? 1 : 0;
  return &reply;
}

// The record is cleared before anything else, so the VLAN array of the
// previous reply is dropped, not released; a failure sends the zeroed record.
rpcResultPSIntfSettings* rpc_ps_get_interface_settings_1_svc(u_int intf, struct svc_req*) {
  static rpcResultPSIntfSettings reply;
  memset(&reply, 0, sizeof reply);

  PortSecurity::interfaceInfo_t info;
  unsigned int code = entity().getInterfaceInfo(intf, info);
  reply.result = toResult(code);
  if (code != 0) return &reply;

  rpcHandlers::toWire(info, reply.settings);
  if (reply.settings.vlans.vlans_val != nullptr) {
    delete[] reply.settings.vlans.vlans_val;
    reply.settings.vlans.vlans_len = 0;
    reply.settings.vlans.vlans_val = nullptr;
  }
  fillVlanLimits(info.settings, reply.settings);
  return &reply;
}

rpcResultPSMacEntry* rpc_ps_get_last_violation_1_svc(u_int intf, struct svc_req*) {
  static rpcResultPSMacEntry reply;
  memset(&reply, 0, sizeof reply);
  PortSecurity::macEntry_t entry;
  memset(&entry, 0, sizeof entry);
  unsigned int code = entity().getLastViolation(intf, entry);
  reply.result = toResult(code);
  if (code == 0) rpcHandlers::toWire(entry, reply.entry);
  return &reply;
}
