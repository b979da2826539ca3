#include "rte/BLL/core/datagramBounds.h"

#include <rpc/svc_dg.h>
#include <sys/socket.h>

#include <type_traits>

namespace {

typedef std::remove_const_t<std::remove_pointer_t<decltype(SVCXPRT::xp_ops)>> transportOps_t;

// Every datagram transport of the library shares one operations table; the
// wrapped transports share one copy of it with three operations replaced.
const transportOps_t* libraryOps = nullptr;
transportOps_t boundedOps;

struct svc_dg_data* datagramData(SVCXPRT* transport) {
  return static_cast<struct svc_dg_data*>(transport->xp_p2);
}

// The reply is encoded into the same buffer and needs all of it again.
void restoreWholeBuffer(SVCXPRT* transport) {
  struct svc_dg_data* data = datagramData(transport);
  XDR* stream = &data->su_xdrs;
  stream->x_handy = static_cast<u_int>(data->su_iosz - XDR_GETPOS(stream));
}

bool_t boundedRecv(SVCXPRT* transport, struct rpc_msg* message) {
  // The length of the datagram about to be read, which the library drops.
  ssize_t length = recv(transport->xp_fd, nullptr, 0, MSG_PEEK | MSG_TRUNC);
  if (!libraryOps->xp_recv(transport, message)) return FALSE;
  struct svc_dg_data* data = datagramData(transport);
  XDR* stream = &data->su_xdrs;
  const u_int decoded = XDR_GETPOS(stream);
  if (length >= static_cast<ssize_t>(decoded) && static_cast<size_t>(length) <= data->su_iosz)
    stream->x_handy = static_cast<u_int>(length) - decoded;
  return TRUE;
}

bool_t boundedGetargs(SVCXPRT* transport, xdrproc_t decode, void* arguments) {
  bool_t decoded = libraryOps->xp_getargs(transport, decode, arguments);
  restoreWholeBuffer(transport);
  return decoded;
}

bool_t boundedReply(SVCXPRT* transport, struct rpc_msg* message) {
  restoreWholeBuffer(transport);
  return libraryOps->xp_reply(transport, message);
}

}  // namespace

void boundDecodingToDatagram(SVCXPRT* transport) {
  if (libraryOps == nullptr) {
    libraryOps = transport->xp_ops;
    boundedOps = *libraryOps;
    boundedOps.xp_recv = boundedRecv;
    boundedOps.xp_getargs = boundedGetargs;
    boundedOps.xp_reply = boundedReply;
  }
  if (transport->xp_ops == libraryOps) transport->xp_ops = &boundedOps;
}
