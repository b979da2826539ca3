// Keeps the decoding of a UDP request within the datagram that carried it.
// The library's datagram transport decodes from its whole receive buffer, so
// a body that ends early would otherwise be completed from bytes of earlier
// requests instead of failing to decode.
//
// The wrapped operations must be in place before the receive loop, which
// runs on another thread, can serve the transport: hold the socket's
// datagrams back before the transport is created on it, and let them in
// with boundDecodingToDatagram once it is. Both run on the registering
// thread; the wrapped operations then run on the loop's thread.
#pragma once

#include <rpc/rpc.h>

// Makes the socket drop every datagram until boundDecodingToDatagram lets
// them in. False when the system has no socket filters (qemu-user, for one):
// the port is not published yet, so only a client that guesses it could
// reach the transport before it is wrapped.
bool holdDatagramsBack(int sock);

// Takes the transport out of the loop's set, wraps its receive and argument
// operations, lets datagrams in when they were held back, and puts the
// transport back. False, with errno set, when they could not be let in.
bool boundDecodingToDatagram(SVCXPRT* transport, bool heldBack);
