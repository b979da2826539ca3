// Why this wrapper exists: the library's datagram transport decodes a request
// from its whole receive buffer, not from the bytes that arrived, so a request
// whose body ends early is completed from the bytes of earlier requests and
// served instead of being refused as undecodable. The wrapper keeps its own
// copy of each datagram and decodes the call header and the arguments from
// that copy. It uses only the transport's public face (descriptor, operation
// table) and the public XDR routines, never the library's private transport
// data, so a different library build cannot break it silently.
#include "rte/BLL/core/datagramBounds.h"

#include <errno.h>
#include <linux/filter.h>
#include <string.h>
#include <sys/socket.h>

#include <cstdint>
#include <mutex>
#include <type_traits>

namespace {

typedef std::remove_const_t<std::remove_pointer_t<decltype(SVCXPRT::xp_ops)>> transportOps_t;

// The library's UDP buffer: a longer datagram is served cut to its length.
const size_t kLargestDatagram = UDPMSGSIZE;

// The datagram being served on this thread. The loop receives a request and
// decodes its arguments on one thread, one request at a time.
struct Datagram {
  char bytes[kLargestDatagram];
  u_int length;
  u_int bodyStart;
};
thread_local Datagram served;

// Every datagram transport of the library shares one operations table; the
// wrapped transports share one copy of it with two operations replaced.
std::once_flag opsMade;
const transportOps_t* libraryOps = nullptr;
transportOps_t boundedOps;

// Consumes the datagram at the head of the queue without serving it.
void dropDatagram(int sock) { (void)recv(sock, nullptr, 0, MSG_DONTWAIT); }

// Peeks the next datagram into `served`. False when it cannot be a request:
// a call header that does not fit in it. A datagram longer than the buffer
// is served from its first bytes, as the library itself receives it.
bool peekWholeRequest(int sock) {
  ssize_t length;
  do {
    length = recv(sock, served.bytes, sizeof served.bytes, MSG_PEEK | MSG_DONTWAIT);
  } while (length < 0 && errno == EINTR);
  if (length < 0) return false;
  served.length = static_cast<u_int>(length);

  char credentials[MAX_AUTH_BYTES];
  char verifier[MAX_AUTH_BYTES];
  struct rpc_msg header;
  memset(&header, 0, sizeof header);
  header.rm_call.cb_cred.oa_base = credentials;
  header.rm_call.cb_verf.oa_base = verifier;
  XDR stream;
  xdrmem_create(&stream, served.bytes, served.length, XDR_DECODE);
  const bool whole = xdr_callmsg(&stream, &header);
  served.bodyStart = XDR_GETPOS(&stream);
  XDR_DESTROY(&stream);
  if (!whole) dropDatagram(sock);
  return whole;
}

bool_t boundedRecv(SVCXPRT* transport, struct rpc_msg* message) {
  if (!peekWholeRequest(transport->xp_fd)) return FALSE;
  return libraryOps->xp_recv(transport, message);
}

// The program's clients use no flavour that wraps the arguments, so they are
// the plain body that follows the header.
bool_t boundedGetargs(SVCXPRT*, xdrproc_t decode, void* arguments) {
  XDR stream;
  xdrmem_create(&stream, served.bytes + served.bodyStart, served.length - served.bodyStart,
                XDR_DECODE);
  const bool_t decoded = (*decode)(&stream, arguments);
  XDR_DESTROY(&stream);
  return decoded;
}

bool attachFilter(int sock, uint32_t acceptedBytes) {
  struct sock_filter verdict[] = {BPF_STMT(BPF_RET | BPF_K, acceptedBytes)};
  struct sock_fprog program = {1, verdict};
  return setsockopt(sock, SOL_SOCKET, SO_ATTACH_FILTER, &program, sizeof program) == 0;
}

bool setDropFilter(int sock, bool drop) {
  if (drop) return attachFilter(sock, 0);
  const int unused = 0;  // the option carries no value but must be given one
  if (setsockopt(sock, SOL_SOCKET, SO_DETACH_FILTER, &unused, sizeof unused) == 0) return true;
  // qemu-user attaches filters but cannot detach them: replace the drop-all
  // filter with one that takes every datagram whole.
  return attachFilter(sock, 0xffffffffu);
}

}  // namespace

bool holdDatagramsBack(int sock) { return setDropFilter(sock, true); }

bool boundDecodingToDatagram(SVCXPRT* transport, bool heldBack) {
  std::call_once(opsMade, [transport] {
    libraryOps = transport->xp_ops;
    boundedOps = *libraryOps;
    boundedOps.xp_recv = boundedRecv;
    boundedOps.xp_getargs = boundedGetargs;
  });
  // Registering again takes the library's descriptor lock, which the loop
  // takes to find the transport: the loop sees the wrapped table.
  xprt_unregister(transport);
  if (transport->xp_ops == libraryOps) transport->xp_ops = &boundedOps;
  const bool open = !heldBack || setDropFilter(transport->xp_fd, false);
  xprt_register(transport);
  return open;
}
