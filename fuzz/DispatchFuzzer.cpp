// Whole RPC call messages, any procedure and any argument bytes, sent as
// datagrams to a loopback UDP transport of the RPC library and served into
// the program's dispatcher, whose handlers run against the simulated node.
// The transport is registered without the port mapper (protocol 0) and
// bounded to its datagram as the server's own transports are. Every input
// runs from the same world. A reply, when one comes, must be a reply message
// to the call's transaction id.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <rpc/rpc.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "FuzzNode.h"
#include "portsecurity/rpc/PortSecurityRpc.h"
#include "rte/BLL/core/datagramBounds.h"

namespace {

[[noreturn]] void fail(const char* what) {
  std::fprintf(stderr, "fuzz_dispatch: %s\n", what);
  std::abort();
}

int loopbackUdpSocket() {
  int sock = socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (sock < 0 || bind(sock, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
    fail("cannot bind a loopback UDP socket");
  return sock;
}

struct Endpoints {
  int server;  // served by the library's transport
  int client;  // sends the calls, receives the replies
};

Endpoints& endpoints() {
  static Endpoints e = [] {
    Endpoints made = {loopbackUdpSocket(), loopbackUdpSocket()};
    SVCXPRT* transport = svcudp_create(made.server);
    if (transport == nullptr) fail("cannot create the UDP transport");
    boundDecodingToDatagram(transport, false);
    if (!svc_register(transport, PORTSECURITY_PROGRAM, PORTSECURITY_VERSION,
                      rpcPortsecurityDispatch, 0))
      fail("cannot register the program with the transport");
    sockaddr_in server = {};
    socklen_t length = sizeof server;
    if (getsockname(made.server, reinterpret_cast<sockaddr*>(&server), &length) != 0 ||
        connect(made.client, reinterpret_cast<sockaddr*>(&server), length) != 0)
      fail("cannot connect to the transport");
    return made;
  }();
  return e;
}

// The reply must be a reply message that answers the call's id.
void checkReply(const char* reply, size_t size, uint32_t xid) {
  rpc_msg message = {};
  message.acpted_rply.ar_results.where = nullptr;
  message.acpted_rply.ar_results.proc = reinterpret_cast<xdrproc_t>(xdr_void);
  XDR xdrs;
  xdrmem_create(&xdrs, const_cast<char*>(reply), static_cast<u_int>(size), XDR_DECODE);
  if (!xdr_replymsg(&xdrs, &message)) fail("the reply is not a reply message");
  xdr_destroy(&xdrs);
  if (message.rm_xid != xid) fail("the reply answers another call");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Endpoints& e = endpoints();
  fuzznode::resetWorld();
  if (send(e.client, data, size, 0) != static_cast<ssize_t>(size)) return 0;
  // Loopback delivers at once: the datagram is waiting, so this does not block.
  svc_getreq_common(e.server);

  static char reply[1 << 16];
  ssize_t n;
  while ((n = recv(e.client, reply, sizeof reply, MSG_DONTWAIT)) >= 0) {
    uint32_t xid = 0;
    if (size >= sizeof xid) std::memcpy(&xid, data, sizeof xid);
    checkReply(reply, static_cast<size_t>(n), ntohl(xid));
  }
  return 0;
}
