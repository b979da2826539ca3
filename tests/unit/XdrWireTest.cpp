// Byte-exact XDR encodings of the port-security program's records.
#include <arpa/inet.h>
#include <string.h>

#include <cstdint>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "portsecurity.h"

namespace {

std::vector<uint8_t> encode(xdrproc_t routine, void* record) {
  std::vector<uint8_t> buffer(2048);
  XDR xdrs;
  xdrmem_create(&xdrs, reinterpret_cast<char*>(buffer.data()), buffer.size(), XDR_ENCODE);
  EXPECT_TRUE(routine(&xdrs, record));
  buffer.resize(xdr_getpos(&xdrs));
  xdr_destroy(&xdrs);
  return buffer;
}

// Memory stream that never offers an in-line buffer, so routines must fall
// back to their per-field primitives.
std::vector<uint8_t> encodeWithoutInline(xdrproc_t routine, void* record) {
  typedef std::remove_const_t<std::remove_pointer_t<decltype(XDR::x_ops)>> ops_t;
  static ops_t ops;
  static auto noInline = [](XDR*, u_int) -> int32_t* { return nullptr; };
  std::vector<uint8_t> buffer(2048);
  XDR xdrs;
  xdrmem_create(&xdrs, reinterpret_cast<char*>(buffer.data()), buffer.size(), XDR_ENCODE);
  ops = *xdrs.x_ops;
  ops.x_inline = noInline;
  xdrs.x_ops = &ops;
  EXPECT_TRUE(routine(&xdrs, record));
  buffer.resize(xdr_getpos(&xdrs));
  return buffer;
}

std::vector<uint32_t> units(const std::vector<uint8_t>& bytes) {
  std::vector<uint32_t> out(bytes.size() / 4);
  for (size_t i = 0; i < out.size(); ++i) {
    uint32_t unit;
    memcpy(&unit, &bytes[i * 4], 4);
    out[i] = ntohl(unit);
  }
  return out;
}

template <class Routine>
xdrproc_t xdrRoutine(Routine routine) {
  return reinterpret_cast<xdrproc_t>(reinterpret_cast<void (*)()>(routine));
}

rpcPSMacEntry sampleEntry() {
  rpcPSMacEntry entry = {{0x00, 0x1b, 0x2c, 0x3d, 0x4e, 0xff}, 4094};
  return entry;
}

TEST(XdrWireTest, InterfaceNameTravelsOneCharacterPerUnit) {
  rpcInterfaceName name = "abcdefghijklmno";
  std::vector<uint8_t> bytes = encode(xdrRoutine(xdr_rpcInterfaceName), name);
  ASSERT_EQ(64u, bytes.size());
  std::vector<uint32_t> u = units(bytes);
  for (int i = 0; i < 15; ++i) EXPECT_EQ(static_cast<uint32_t>('a' + i), u[i]) << i;
  EXPECT_EQ(0u, u[15]);
}

TEST(XdrWireTest, MacEntryIsSixOctetUnitsThenVlan) {
  rpcPSMacEntry entry = sampleEntry();
  std::vector<uint8_t> bytes = encode(xdrRoutine(xdr_rpcPSMacEntry), &entry);
  ASSERT_EQ(28u, bytes.size());
  EXPECT_EQ((std::vector<uint32_t>{0x00, 0x1b, 0x2c, 0x3d, 0x4e, 0xff, 4094}), units(bytes));
}

TEST(XdrWireTest, EmptyMacListResultIsCountThenResult) {
  rpcResultPSMacEntryList reply;
  memset(&reply, 0, sizeof reply);
  reply.result = RPC_PS_NOT_FOUND;
  std::vector<uint8_t> bytes = encode(xdrRoutine(xdr_rpcResultPSMacEntryList), &reply);
  EXPECT_EQ((std::vector<uint32_t>{0, 3}), units(bytes));
}

TEST(XdrWireTest, MultiArgumentBodies) {
  rpc_ps_add_mac_static_1_argument add = {7, sampleEntry()};
  rpc_ps_del_mac_static_1_argument del = {7, sampleEntry()};
  EXPECT_EQ(32u, encode(xdrRoutine(xdr_rpc_ps_add_mac_static_1_argument), &add).size());
  EXPECT_EQ(32u, encode(xdrRoutine(xdr_rpc_ps_del_mac_static_1_argument), &del).size());

  rpc_ps_add_mac_static_virtual_port_1_argument addPort = {7, sampleEntry(), 9};
  rpc_ps_del_mac_static_virtual_port_1_argument delPort = {7, sampleEntry(), 9};
  std::vector<uint8_t> body =
      encode(xdrRoutine(xdr_rpc_ps_add_mac_static_virtual_port_1_argument), &addPort);
  EXPECT_EQ((std::vector<uint32_t>{7, 0x00, 0x1b, 0x2c, 0x3d, 0x4e, 0xff, 4094, 9}), units(body));
  EXPECT_EQ(36u,
            encode(xdrRoutine(xdr_rpc_ps_del_mac_static_virtual_port_1_argument), &delPort).size());

  rpc_ps_add_vlan_mac_limit_dynamic_1_argument arg = {3, 100, 64};
  std::vector<uint8_t> bytes =
      encode(xdrRoutine(xdr_rpc_ps_add_vlan_mac_limit_dynamic_1_argument), &arg);
  EXPECT_EQ((std::vector<uint32_t>{3, 100, 64}), units(bytes));
}

TEST(XdrWireTest, InterfaceSettingsEncodeAlikeWithAndWithoutInlineBuffer) {
  rpcPSVlanSettings vlans[2] = {{10, 5}, {20, 64}};
  rpcPSIntfSettings settings;
  memset(&settings, 0, sizeof settings);
  strcpy(settings.name, "eth0");
  settings.type = RPC_IFC_GPON;
  settings.state = 1;
  settings.limitDynamic = 300;
  settings.limitStatic = 20;
  settings.vlans.vlans_len = 2;
  settings.vlans.vlans_val = vlans;

  std::vector<uint8_t> inlined = encode(xdrRoutine(xdr_rpcPSIntfSettings), &settings);
  std::vector<uint8_t> separate = encodeWithoutInline(xdrRoutine(xdr_rpcPSIntfSettings), &settings);
  ASSERT_EQ(84u + 2 * 8, inlined.size());
  EXPECT_EQ(inlined, separate);
  std::vector<uint32_t> all = units(inlined);
  std::vector<uint32_t> tail(all.begin() + 16, all.end());
  EXPECT_EQ((std::vector<uint32_t>{RPC_IFC_GPON, 1, 300, 20, 2, 10, 5, 20, 64}), tail);
}

}  // namespace
