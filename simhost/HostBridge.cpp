// The host's plain bridge functions: br_open hands out descriptors of the
// simulated driver; the service profile's uplinks come from the node.
#include "bridge.h"

#include <cerrno>
#include <cstring>

#include "SimDriver.h"
#include "SimNode.h"

int br_open(const char* bridge, const char* table) {
  sim::Driver& driver = sim::Driver::instance();
  if (driver.takeOpenFailure()) {
    errno = EIO;
    return -1;
  }
  if (bridge == nullptr || table == nullptr || sim::Node::instance().bridgeName() != bridge ||
      std::strcmp(table, "mac_table") != 0) {
    errno = ENODEV;
    return -1;
  }
  const int fd = driver.openHandle();
  if (fd < 0) errno = EMFILE;
  return fd;
}

int servProfileCheckIfInterfaceUplink(unsigned int intf) {
  sim::InterfaceConfig config;
  return sim::Node::instance().findInterface(intf, config) && config.uplink ? 1 : 0;
}
