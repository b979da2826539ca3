// Shared pieces of the RPC procedure handlers: the profile-mode refusal and
// the conversions between wire records and the entity's own types.
// Used only on the thread that serves the RPC receive loop.
#pragma once

#include "PortSecurity.h"
#include "portsecurity.h"
#include "singleton.h"

namespace rpcHandlers {

// Code the handlers return, without calling the entity, in profile mode.
const unsigned int kRefusedInProfileMode = 10;

// True while the host is in profile mode.
bool refusedInProfileMode();
// As above, but an uplink interface is never refused.
bool refusedInProfileMode(unsigned int intf);

PortSecurity::macEntry_t toMacEntry(const rpcPSMacEntry& wire);
void toWire(const PortSecurity::macEntry_t& entry, rpcPSMacEntry& wire);

// Name (cut to 15 characters), type, state and both limits; the VLAN array
// is left as it is.
void toWire(const PortSecurity::interfaceInfo_t& info, rpcPSIntfSettings& wire);

inline rpcPortSecurityResult toResult(unsigned int code) {
  return static_cast<rpcPortSecurityResult>(code);
}

// The entity every handler calls.
inline PortSecurity& entity() { return singleton<PortSecurity>::instance(); }

// Stores `code` in a handler's own result record and returns the record.
inline rpcPortSecurityResult* answer(rpcPortSecurityResult& result, unsigned int code) {
  result = toResult(code);
  return &result;
}

}  // namespace rpcHandlers
