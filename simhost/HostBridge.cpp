// The host's plain bridge functions: br_open hands out descriptors of the
// simulated driver; the service profile's uplinks come from the node.
#include "bridge.h"

#include <fcntl.h>

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
  // A real descriptor, so that the caller's close() is an ordinary one. A
  // duplicate of one kept open spares every operation a path lookup.
  static const int nullDevice = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  if (nullDevice < 0) return -1;
  const int fd = ::fcntl(nullDevice, F_DUPFD_CLOEXEC, 0);
  if (fd < 0) return -1;
  driver.addHandle(fd);
  return fd;
}

int servProfileCheckIfInterfaceUplink(unsigned int intf) {
  sim::InterfaceConfig config;
  return sim::Node::instance().findInterface(intf, config) && config.uplink ? 1 : 0;
}
