// The simulated driver's MAC table: entries hashed by (MAC, VLAN) into a
// configurable number of buckets, each bucket a chain in insertion order.
// Not thread-safe: the driver guards it.
#pragma once

#include <cstdint>
#include <vector>

#include "MacAddress.h"

namespace sim {

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

  // Drops every entry; the bucket count stays.
  void clear();

  uint32_t bucketCount() const { return buckets; }
  // Rehashes the entries into `count` chains, keeping their relative order.
  // With no buckets the table shows nothing, though it keeps its entries.
  void setBucketCount(uint32_t count);
  // The bucket that (mac, vlan) hashes to; 0 when there are no buckets.
  uint32_t bucketOf(const MacAddress& mac, uint16_t vlan) const;

  // The entry at `position` of the chain of `bucket`; null past the chain's
  // end or for a bucket out of range.
  const MacTableEntry* at(uint32_t bucket, uint32_t position) const;
  MacTableEntry* find(const MacAddress& mac, uint16_t vlan);
  // Appends to the end of its chain; the caller makes sure (mac, vlan) is new.
  void append(const MacTableEntry& entry);
  bool erase(const MacAddress& mac, uint16_t vlan);

  unsigned int countDynamic(uint32_t port) const;
  unsigned int countDynamic(uint32_t port, uint16_t vlan) const;
  // Turns every dynamic entry of the port into a static one.
  void makeStatic(uint32_t port);

  std::vector<std::vector<MacTableEntry>> chains() const;

 private:
  // All entries in insertion order: a chain is the subsequence that hashes
  // to its bucket, which keeps chains ordered across rehashing.
  std::vector<MacTableEntry> entries;
  uint32_t buckets;
};

}  // namespace sim
