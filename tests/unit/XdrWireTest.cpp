// Byte-exact XDR encodings of the port-security program's records and
// argument bodies.
#include <arpa/inet.h>

#include <cstdint>
#include <tuple>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "portsecurity.h"

namespace {

// The encoding as 32-bit units. Without `inlineBuffer` the stream never
// offers an in-line buffer, so the routines must fall back to their
// per-field primitives.
std::vector<uint32_t> encode(xdrproc_t routine, void* record, bool inlineBuffer) {
  static std::remove_const_t<std::remove_pointer_t<decltype(XDR::x_ops)>> ops;
  uint32_t buffer[512];
  XDR xdrs;
  xdrmem_create(&xdrs, reinterpret_cast<char*>(buffer), sizeof buffer, XDR_ENCODE);
  if (!inlineBuffer) {
    ops = *xdrs.x_ops;
    ops.x_inline = [](XDR*, u_int) -> int32_t* { return nullptr; };
    xdrs.x_ops = &ops;
  }
  EXPECT_TRUE(routine(&xdrs, record));
  std::vector<uint32_t> units(buffer, buffer + xdr_getpos(&xdrs) / 4);
  for (uint32_t& unit : units) unit = ntohl(unit);
  return units;
}

template <class Routine>
xdrproc_t xdrRoutine(Routine routine) {
  return reinterpret_cast<xdrproc_t>(reinterpret_cast<void (*)()>(routine));
}

std::vector<uint32_t> join(std::vector<uint32_t> head, const std::vector<uint32_t>& tail) {
  head.insert(head.end(), tail.begin(), tail.end());
  return head;
}

TEST(XdrWireTest, RecordsEncodeToTheirUnitsWithAndWithoutInlineBuffer) {
  rpcInterfaceName name = "abcdefghijklmno";
  std::vector<uint32_t> nameUnits(16, 0);  // one character per unit
  for (uint32_t i = 0; i < 15; ++i) nameUnits[i] = 'a' + i;
  rpcPSMacEntry entry = {{0x00, 0x1b, 0x2c, 0x3d, 0x4e, 0xff}, 4094};
  const std::vector<uint32_t> entryUnits = {0x00, 0x1b, 0x2c, 0x3d, 0x4e, 0xff, 4094};
  rpcResultPSMacEntryList emptyList = {};
  emptyList.result = RPC_PS_NOT_FOUND;
  rpc_ps_add_mac_static_1_argument add = {7, entry};
  rpc_ps_del_mac_static_1_argument del = {7, entry};
  rpc_ps_add_mac_static_virtual_port_1_argument addPort = {7, entry, 9};
  rpc_ps_del_mac_static_virtual_port_1_argument delPort = {7, entry, 9};
  rpc_ps_add_vlan_mac_limit_dynamic_1_argument vlanLimit = {3, 100, 64};
  rpcPSVlanSettings vlans[2] = {{10, 5}, {20, 64}};
  rpcPSIntfSettings settings = {"abcdefghijklmno", RPC_IFC_GPON, 1, 300, 20, {2, vlans}};
  const std::vector<std::tuple<xdrproc_t, void*, std::vector<uint32_t>>> cases = {
      {xdrRoutine(xdr_rpcInterfaceName), name, nameUnits},
      {xdrRoutine(xdr_rpcPSMacEntry), &entry, entryUnits},
      {xdrRoutine(xdr_rpcResultPSMacEntryList), &emptyList, {0, 3}},  // count, then result
      {xdrRoutine(xdr_rpc_ps_add_mac_static_1_argument), &add, join({7}, entryUnits)},
      {xdrRoutine(xdr_rpc_ps_del_mac_static_1_argument), &del, join({7}, entryUnits)},
      {xdrRoutine(xdr_rpc_ps_add_mac_static_virtual_port_1_argument), &addPort,
       join(join({7}, entryUnits), {9})},
      {xdrRoutine(xdr_rpc_ps_del_mac_static_virtual_port_1_argument), &delPort,
       join(join({7}, entryUnits), {9})},
      {xdrRoutine(xdr_rpc_ps_add_vlan_mac_limit_dynamic_1_argument), &vlanLimit, {3, 100, 64}},
      {xdrRoutine(xdr_rpcPSIntfSettings), &settings,
       join(nameUnits, {RPC_IFC_GPON, 1, 300, 20, 2, 10, 5, 20, 64})},
  };
  for (size_t i = 0; i < cases.size(); ++i) {
    SCOPED_TRACE(i);
    const auto& [routine, record, expected] = cases[i];
    EXPECT_EQ(expected, encode(routine, record, true));
    EXPECT_EQ(expected, encode(routine, record, false));
  }
}

}  // namespace
