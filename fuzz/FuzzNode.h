// The world the dispatch and control fuzzers run in: pshost's default node
// on the development host, and the port-security entity in its factory
// state, subscribed to the host's events as it is once started (without its
// RPC thread, so nothing reaches the port mapper). One thread only.
#pragma once

namespace fuzznode {

// Puts node, driver, log and entity back to their starting state, so that
// every input runs from the same world; subscribes the entity on first use.
void resetWorld();

}  // namespace fuzznode
