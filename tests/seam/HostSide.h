// What the seam tests need from the development host, behind plain types, so
// that the test units that declare the host's classes themselves never see
// the host/ headers. Main test thread only.
#pragma once

#include <string>
#include <vector>

namespace hostside {

// An empty world with two Ethernet interfaces and a management interface.
void buildNode();
// The one entity registered under `name`, as the host's BLEntity pointer;
// null when there is none or more than one.
void* registeredEntity(const std::string& name);
// The names the host's Interfaces, vqbridge and Network entities carry.
std::vector<std::string> serviceEntityNames();
// Request codes of the driver commands, and finished log lines, since the last call.
std::vector<unsigned long> takeDriverCodes();
std::vector<std::string> takeLogLines();
unsigned int openDriverHandles();
size_t vlanCreatedSubscribers();
std::vector<std::string> registeredThreads();  // thread names the host was told of

}  // namespace hostside
