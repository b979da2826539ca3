// The host's plain functions around the bridge and the service profile.
#pragma once

extern "C" {
// Opens the port-security channel of a bridge's MAC table; negative on failure.
// The caller closes the descriptor after its commands.
int br_open(const char* bridge, const char* table);
}

// Non-zero when the interface is an uplink of the service profile.
int servProfileCheckIfInterfaceUplink(unsigned int intf);
