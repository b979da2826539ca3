// The control channel's command language: one line in, a reply out. The
// commands play the world around the host (VLANs, GEM ports, frames, profile
// mode, external messages) and reach the simulated driver's, lock's and log's
// test hooks. Runs on the control thread; every hook it uses is thread-safe.
#pragma once

#include <string>

namespace pshost {

// Runs one command line and returns its reply: zero or more output lines,
// then "ok" or "error: TEXT", each ending in "\n". A command that fails
// changes nothing.
std::string runControlCommand(const std::string& line);

}  // namespace pshost
