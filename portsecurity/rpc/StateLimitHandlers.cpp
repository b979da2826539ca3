// RPC handlers that set the global or an interface's state and the MAC
// limits. Only on the thread that serves the RPC receive loop.
#include "HandlerSupport.h"

using rpcHandlers::answer;
using rpcHandlers::entity;
using rpcHandlers::refusedInProfileMode;

namespace {

// Limits that the "default" procedures restore.
const unsigned int kDefaultLimitDynamic = 300;
const unsigned int kDefaultLimitStatic = 20;

}  // namespace

rpcPortSecurityResult* rpc_ps_set_state_1_svc(bool_t state, struct svc_req*) {
  static rpcPortSecurityResult result;
  if (refusedInProfileMode()) return answer(result, rpcHandlers::kRefusedInProfileMode);
  return answer(result, entity().setState(state != 0));
}

rpcPortSecurityResult* rpc_ps_set_interface_state_1_svc(u_int intf, bool_t state, struct svc_req*) {
  static rpcPortSecurityResult result;
  if (refusedInProfileMode(intf)) return answer(result, rpcHandlers::kRefusedInProfileMode);
  return answer(result, entity().setState(intf, state != 0));
}

rpcPortSecurityResult* rpc_ps_set_mac_limit_dynamic_1_svc(u_int intf, u_int limit,
                                                          struct svc_req*) {
  static rpcPortSecurityResult result;
  return answer(result, entity().setLimitDynamicMACs(intf, limit));
}

rpcPortSecurityResult* rpc_ps_set_mac_default_limit_dynamic_1_svc(u_int intf, struct svc_req*) {
  static rpcPortSecurityResult result;
  return answer(result, entity().setLimitDynamicMACs(intf, kDefaultLimitDynamic));
}

rpcPortSecurityResult* rpc_ps_set_mac_limit_static_1_svc(u_int intf, u_int limit, struct svc_req*) {
  static rpcPortSecurityResult result;
  return answer(result, entity().setLimitStaticMACs(intf, limit));
}

rpcPortSecurityResult* rpc_ps_set_mac_default_limit_static_1_svc(u_int intf, struct svc_req*) {
  static rpcPortSecurityResult result;
  return answer(result, entity().setLimitStaticMACs(intf, kDefaultLimitStatic));
}

rpcPortSecurityResult* rpc_ps_add_vlan_mac_limit_dynamic_1_svc(u_int intf, u_short vlan,
                                                               u_int limit, struct svc_req*) {
  static rpcPortSecurityResult result;
  if (refusedInProfileMode(intf)) return answer(result, rpcHandlers::kRefusedInProfileMode);
  return answer(result,
                entity().setLimitDynamicMACs(intf, static_cast<unsigned short>(vlan), limit));
}

// A per-VLAN limit is removed by setting it to 0.
rpcPortSecurityResult* rpc_ps_del_vlan_mac_limit_dynamic_1_svc(u_int intf, u_short vlan,
                                                               struct svc_req*) {
  static rpcPortSecurityResult result;
  if (refusedInProfileMode(intf)) return answer(result, rpcHandlers::kRefusedInProfileMode);
  return answer(result, entity().setLimitDynamicMACs(intf, static_cast<unsigned short>(vlan), 0u));
}
