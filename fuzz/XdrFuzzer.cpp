// Every XDR routine of the protocol on arbitrary bytes. The first byte picks
// the routine, the rest is decoded from memory. A record that decodes must
// encode, and its encoding must decode to a record that encodes to the same
// bytes. Every record is released with the free direction, so a routine that
// leaves memory behind is reported as a leak.
#include <dlfcn.h>
#include <rpc/rpc.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "portsecurity.h"

namespace {

struct Routine {
  const char* name;
  xdrproc_t proc;
  size_t recordSize;
};

template <class Record>
Routine routine(const char* name, bool_t (*proc)(XDR*, Record*)) {
  return {name, reinterpret_cast<xdrproc_t>(reinterpret_cast<void (*)()>(proc)), sizeof(Record)};
}

#define PS_ROUTINE(name) routine(#name, name)

const Routine kRoutines[] = {
    // A fixed array: its routine takes the array itself.
    {"xdr_rpcInterfaceName",
     reinterpret_cast<xdrproc_t>(reinterpret_cast<void (*)()>(xdr_rpcInterfaceName)),
     sizeof(rpcInterfaceName)},
    PS_ROUTINE(xdr_rpcPortSecurityResult),
    PS_ROUTINE(xdr_rpcIfcType),
    PS_ROUTINE(xdr_rpcIfcPonTech),
    PS_ROUTINE(xdr_rpcBoardType),
    PS_ROUTINE(xdr_rpcPSMacEntry),
    PS_ROUTINE(xdr_rpcPSVlanSettings),
    PS_ROUTINE(xdr_rpcPSIntfSettings),
    PS_ROUTINE(xdr_rpcResultPSState),
    PS_ROUTINE(xdr_rpcResultPSIntfSettings),
    PS_ROUTINE(xdr_rpcResultPSIntfSettingsList),
    PS_ROUTINE(xdr_rpcResultPSMacEntry),
    PS_ROUTINE(xdr_rpcResultPSMacEntryList),
    PS_ROUTINE(xdr_rpc_ps_set_interface_state_1_argument),
    PS_ROUTINE(xdr_rpc_ps_set_mac_limit_dynamic_1_argument),
    PS_ROUTINE(xdr_rpc_ps_set_mac_limit_static_1_argument),
    PS_ROUTINE(xdr_rpc_ps_add_mac_static_1_argument),
    PS_ROUTINE(xdr_rpc_ps_del_mac_static_1_argument),
    PS_ROUTINE(xdr_rpc_ps_add_vlan_mac_limit_dynamic_1_argument),
    PS_ROUTINE(xdr_rpc_ps_del_vlan_mac_limit_dynamic_1_argument),
    PS_ROUTINE(xdr_rpc_ps_add_mac_static_virtual_port_1_argument),
    PS_ROUTINE(xdr_rpc_ps_del_mac_static_virtual_port_1_argument),
};

const size_t kRoutineCount = sizeof kRoutines / sizeof kRoutines[0];

[[noreturn]] void fail(const Routine& routine, const char* what) {
  std::fprintf(stderr, "%s: %s\n", routine.name, what);
  std::abort();
}

// A zero-filled record of the routine's type, released on destruction.
class Record {
 public:
  explicit Record(const Routine& routine) : routine(routine), bytes(routine.recordSize, 0) {}
  ~Record() { xdr_free(routine.proc, data()); }
  Record(const Record&) = delete;
  Record& operator=(const Record&) = delete;
  char* data() { return bytes.data(); }

 private:
  const Routine& routine;
  std::vector<char> bytes;
};

bool decode(const Routine& routine, const uint8_t* data, size_t size, Record& record) {
  XDR xdrs;
  xdrmem_create(&xdrs, const_cast<char*>(reinterpret_cast<const char*>(data)),
                static_cast<u_int>(size), XDR_DECODE);
  bool_t decoded = routine.proc(&xdrs, record.data(), 0);
  xdr_destroy(&xdrs);
  return decoded;
}

// The record's encoding; a record that decoded from `limit` bytes never
// needs more than that many to encode again.
std::vector<char> encode(const Routine& routine, Record& record, size_t limit) {
  std::vector<char> buffer(limit + 4);
  XDR xdrs;
  xdrmem_create(&xdrs, buffer.data(), static_cast<u_int>(buffer.size()), XDR_ENCODE);
  if (!routine.proc(&xdrs, record.data(), 0)) fail(routine, "a decoded record does not encode");
  buffer.resize(xdr_getpos(&xdrs));
  xdr_destroy(&xdrs);
  return buffer;
}

}  // namespace

// The RPC library allocates a list's count times its element size before it
// reads one element, so four bytes can ask for gigabytes (a client decoding a
// reply is exposed to this; the server decodes no lists). Every element takes
// at least one XDR unit, so a count larger than the rest of the message is
// refused here, before that allocation, and the run tests the routines.
extern "C" bool_t xdr_array(XDR* xdrs, char** addrp, u_int* sizep, u_int maxsize, u_int elsize,
                            xdrproc_t elproc) {
  typedef bool_t (*array_t)(XDR*, char**, u_int*, u_int, u_int, xdrproc_t);
  static const array_t library = reinterpret_cast<array_t>(dlsym(RTLD_NEXT, "xdr_array"));
  if (xdrs->x_op == XDR_DECODE) {
    const u_int start = xdr_getpos(xdrs);
    u_int count = 0;
    if (!xdr_u_int(xdrs, &count)) return FALSE;
    const u_int left = xdrs->x_handy;
    xdr_setpos(xdrs, start);
    if (count > left / BYTES_PER_XDR_UNIT) return FALSE;
  }
  return library(xdrs, addrp, sizep, maxsize, elsize, elproc);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const Routine& routine = kRoutines[data[0] % kRoutineCount];
  Record first(routine);
  if (!decode(routine, data + 1, size - 1, first)) return 0;
  std::vector<char> encoded = encode(routine, first, size - 1);

  Record second(routine);
  if (!decode(routine, reinterpret_cast<const uint8_t*>(encoded.data()), encoded.size(), second))
    fail(routine, "an encoded record does not decode");
  if (encode(routine, second, encoded.size()) != encoded)
    fail(routine, "a record changes when encoded and decoded again");
  return 0;
}
