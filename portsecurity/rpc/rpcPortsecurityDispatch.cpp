// Request dispatcher of the port-security program: decodes the argument
// record, runs the procedure's handler and sends its result record.
// Runs only on the thread that serves the RPC receive loop.
#include <stdio.h>
#include <string.h>

#include "PortSecurityRpc.h"
#include "portsecurity.h"

namespace {

// One buffer fits the argument of every procedure.
union argument_t {
  bool_t state;
  u_int interface;
  rpc_ps_set_interface_state_1_argument setInterfaceState;
  rpc_ps_set_mac_limit_dynamic_1_argument setMacLimitDynamic;
  rpc_ps_set_mac_limit_static_1_argument setMacLimitStatic;
  rpc_ps_add_mac_static_1_argument addMacStatic;
  rpc_ps_del_mac_static_1_argument delMacStatic;
  rpc_ps_add_vlan_mac_limit_dynamic_1_argument addVlanMacLimitDynamic;
  rpc_ps_del_vlan_mac_limit_dynamic_1_argument delVlanMacLimitDynamic;
  rpc_ps_add_mac_static_virtual_port_1_argument addMacStaticVirtualPort;
  rpc_ps_del_mac_static_virtual_port_1_argument delMacStaticVirtualPort;
};

// Unpacks the decoded argument into the handler's parameters.
typedef char* (*adapter_t)(argument_t* argument, struct svc_req* request);

struct procedure_t {
  xdrproc_t decodeArgument;
  xdrproc_t encodeResult;
  adapter_t adapter;
};

template <class T>
char* reply(T* result) {
  return reinterpret_cast<char*>(result);
}

// The adapters, one instance per procedure: `Member` names the procedure's
// part of the argument buffer, `Handler` its handler.
template <auto Handler>
char* withoutArgument(argument_t*, struct svc_req* rq) {
  return reply(Handler(rq));
}
template <auto Member, auto Handler>
char* withArgument(argument_t* a, struct svc_req* rq) {
  return reply(Handler(a->*Member, rq));
}
template <auto Member, auto Handler>
char* withTwoArguments(argument_t* a, struct svc_req* rq) {
  const auto& args = a->*Member;
  return reply(Handler(args.arg1, args.arg2, rq));
}
template <auto Member, auto Handler>
char* withThreeArguments(argument_t* a, struct svc_req* rq) {
  const auto& args = a->*Member;
  return reply(Handler(args.arg1, args.arg2, args.arg3, rq));
}

// XDR routines differ in their record type; the library calls them all
// through one generic pointer type.
template <class Routine>
xdrproc_t xdrRoutine(Routine routine) {
  return reinterpret_cast<xdrproc_t>(reinterpret_cast<void (*)()>(routine));
}

// Procedures 1 to 18, by number; 819 stands apart.
const procedure_t kProcedures[] = {
    {xdrRoutine(xdr_bool), xdrRoutine(xdr_rpcPortSecurityResult),
     withArgument<&argument_t::state, rpc_ps_set_state_1_svc>},
    {xdrRoutine(xdr_rpc_ps_set_interface_state_1_argument), xdrRoutine(xdr_rpcPortSecurityResult),
     withTwoArguments<&argument_t::setInterfaceState, rpc_ps_set_interface_state_1_svc>},
    {xdrRoutine(xdr_rpc_ps_set_mac_limit_dynamic_1_argument), xdrRoutine(xdr_rpcPortSecurityResult),
     withTwoArguments<&argument_t::setMacLimitDynamic, rpc_ps_set_mac_limit_dynamic_1_svc>},
    {xdrRoutine(xdr_u_int), xdrRoutine(xdr_rpcPortSecurityResult),
     withArgument<&argument_t::interface, rpc_ps_set_mac_default_limit_dynamic_1_svc>},
    {xdrRoutine(xdr_rpc_ps_set_mac_limit_static_1_argument), xdrRoutine(xdr_rpcPortSecurityResult),
     withTwoArguments<&argument_t::setMacLimitStatic, rpc_ps_set_mac_limit_static_1_svc>},
    {xdrRoutine(xdr_u_int), xdrRoutine(xdr_rpcPortSecurityResult),
     withArgument<&argument_t::interface, rpc_ps_set_mac_default_limit_static_1_svc>},
    {xdrRoutine(xdr_rpc_ps_add_mac_static_1_argument), xdrRoutine(xdr_rpcPortSecurityResult),
     withTwoArguments<&argument_t::addMacStatic, rpc_ps_add_mac_static_1_svc>},
    {xdrRoutine(xdr_rpc_ps_del_mac_static_1_argument), xdrRoutine(xdr_rpcPortSecurityResult),
     withTwoArguments<&argument_t::delMacStatic, rpc_ps_del_mac_static_1_svc>},
    {xdrRoutine(xdr_u_int), xdrRoutine(xdr_rpcPortSecurityResult),
     withArgument<&argument_t::interface, rpc_ps_move_dynamic_1_svc>},
    {xdrRoutine(xdr_void), xdrRoutine(xdr_rpcResultPSState),
     withoutArgument<rpc_ps_get_state_1_svc>},
    {xdrRoutine(xdr_u_int), xdrRoutine(xdr_rpcResultPSIntfSettings),
     withArgument<&argument_t::interface, rpc_ps_get_interface_settings_1_svc>},
    {xdrRoutine(xdr_void), xdrRoutine(xdr_rpcResultPSIntfSettingsList),
     withoutArgument<rpc_ps_get_interface_settings_all_1_svc>},
    {xdrRoutine(xdr_u_int), xdrRoutine(xdr_rpcResultPSMacEntryList),
     withArgument<&argument_t::interface, rpc_ps_get_macs_dynamic_1_svc>},
    {xdrRoutine(xdr_u_int), xdrRoutine(xdr_rpcResultPSMacEntryList),
     withArgument<&argument_t::interface, rpc_ps_get_macs_static_1_svc>},
    {xdrRoutine(xdr_u_int), xdrRoutine(xdr_rpcResultPSMacEntry),
     withArgument<&argument_t::interface, rpc_ps_get_last_violation_1_svc>},
    {xdrRoutine(xdr_rpc_ps_add_vlan_mac_limit_dynamic_1_argument),
     xdrRoutine(xdr_rpcPortSecurityResult),
     withThreeArguments<&argument_t::addVlanMacLimitDynamic,
                        rpc_ps_add_vlan_mac_limit_dynamic_1_svc>},
    {xdrRoutine(xdr_rpc_ps_del_vlan_mac_limit_dynamic_1_argument),
     xdrRoutine(xdr_rpcPortSecurityResult),
     withTwoArguments<&argument_t::delVlanMacLimitDynamic,
                      rpc_ps_del_vlan_mac_limit_dynamic_1_svc>},
    {xdrRoutine(xdr_rpc_ps_add_mac_static_virtual_port_1_argument),
     xdrRoutine(xdr_rpcPortSecurityResult),
     withThreeArguments<&argument_t::addMacStaticVirtualPort,
                        rpc_ps_add_mac_static_virtual_port_1_svc>},
};

const procedure_t kDelMacStaticVirtualPort = {
    xdrRoutine(xdr_rpc_ps_del_mac_static_virtual_port_1_argument),
    xdrRoutine(xdr_rpcPortSecurityResult),
    withThreeArguments<&argument_t::delMacStaticVirtualPort,
                       rpc_ps_del_mac_static_virtual_port_1_svc>};

const procedure_t* findProcedure(rpcproc_t number) {
  const rpcproc_t count = sizeof kProcedures / sizeof kProcedures[0];
  if (number >= 1 && number <= count) return &kProcedures[number - 1];
  if (number == RPC_PS_DEL_MAC_STATIC_VIRTUAL_PORT) return &kDelMacStaticVirtualPort;
  return nullptr;
}

}  // namespace

void rpcPortsecurityDispatch(struct svc_req* request, SVCXPRT* transport) {
  if (request->rq_proc == NULLPROC) {
    svc_sendreply(transport, xdrRoutine(xdr_void), nullptr);
    return;
  }
  const procedure_t* procedure = findProcedure(request->rq_proc);
  if (procedure == nullptr) {
    svcerr_noproc(transport);
    return;
  }

  argument_t argument;
  memset(&argument, 0, sizeof argument);
  caddr_t argumentBytes = reinterpret_cast<caddr_t>(&argument);
  if (!svc_getargs(transport, procedure->decodeArgument, argumentBytes)) {
    svcerr_decode(transport);
    return;
  }

  char* result = procedure->adapter(&argument, request);
  if (result != nullptr && !svc_sendreply(transport, procedure->encodeResult, result)) {
    svcerr_systemerr(transport);
  }

  // A failed release is reported and otherwise ignored: the server keeps
  // serving the next request.
  if (!svc_freeargs(transport, procedure->decodeArgument, argumentBytes)) {
    fputs("unable to free arguments", stderr);
    return;
  }
}
