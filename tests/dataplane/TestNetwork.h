// The private network the data-plane suite runs in: a network and mount
// namespace of the test process's own, with loopback up, IPv6 off (so no
// device speaks by itself), a port mapper on a private /run, and a bridge
// "br0" whose ports are veth devices with a peer "NAME-p" each. Made once,
// in main, before any thread exists.
#pragma once

#include <string>
#include <vector>

namespace dataplane {

// Enters the namespace and builds the network; an empty string on success,
// otherwise why the suite cannot run here.
std::string enterTestNetwork(const std::vector<std::string>& ports);

// The peer of bridge port `port`, where the test plays the stations.
inline std::string peerOf(const std::string& port) { return port + "-p"; }

// Runs a shell command line; its exit status.
int shell(const std::string& line);
// Its standard output.
std::string shellOutput(const std::string& line);

}  // namespace dataplane
