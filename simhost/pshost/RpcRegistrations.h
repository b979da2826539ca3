// The process's RPC transports as the port mapper sees them. Called from the
// main thread after the receive loop has stopped.
#pragma once

namespace pshost {

// Whether a port mapper answers on the loopback address: without one the
// module's programs cannot be published and clients cannot find them.
bool portMapperAnswers();

// Withdraws from the local port mapper every program registered on a port
// that one of this process's RPC transports holds, so that clients are told
// at once that the program is gone instead of waiting on a dead port.
void withdrawRegistrations();

}  // namespace pshost
