#include "MacTable.h"

#include <algorithm>

namespace sim {

MacTable::MacTable()
    : chainSlots(kDefaultBucketCount), buckets(kDefaultBucketCount), nextSequence(0) {}

uint64_t MacTable::keyOf(const MacAddress& mac, uint16_t vlan) {
  uint64_t key = vlan;
  for (uint8_t byte : mac) key = key << 8 | byte;
  return key;
}

uint64_t MacTable::portVlanKey(uint32_t port, uint16_t vlan) {
  return static_cast<uint64_t>(port) << 16 | vlan;
}

void MacTable::clear() {
  index.clear();
  for (std::vector<Slot*>& chain : chainSlots) chain.clear();
  dynamicByPort.clear();
  dynamicByPortVlan.clear();
}

void MacTable::setBucketCount(uint32_t count) {
  buckets = count;
  rebuildChains();
}

void MacTable::rebuildChains() {
  std::vector<Slot*> ordered;
  ordered.reserve(index.size());
  for (auto& item : index) ordered.push_back(&item.second);
  std::sort(ordered.begin(), ordered.end(),
            [](const Slot* a, const Slot* b) { return a->sequence < b->sequence; });
  chainSlots.assign(buckets, std::vector<Slot*>());
  if (buckets == 0) return;
  for (Slot* slot : ordered)
    chainSlots[bucketOf(slot->entry.mac, slot->entry.vlan)].push_back(slot);
}

uint32_t MacTable::bucketOf(const MacAddress& mac, uint16_t vlan) const {
  return sim::bucketOf(mac, vlan, buckets);
}

uint32_t bucketOf(const MacAddress& mac, uint16_t vlan, uint32_t buckets) {
  if (buckets == 0) return 0;
  uint32_t hash = vlan;
  for (uint8_t byte : mac) hash = hash * 31 + byte;
  return hash % buckets;
}

const MacTableEntry* MacTable::find(const MacAddress& mac, uint16_t vlan) const {
  auto found = index.find(keyOf(mac, vlan));
  return found == index.end() ? nullptr : &found->second.entry;
}

void MacTable::append(const MacTableEntry& entry) {
  Slot& slot = index[keyOf(entry.mac, entry.vlan)];
  slot.entry = entry;
  slot.sequence = nextSequence++;
  if (buckets != 0) chainSlots[bucketOf(entry.mac, entry.vlan)].push_back(&slot);
  countIn(&slot);
}

bool MacTable::assign(const MacAddress& mac, uint16_t vlan, uint32_t port, bool isStatic) {
  auto found = index.find(keyOf(mac, vlan));
  if (found == index.end()) return false;
  Slot* slot = &found->second;
  countOut(slot);
  slot->entry.port = port;
  slot->entry.isStatic = isStatic;
  countIn(slot);
  return true;
}

bool MacTable::erase(const MacAddress& mac, uint16_t vlan) {
  auto found = index.find(keyOf(mac, vlan));
  if (found == index.end()) return false;
  Slot* slot = &found->second;
  countOut(slot);
  if (buckets != 0) {
    std::vector<Slot*>& chain = chainSlots[bucketOf(mac, vlan)];
    chain.erase(std::find(chain.begin(), chain.end(), slot));
  }
  index.erase(found);
  return true;
}

void MacTable::countIn(Slot* slot) {
  if (slot->entry.isStatic) return;
  dynamicByPort[slot->entry.port].insert(slot);
  ++dynamicByPortVlan[portVlanKey(slot->entry.port, slot->entry.vlan)];
}

void MacTable::countOut(Slot* slot) {
  if (slot->entry.isStatic) return;
  auto port = dynamicByPort.find(slot->entry.port);
  port->second.erase(slot);
  if (port->second.empty()) dynamicByPort.erase(port);
  auto portVlan = dynamicByPortVlan.find(portVlanKey(slot->entry.port, slot->entry.vlan));
  if (--portVlan->second == 0) dynamicByPortVlan.erase(portVlan);
}

unsigned int MacTable::countDynamic(uint32_t port) const {
  auto found = dynamicByPort.find(port);
  return found == dynamicByPort.end() ? 0 : static_cast<unsigned int>(found->second.size());
}

unsigned int MacTable::countDynamic(uint32_t port, uint16_t vlan) const {
  auto found = dynamicByPortVlan.find(portVlanKey(port, vlan));
  return found == dynamicByPortVlan.end() ? 0 : found->second;
}

void MacTable::makeStatic(uint32_t port) {
  auto found = dynamicByPort.find(port);
  if (found == dynamicByPort.end()) return;
  for (Slot* slot : found->second) {
    slot->entry.isStatic = true;
    auto portVlan = dynamicByPortVlan.find(portVlanKey(port, slot->entry.vlan));
    if (--portVlan->second == 0) dynamicByPortVlan.erase(portVlan);
  }
  dynamicByPort.erase(found);
}

std::vector<std::vector<MacTableEntry>> MacTable::chains() const {
  std::vector<std::vector<MacTableEntry>> result(chainSlots.size());
  for (size_t bucket = 0; bucket < chainSlots.size(); ++bucket) {
    result[bucket].reserve(chainSlots[bucket].size());
    for (const Slot* slot : chainSlots[bucket]) result[bucket].push_back(slot->entry);
  }
  return result;
}

}  // namespace sim
