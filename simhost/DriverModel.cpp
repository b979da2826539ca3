#include "DriverModel.h"

#include <cerrno>
#include <cstring>

#include "DriverRecords.h"
#include "SimNode.h"

namespace sim {

using namespace psdriver;

namespace {

// Records are read and written field by field at their offsets, so neither
// alignment nor the bytes the driver must not touch matter.
template <class T>
T readField(const uint8_t* record, size_t offset) {
  T value;
  std::memcpy(&value, record + offset, sizeof value);
  return value;
}

template <class T>
void writeField(uint8_t* record, size_t offset, const T& value) {
  std::memcpy(record + offset, &value, sizeof value);
}

MacAddress readMac(const uint8_t* record, size_t offset) {
  MacAddress mac;
  std::memcpy(mac.data(), record + offset, mac.size());
  return mac;
}

void writeMac(uint8_t* record, size_t offset, const MacAddress& mac) {
  std::memcpy(record + offset, mac.data(), mac.size());
}

// The interface field: canonical unsigned decimal text, NUL-terminated within
// its 17 bytes, naming an interface of the node.
bool parseInterface(const uint8_t* record, unsigned int& id) {
  const void* end = std::memchr(record, '\0', PS_INTF_LEN);
  if (end == nullptr) return false;
  const size_t length = static_cast<const uint8_t*>(end) - record;
  if (length == 0 || length > 10 || (length > 1 && record[0] == '0')) return false;
  uint64_t value = 0;
  for (size_t i = 0; i < length; ++i) {
    if (record[i] < '0' || record[i] > '9') return false;
    value = value * 10 + (record[i] - '0');
  }
  if (value > UINT32_MAX) return false;
  id = static_cast<unsigned int>(value);
  return Node::instance().hasInterface(id);
}

bool takesInterface(unsigned long code) {
  return code != PSIOC_GET_TABLE_INFO && code != PSIOC_GET_TABLE_ENTRY;
}

}  // namespace

// Every command the driver knows; PSIOC_SET_STATE passes its value itself.
bool driverRecordSize(unsigned long code, size_t& size) {
  switch (code) {
    case PSIOC_GET_TABLE_INFO:
      size = sizeof(psTableInfoArg_t);
      return true;
    case PSIOC_ADD_STATIC:
    case PSIOC_DEL_STATIC:
      size = sizeof(psMacArg_t);
      return true;
    case PSIOC_GET_TABLE_ENTRY:
      size = sizeof(psTableEntryArg_t);
      return true;
    case PSIOC_MOVE_TO_STATIC:
      size = sizeof(psMoveArg_t);
      return true;
    case PSIOC_SET_STATE:
      size = 0;
      return true;
    case PSIOC_SET_INTF_STATE:
      size = sizeof(psIntfStateArg_t);
      return true;
    case PSIOC_SET_INTF_LIMIT:
      size = sizeof(psIntfLimitArg_t);
      return true;
    case PSIOC_SET_VLAN_LIMIT:
    case PSIOC_DEL_VLAN_LIMIT:
      size = sizeof(psVlanLimitArg_t);
      return true;
    case PSIOC_GET_VIOLATION:
      size = sizeof(psViolationArg_t);
      return true;
    default:
      return false;
  }
}

DriverModel::DriverModel() : simulated(settings), active(&simulated) {}

void DriverModel::reset() {
  const DriverSettings before = settings;
  settings = DriverSettings();
  active->clear();
  active->setBucketCount(MacTable::kDefaultBucketCount);
  active->publishGlobalState(false);
  for (const auto& item : before.interfaces)
    active->publishInterface(item.first, item.second, DriverInterfaceState());
  simulated.setEntryCapacity(kMaxEntries);
}

int DriverModel::useTable(std::unique_ptr<DriverTable> table) {
  DriverTable& next = table ? *table : simulated;
  const int error = publishAll(next);
  if (error != 0) return error;
  installed = std::move(table);
  active = &next;
  return 0;
}

int DriverModel::publishAll(DriverTable& table) {
  int error = table.publishGlobalState(settings.enabled);
  for (const auto& item : settings.interfaces)
    if (error == 0) error = table.publishInterface(item.first, DriverInterfaceState(), item.second);
  return error;
}

int DriverModel::execute(unsigned long code, unsigned long argument) {
  size_t size = 0;
  if (!driverRecordSize(code, size)) return ENOTTY;
  if (code == PSIOC_SET_STATE) {
    // The driver reads the value as an int from the argument word.
    const uint32_t value = static_cast<uint32_t>(argument);
    if (value > 1) return EINVAL;
    return setGlobalState(value == 1);
  }
  uint8_t* record = reinterpret_cast<uint8_t*>(argument);
  if (record == nullptr) return EFAULT;
  return executeRecord(code, record);
}

int DriverModel::setGlobalState(bool enabled) {
  const int error = active->publishGlobalState(enabled);
  if (error == 0) settings.enabled = enabled;
  return error;
}

int DriverModel::executeRecord(unsigned long code, uint8_t* record) {
  unsigned int id = 0;
  if (takesInterface(code) && !parseInterface(record, id)) return ENODEV;
  switch (code) {
    case PSIOC_GET_TABLE_INFO: {
      uint32_t buckets = 0;
      if (const int error = active->beginWalk(buckets)) return error;
      writeField(record, offsetof(psTableInfoArg_t, bucketCount), buckets);
      return 0;
    }
    case PSIOC_GET_TABLE_ENTRY:
      return readEntry(record);
    case PSIOC_ADD_STATIC:
      return addStatic(id, record);
    case PSIOC_DEL_STATIC:
      return deleteStatic(id, record);
    case PSIOC_MOVE_TO_STATIC:
      return active->moveToStatic(id - 1);
    case PSIOC_SET_INTF_STATE:
      return setInterfaceState(id, record);
    case PSIOC_SET_INTF_LIMIT:
      return setInterfaceLimit(id, record);
    case PSIOC_SET_VLAN_LIMIT:
      return setVlanLimit(id, record, false);
    case PSIOC_DEL_VLAN_LIMIT:
      return setVlanLimit(id, record, true);
    case PSIOC_GET_VIOLATION:
      return readViolation(id, record);
    default:
      return ENOTTY;
  }
}

int DriverModel::changeInterface(unsigned int id, const DriverInterfaceState& after) {
  const int error = active->publishInterface(id, settings.interfaceState(id), after);
  if (error == 0) settings.interfaces[id] = after;
  return error;
}

int DriverModel::setInterfaceState(unsigned int id, const uint8_t* record) {
  const uint32_t state = readField<uint32_t>(record, offsetof(psIntfStateArg_t, state));
  if (state > 1) return EINVAL;
  DriverInterfaceState after = settings.interfaceState(id);
  after.enabled = state == 1;
  return changeInterface(id, after);
}

int DriverModel::setInterfaceLimit(unsigned int id, const uint8_t* record) {
  const uint32_t kind = readField<uint32_t>(record, offsetof(psIntfLimitArg_t, kind));
  const uint32_t limit = readField<uint32_t>(record, offsetof(psIntfLimitArg_t, limit));
  if (kind != PS_LIMIT_DYNAMIC && kind != PS_LIMIT_STATIC) return EINVAL;
  DriverInterfaceState after = settings.interfaceState(id);
  if (kind == PS_LIMIT_DYNAMIC) {
    after.hasDynamicLimit = true;
    after.dynamicLimit = limit;
  } else {
    after.hasStaticLimit = true;
    after.staticLimit = limit;
  }
  return changeInterface(id, after);
}

int DriverModel::setVlanLimit(unsigned int id, const uint8_t* record, bool remove) {
  const uint16_t vlan = readField<uint16_t>(record, offsetof(psVlanLimitArg_t, vlan));
  const uint32_t limit = readField<uint32_t>(record, offsetof(psVlanLimitArg_t, limit));
  DriverInterfaceState after = settings.interfaceState(id);
  // Removing a limit that is not there is not an error: the result is the same.
  if (remove)
    after.vlanLimits.erase(vlan);
  else
    after.vlanLimits[vlan] = limit;
  return changeInterface(id, after);
}

int DriverModel::addStatic(unsigned int id, const uint8_t* record) {
  const MacAddress mac = readMac(record, offsetof(psMacArg_t, mac));
  const uint16_t vlan = readField<uint16_t>(record, offsetof(psMacArg_t, vlan));
  return active->addStatic(id - 1, mac, vlan);
}

int DriverModel::deleteStatic(unsigned int id, const uint8_t* record) {
  const MacAddress mac = readMac(record, offsetof(psMacArg_t, mac));
  const uint16_t vlan = readField<uint16_t>(record, offsetof(psMacArg_t, vlan));
  return active->deleteStatic(id - 1, mac, vlan);
}

void DriverModel::writeEntry(const MacTableEntry& entry, uint8_t* record) {
  writeMac(record, offsetof(psTableEntryArg_t, mac), entry.mac);
  writeField(record, offsetof(psTableEntryArg_t, vlan), entry.vlan);
  std::memset(record + offsetof(psTableEntryArg_t, reserved), 0,
              sizeof psTableEntryArg_t().reserved);
  writeField(record, offsetof(psTableEntryArg_t, port), entry.port);
  writeField(record, offsetof(psTableEntryArg_t, isStatic), static_cast<uint8_t>(entry.isStatic));
}

int DriverModel::readViolation(unsigned int id, uint8_t* record) const {
  DriverViolation violation;
  lastViolation(id, violation);
  writeMac(record, offsetof(psViolationArg_t, mac), violation.mac);
  writeField(record, offsetof(psViolationArg_t, vlan), violation.vlan);
  return 0;
}

LearnResult DriverModel::learn(uint32_t port, const MacAddress& mac, uint16_t vlan) {
  if (port == UINT32_MAX || !Node::instance().hasInterface(port + 1))
    return LearnResult::unknownPort;
  return active->learn(port, mac, vlan);
}

}  // namespace sim
