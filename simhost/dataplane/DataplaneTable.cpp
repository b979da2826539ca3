#include "DataplaneTable.h"

#include <bpf/bpf.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "MapReader.h"
#include "dataplane.h"

namespace sim {
namespace {

ps_mac_key macKey(const MacAddress& mac, uint16_t vlan) {
  ps_mac_key key = {};
  std::memcpy(key.mac, mac.data(), sizeof key.mac);
  key.vlan = vlan;
  return key;
}

ps_port_vlan portVlan(uint32_t port, uint16_t vlan) {
  ps_port_vlan key = {};
  key.port = port;
  key.vlan = vlan;
  return key;
}

int update(int fd, const void* key, const void* value) {
  return bpf_map_update_elem(fd, key, value, BPF_ANY) == 0 ? 0 : errno;
}

void requireZero(int error, const std::string& what) {
  if (error != 0)
    throw DataplaneError("cannot " + what + " in the data plane's maps: " + std::strerror(error));
}

}  // namespace

DataplaneTable::DataplaneTable(std::shared_ptr<DataplaneProgram> program,
                               std::vector<GuardedDevice> devices, uint32_t buckets)
    : program(std::move(program)),
      guarded(std::move(devices)),
      probe(this->program->maps().probeResults),
      buckets(buckets) {
  const DataplaneMaps& maps = this->program->maps();
  for (const GuardedDevice& device : guarded) {
    const uint32_t port = device.id - 1;
    ps_port where = {};
    where.port = port;
    where.pvid = device.pvid;
    const uint32_t zero = 0;
    const ps_intf_settings off = {};
    requireZero(update(maps.interfaceSettings, &port, &off), "register " + device.netdev);
    requireZero(update(maps.dynamicCounts, &port, &zero), "register " + device.netdev);
    requireZero(update(maps.guardedPorts, &device.ifindex, &where), "register " + device.netdev);
  }
}

void DataplaneTable::clear() {
  const DataplaneMaps& maps = program->maps();
  eraseMap(maps.macTable, sizeof(ps_mac_key));
  eraseMap(maps.vlanCounts, sizeof(ps_port_vlan));
  eraseMap(maps.violations, sizeof(uint32_t));
  const uint32_t zero = 0;
  for (const GuardedDevice& device : guarded) {
    const uint32_t port = device.id - 1;
    update(maps.dynamicCounts, &port, &zero);
  }
  snapshot.clear();
}

int DataplaneTable::publishGlobalState(bool enabled) {
  program->setEnabled(enabled);
  return 0;
}

int DataplaneTable::publishInterface(unsigned int id, const DriverInterfaceState& before,
                                     const DriverInterfaceState& after) {
  const DataplaneMaps& maps = program->maps();
  const uint32_t port = id - 1;
  // Limits first, the switch last: a frame never sees the switch on with
  // the limits of before.
  for (const auto& limit : after.vlanLimits) {
    const ps_port_vlan key = portVlan(port, limit.first);
    if (const int error = update(maps.vlanLimits, &key, &limit.second)) return error;
  }
  for (const auto& limit : before.vlanLimits) {
    if (after.vlanLimits.count(limit.first) != 0) continue;
    const ps_port_vlan key = portVlan(port, limit.first);
    if (bpf_map_delete_elem(maps.vlanLimits, &key) != 0 && errno != ENOENT) return errno;
  }
  ps_intf_settings settings = {};
  settings.enabled = after.enabled;
  settings.has_dynamic_limit = after.hasDynamicLimit;
  settings.dynamic_limit = after.dynamicLimit;
  return update(maps.interfaceSettings, &port, &settings);
}

int DataplaneTable::addStatic(uint32_t port, const MacAddress& mac, uint16_t vlan) {
  ps_static_request request = {};
  request.port = port;
  request.vlan = vlan;
  std::memcpy(request.mac, mac.data(), sizeof request.mac);
  return program->runAddStatic(&request, sizeof request);
}

int DataplaneTable::deleteStatic(uint32_t port, const MacAddress& mac, uint16_t vlan) {
  // Frames never change a static entry, so reading and then deleting it
  // races with nothing but this driver's own commands, which it serialises.
  const int fd = program->maps().macTable;
  const ps_mac_key key = macKey(mac, vlan);
  ps_mac_entry entry = {};
  if (bpf_map_lookup_elem(fd, &key, &entry) != 0) return ENOENT;
  if ((entry.owner & PS_OWNER_STATIC) == 0 || PS_OWNER_PORT(entry.owner) != port) return ENOENT;
  return bpf_map_delete_elem(fd, &key) == 0 ? 0 : errno;
}

int DataplaneTable::moveToStatic(uint32_t port) {
  ps_move_request request = {};
  request.port = port;
  return program->runMoveToStatic(&request, sizeof request);
}

bool DataplaneTable::lastViolation(unsigned int id, DriverViolation& out) const {
  const uint32_t port = id - 1;
  ps_violation seen = {};
  if (bpf_map_lookup_elem(program->maps().violations, &port, &seen) != 0) return false;
  std::memcpy(out.mac.data(), seen.mac, out.mac.size());
  out.vlan = seen.vlan;
  return true;
}

LearnResult DataplaneTable::learn(uint32_t port, const MacAddress& mac, uint16_t vlan) {
  auto device = std::find_if(guarded.begin(), guarded.end(),
                             [port](const GuardedDevice& d) { return d.id - 1 == port; });
  if (device == guarded.end()) return LearnResult::unknownPort;
  return probe.send(*device, mac, vlan);
}

void DataplaneTable::setBucketCount(uint32_t count) {
  buckets = count;
  snapshot.clear();
}

int DataplaneTable::beginWalk(uint32_t& count) {
  count = buckets;
  return takeSnapshot();
}

std::vector<std::vector<MacTableEntry>> DataplaneTable::chains() {
  takeSnapshot();
  return snapshot;
}

// The map in one pass, each entry in the bucket the simulated table's hash
// gives it and, within its bucket, in the order the table learned it.
int DataplaneTable::takeSnapshot() {
  std::vector<std::pair<ps_mac_key, ps_mac_entry>> entries;
  snapshot.assign(buckets, {});
  if (buckets == 0) return 0;
  if (!readMap(program->maps().macTable, entries)) return errno;
  std::sort(entries.begin(), entries.end(),
            [](const auto& a, const auto& b) { return a.second.seq < b.second.seq; });
  for (const auto& item : entries) {
    MacTableEntry entry;
    std::memcpy(entry.mac.data(), item.first.mac, entry.mac.size());
    entry.vlan = item.first.vlan;
    entry.port = PS_OWNER_PORT(item.second.owner);
    entry.isStatic = (item.second.owner & PS_OWNER_STATIC) != 0;
    snapshot[bucketOf(entry.mac, entry.vlan, buckets)].push_back(entry);
  }
  return 0;
}

}  // namespace sim
