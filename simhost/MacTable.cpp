#include "MacTable.h"

#include <algorithm>

namespace sim {

MacTable::MacTable() : buckets(kDefaultBucketCount) {}

void MacTable::clear() { entries.clear(); }

void MacTable::setBucketCount(uint32_t count) { buckets = count; }

uint32_t MacTable::bucketOf(const MacAddress& mac, uint16_t vlan) const {
  if (buckets == 0) return 0;
  uint32_t hash = vlan;
  for (uint8_t byte : mac) hash = hash * 31 + byte;
  return hash % buckets;
}

const MacTableEntry* MacTable::at(uint32_t bucket, uint32_t position) const {
  if (bucket >= buckets) return nullptr;
  uint32_t seen = 0;
  for (const MacTableEntry& entry : entries) {
    if (bucketOf(entry.mac, entry.vlan) != bucket) continue;
    if (seen == position) return &entry;
    ++seen;
  }
  return nullptr;
}

MacTableEntry* MacTable::find(const MacAddress& mac, uint16_t vlan) {
  for (MacTableEntry& entry : entries)
    if (entry.mac == mac && entry.vlan == vlan) return &entry;
  return nullptr;
}

void MacTable::append(const MacTableEntry& entry) { entries.push_back(entry); }

bool MacTable::erase(const MacAddress& mac, uint16_t vlan) {
  auto found = std::find_if(entries.begin(), entries.end(), [&](const MacTableEntry& entry) {
    return entry.mac == mac && entry.vlan == vlan;
  });
  if (found == entries.end()) return false;
  entries.erase(found);
  return true;
}

unsigned int MacTable::countDynamic(uint32_t port) const {
  return static_cast<unsigned int>(std::count_if(
      entries.begin(), entries.end(),
      [port](const MacTableEntry& entry) { return !entry.isStatic && entry.port == port; }));
}

unsigned int MacTable::countDynamic(uint32_t port, uint16_t vlan) const {
  return static_cast<unsigned int>(
      std::count_if(entries.begin(), entries.end(), [port, vlan](const MacTableEntry& entry) {
        return !entry.isStatic && entry.port == port && entry.vlan == vlan;
      }));
}

void MacTable::makeStatic(uint32_t port) {
  for (MacTableEntry& entry : entries)
    if (entry.port == port) entry.isStatic = true;
}

std::vector<std::vector<MacTableEntry>> MacTable::chains() const {
  std::vector<std::vector<MacTableEntry>> result(buckets);
  for (const MacTableEntry& entry : entries) {
    if (buckets == 0) break;
    result[bucketOf(entry.mac, entry.vlan)].push_back(entry);
  }
  return result;
}

}  // namespace sim
