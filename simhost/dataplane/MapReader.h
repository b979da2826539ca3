// Whole-map reads and erasures of the data plane's hash maps, in batches of
// one system call each. Safe from any thread, as the kernel's maps are; what
// a concurrent writer changes during a read may or may not be seen.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

namespace sim {

// Every (key, value) of the hash map `fd`; false and errno set on failure.
bool readMapBytes(int fd, uint32_t keySize, uint32_t valueSize, std::vector<uint8_t>& keys,
                  std::vector<uint8_t>& values);

// Deletes every entry of the hash map `fd`; false and errno set on failure.
bool eraseMap(int fd, uint32_t keySize);

template <class Key, class Value>
bool readMap(int fd, std::vector<std::pair<Key, Value>>& out) {
  std::vector<uint8_t> keys, values;
  if (!readMapBytes(fd, sizeof(Key), sizeof(Value), keys, values)) return false;
  const size_t count = keys.size() / sizeof(Key);
  out.resize(count);
  for (size_t i = 0; i < count; ++i) {
    std::memcpy(&out[i].first, keys.data() + i * sizeof(Key), sizeof(Key));
    std::memcpy(&out[i].second, values.data() + i * sizeof(Value), sizeof(Value));
  }
  return true;
}

}  // namespace sim
