// Keeps the decoding of a UDP request within the datagram that carried it.
// The library's datagram transport decodes from its whole receive buffer, so
// a body that ends early would otherwise be completed from bytes of earlier
// requests instead of failing to decode. Call from the thread that serves
// the transport, before it serves requests.
#pragma once

#include <rpc/rpc.h>

// Wraps the transport's receive, argument and reply operations.
void boundDecodingToDatagram(SVCXPRT* transport);
