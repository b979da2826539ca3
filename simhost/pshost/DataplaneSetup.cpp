#include "DataplaneSetup.h"

#include <net/if.h>

#include <cstdio>

#include "DataplaneTable.h"
#include "LinkInfo.h"
#include "MacTable.h"
#include "SimDriver.h"

namespace pshost {
namespace {

std::vector<sim::GuardedDevice> findDevices(const NodeConfig& node) {
  std::vector<sim::GuardedDevice> devices;
  for (const NodeInterface& intf : node.interfaces) {
    sim::GuardedDevice device;
    device.id = intf.id;
    device.netdev = intf.netdev.empty() ? intf.name : intf.netdev;
    device.pvid = intf.pvid;
    device.ifindex = static_cast<int>(::if_nametoindex(device.netdev.c_str()));
    if (device.ifindex == 0)
      throw sim::DataplaneError("interface " + std::to_string(intf.id) + ": no network device \"" +
                                device.netdev +
                                "\" here: create it, or name another with \"netdev\" in the "
                                "node file");
    device.peerIfindex = sim::vethPeer(device.ifindex);
    devices.push_back(device);
  }
  return devices;
}

std::string deviceNames(const std::vector<sim::GuardedDevice>& devices) {
  std::string names;
  for (const sim::GuardedDevice& device : devices)
    names += (names.empty() ? "" : ", ") + device.netdev;
  return names;
}

}  // namespace

std::unique_ptr<sim::TcAttachment> startDataplane(const NodeConfig& node) {
  if (!node.dataplane) return nullptr;
  std::vector<sim::GuardedDevice> devices = findDevices(node);
  const unsigned int entries =
      node.driverEntries != 0 ? node.driverEntries : kDefaultDataplaneEntries;
  auto program =
      std::make_shared<sim::DataplaneProgram>(entries, static_cast<uint32_t>(devices.size()));
  const uint32_t buckets =
      node.driverBuckets != 0 ? node.driverBuckets : sim::MacTable::kDefaultBucketCount;
  auto table = std::make_unique<sim::DataplaneTable>(program, devices, buckets);
  if (const int error = sim::Driver::instance().useTable(std::move(table)))
    throw sim::DataplaneError("the data plane refused the driver's settings: " +
                              std::to_string(error));
  auto attachment = std::make_unique<sim::TcAttachment>(program, devices);
  if (node.keepAttached) attachment->keepAttached();
  std::fprintf(stderr, "pshost: eBPF data plane guarding the ingress of %s (%u entries)\n",
               deviceNames(devices).c_str(), entries);
  return attachment;
}

}  // namespace pshost
