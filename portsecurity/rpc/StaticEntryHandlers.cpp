// RPC handlers that add and remove static MAC entries, per interface and per
// virtual port, and move learned entries to static.
// Only on the thread that serves the RPC receive loop.
#include "HandlerSupport.h"
#include "singleton.h"

using rpcHandlers::toMacEntry;
using rpcHandlers::toResult;

namespace {

PortSecurity& entity() { return singleton<PortSecurity>::instance(); }

}  // namespace

rpcPortSecurityResult* rpc_ps_add_mac_static_1_svc(u_int intf, rpcPSMacEntry entry,
                                                   struct svc_req*) {
  static rpcPortSecurityResult result;
  result = toResult(entity().addStaticEntryApi(intf, toMacEntry(entry)));
  return &result;
}

rpcPortSecurityResult* rpc_ps_del_mac_static_1_svc(u_int intf, rpcPSMacEntry entry,
                                                   struct svc_req*) {
  static rpcPortSecurityResult result;
  result = toResult(entity().delStaticEntryApi(intf, toMacEntry(entry)));
  return &result;
}

rpcPortSecurityResult* rpc_ps_move_dynamic_1_svc(u_int intf, struct svc_req*) {
  static rpcPortSecurityResult result;
  result = toResult(entity().moveDynamicToStatic(intf));
  return &result;
}

rpcPortSecurityResult* rpc_ps_add_mac_static_virtual_port_1_svc(u_int intf, rpcPSMacEntry entry,
                                                                u_int vport, struct svc_req*) {
  static rpcPortSecurityResult result;
  result = toResult(entity().addStaticEntryVirtualPort(intf, toMacEntry(entry), vport));
  return &result;
}

rpcPortSecurityResult* rpc_ps_del_mac_static_virtual_port_1_svc(u_int intf, rpcPSMacEntry entry,
                                                                u_int vport, struct svc_req*) {
  static rpcPortSecurityResult result;
  result = toResult(entity().delStaticEntryVirtualPort(intf, toMacEntry(entry), vport));
  return &result;
}
