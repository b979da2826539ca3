// The simulated driver's MAC table: entries hashed by (MAC, VLAN) into a
// configurable number of buckets, each bucket a chain in insertion order.
// Every lookup, insert, delete and count costs O(1) amortised (a delete also
// scans its own chain), so a walk of the whole table costs O(entries +
// buckets). Not thread-safe: the driver guards it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "MacAddress.h"

namespace sim {

// The bucket that (mac, vlan) hashes to among `buckets`; 0 when there are none.
uint32_t bucketOf(const MacAddress& mac, uint16_t vlan, uint32_t buckets);

struct MacTableEntry {
  MacAddress mac = {};
  uint16_t vlan = 0;
  uint32_t port = 0;
  bool isStatic = false;
};

class MacTable {
 public:
  static const uint32_t kDefaultBucketCount = 16;

  MacTable();
  MacTable(const MacTable&) = delete;
  MacTable& operator=(const MacTable&) = delete;

  // Drops every entry; the bucket count stays.
  void clear();
  size_t size() const { return index.size(); }

  uint32_t bucketCount() const { return buckets; }
  // Rehashes the entries into `count` chains, keeping their relative order.
  // With no buckets the table shows nothing, though it keeps its entries.
  void setBucketCount(uint32_t count);
  // The bucket that (mac, vlan) hashes to; 0 when there are no buckets.
  uint32_t bucketOf(const MacAddress& mac, uint16_t vlan) const;

  // The entry at `position` of the chain of `bucket`; null past the chain's
  // end or for a bucket out of range. Inline: one call per walk command.
  const MacTableEntry* at(uint32_t bucket, uint32_t position) const {
    if (bucket >= chainSlots.size() || position >= chainSlots[bucket].size()) return nullptr;
    return &chainSlots[bucket][position]->entry;
  }
  const MacTableEntry* find(const MacAddress& mac, uint16_t vlan) const;
  // Appends to the end of its chain; the caller makes sure (mac, vlan) is new.
  void append(const MacTableEntry& entry);
  // Gives the entry of (mac, vlan) a new port and kind in place: its chain
  // position stays. False when there is no such entry.
  bool assign(const MacAddress& mac, uint16_t vlan, uint32_t port, bool isStatic);
  bool erase(const MacAddress& mac, uint16_t vlan);

  unsigned int countDynamic(uint32_t port) const;
  unsigned int countDynamic(uint32_t port, uint16_t vlan) const;
  // Turns every dynamic entry of the port into a static one.
  void makeStatic(uint32_t port);

  std::vector<std::vector<MacTableEntry>> chains() const;

 private:
  struct Slot {
    MacTableEntry entry;
    // Insertion order across the whole table, so that a rehash can rebuild
    // every chain in the order its entries arrived.
    uint64_t sequence = 0;
  };

  static uint64_t keyOf(const MacAddress& mac, uint16_t vlan);
  static uint64_t portVlanKey(uint32_t port, uint16_t vlan);
  void countIn(Slot* slot);
  void countOut(Slot* slot);
  void rebuildChains();

  // Owns the entries; node addresses stay put, so the chains and the
  // per-port sets point into it.
  std::unordered_map<uint64_t, Slot> index;
  std::vector<std::vector<Slot*>> chainSlots;
  std::unordered_map<uint32_t, std::unordered_set<Slot*>> dynamicByPort;
  std::unordered_map<uint64_t, unsigned int> dynamicByPortVlan;
  uint32_t buckets;
  uint64_t nextSequence;
};

}  // namespace sim
