// RPC handlers that set the global or an interface's state and the MAC
// limits. Only on the thread that serves the RPC receive loop.
#include "HandlerSupport.h"
#include "singleton.h"

using rpcHandlers::refusedInProfileMode;
using rpcHandlers::toResult;

namespace {

// Limits that the "default" procedures restore.
const unsigned int kDefaultLimitDynamic = 300;
const unsigned int kDefaultLimitStatic = 20;

PortSecurity& entity() { return singleton<PortSecurity>::instance(); }

}  // namespace

rpcPortSecurityResult* rpc_ps_set_state_1_svc(bool_t state, struct svc_req*) {
  static rpcPortSecurityResult result;
  if (refusedInProfileMode()) {
    result = toResult(rpcHandlers::kRefusedInProfileMode);
    return &result;
  }
  result = toResult(entity().setState(state != 0));
  return &result;
}

rpcPortSecurityResult* rpc_ps_set_interface_state_1_svc(u_int intf, bool_t state, struct svc_req*) {
  static rpcPortSecurityResult result;
  if (refusedInProfileMode(intf)) {
    result = toResult(rpcHandlers::kRefusedInProfileMode);
    return &result;
  }
  result = toResult(entity().setState(intf, state != 0));
  return &result;
}

rpcPortSecurityResult* rpc_ps_set_mac_limit_dynamic_1_svc(u_int intf, u_int limit,
                                                          struct svc_req*) {
  static rpcPortSecurityResult result;
  result = toResult(entity().setLimitDynamicMACs(intf, limit));
  return &result;
}

rpcPortSecurityResult* rpc_ps_set_mac_default_limit_dynamic_1_svc(u_int intf, struct svc_req*) {
  static rpcPortSecurityResult result;
  result = toResult(entity().setLimitDynamicMACs(intf, kDefaultLimitDynamic));
  return &result;
}

rpcPortSecurityResult* rpc_ps_set_mac_limit_static_1_svc(u_int intf, u_int limit, struct svc_req*) {
  static rpcPortSecurityResult result;
  result = toResult(entity().setLimitStaticMACs(intf, limit));
  return &result;
}

rpcPortSecurityResult* rpc_ps_set_mac_default_limit_static_1_svc(u_int intf, struct svc_req*) {
  static rpcPortSecurityResult result;
  result = toResult(entity().setLimitStaticMACs(intf, kDefaultLimitStatic));
  return &result;
}

rpcPortSecurityResult* rpc_ps_add_vlan_mac_limit_dynamic_1_svc(u_int intf, u_short vlan,
                                                               u_int limit, struct svc_req*) {
  static rpcPortSecurityResult result;
  if (refusedInProfileMode(intf)) {
    result = toResult(rpcHandlers::kRefusedInProfileMode);
    return &result;
  }
  result = toResult(entity().setLimitDynamicMACs(intf, static_cast<unsigned short>(vlan), limit));
  return &result;
}

// A per-VLAN limit is removed by setting it to 0.
rpcPortSecurityResult* rpc_ps_del_vlan_mac_limit_dynamic_1_svc(u_int intf, u_short vlan,
                                                               struct svc_req*) {
  static rpcPortSecurityResult result;
  if (refusedInProfileMode(intf)) {
    result = toResult(rpcHandlers::kRefusedInProfileMode);
    return &result;
  }
  result = toResult(entity().setLimitDynamicMACs(intf, static_cast<unsigned short>(vlan), 0u));
  return &result;
}
