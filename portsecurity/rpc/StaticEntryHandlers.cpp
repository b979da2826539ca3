// RPC handlers that add and remove static MAC entries, per interface and per
// virtual port, and move learned entries to static.
// Only on the thread that serves the RPC receive loop.
#include "HandlerSupport.h"

using rpcHandlers::answer;
using rpcHandlers::entity;
using rpcHandlers::toMacEntry;

rpcPortSecurityResult* rpc_ps_add_mac_static_1_svc(u_int intf, rpcPSMacEntry entry,
                                                   struct svc_req*) {
  static rpcPortSecurityResult result;
  return answer(result, entity().addStaticEntryApi(intf, toMacEntry(entry)));
}

rpcPortSecurityResult* rpc_ps_del_mac_static_1_svc(u_int intf, rpcPSMacEntry entry,
                                                   struct svc_req*) {
  static rpcPortSecurityResult result;
  return answer(result, entity().delStaticEntryApi(intf, toMacEntry(entry)));
}

rpcPortSecurityResult* rpc_ps_move_dynamic_1_svc(u_int intf, struct svc_req*) {
  static rpcPortSecurityResult result;
  return answer(result, entity().moveDynamicToStatic(intf));
}

rpcPortSecurityResult* rpc_ps_add_mac_static_virtual_port_1_svc(u_int intf, rpcPSMacEntry entry,
                                                                u_int vport, struct svc_req*) {
  static rpcPortSecurityResult result;
  return answer(result, entity().addStaticEntryVirtualPort(intf, toMacEntry(entry), vport));
}

rpcPortSecurityResult* rpc_ps_del_mac_static_virtual_port_1_svc(u_int intf, rpcPSMacEntry entry,
                                                                u_int vport, struct svc_req*) {
  static rpcPortSecurityResult result;
  return answer(result, entity().delStaticEntryVirtualPort(intf, toMacEntry(entry), vport));
}
