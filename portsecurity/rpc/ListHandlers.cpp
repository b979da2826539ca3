// RPC handlers that report lists: every interface's settings, and an
// interface's learned or static MAC entries. Only on the thread that serves
// the RPC receive loop. Each reply array lives until the next successful
// call of the same handler; a failed call sends the previous list again
// together with its error code.
#include <string.h>

#include <list>

#include "HandlerSupport.h"

using rpcHandlers::entity;
using rpcHandlers::toResult;

namespace {

typedef unsigned int (PortSecurity::*macQuery_t)(unsigned int,
                                                 std::list<PortSecurity::macEntry_t>&) const;

void replaceMacList(const std::list<PortSecurity::macEntry_t>& entries,
                    rpcResultPSMacEntryList& reply) {
  delete[] reply.list.list_val;
  reply.list.list_len = 0;
  reply.list.list_val = nullptr;
  if (entries.empty()) return;

  rpcPSMacEntry* wire = new rpcPSMacEntry[entries.size()];
  memset(wire, 0, entries.size() * sizeof *wire);
  reply.list.list_len = static_cast<u_int>(entries.size());
  reply.list.list_val = wire;
  for (const PortSecurity::macEntry_t& entry : entries) rpcHandlers::toWire(entry, *wire++);
}

rpcResultPSMacEntryList* macListReply(macQuery_t query, u_int intf,
                                      rpcResultPSMacEntryList& reply) {
  std::list<PortSecurity::macEntry_t> entries;
  unsigned int code = (entity().*query)(intf, entries);
  reply.result = toResult(code);
  if (code == 0) replaceMacList(entries, reply);
  return &reply;
}

}  // namespace

// Per-VLAN limits are never reported here: every element's VLAN array is empty.
rpcResultPSIntfSettingsList* rpc_ps_get_interface_settings_all_1_svc(struct svc_req*) {
  static rpcResultPSIntfSettingsList reply;
  std::list<PortSecurity::interfaceInfo_t> infos;
  unsigned int code = entity().getInterfaceInfo(infos);
  reply.result = toResult(code);
  if (code != 0) return &reply;

  delete[] reply.list.list_val;
  reply.list.list_len = 0;
  reply.list.list_val = nullptr;
  if (infos.empty()) return &reply;

  rpcPSIntfSettings* wire = new rpcPSIntfSettings[infos.size()];
  memset(wire, 0, infos.size() * sizeof *wire);
  reply.list.list_len = static_cast<u_int>(infos.size());
  reply.list.list_val = wire;
  for (const PortSecurity::interfaceInfo_t& info : infos) rpcHandlers::toWire(info, *wire++);
  return &reply;
}

rpcResultPSMacEntryList* rpc_ps_get_macs_dynamic_1_svc(u_int intf, struct svc_req*) {
  static rpcResultPSMacEntryList reply;
  return macListReply(&PortSecurity::getDynamicMACs, intf, reply);
}

rpcResultPSMacEntryList* rpc_ps_get_macs_static_1_svc(u_int intf, struct svc_req*) {
  static rpcResultPSMacEntryList reply;
  return macListReply(&PortSecurity::getStaticMACs, intf, reply);
}
