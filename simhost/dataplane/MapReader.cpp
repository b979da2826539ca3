#include "MapReader.h"

#include <bpf/bpf.h>

#include <cerrno>

namespace sim {

bool readMapBytes(int fd, uint32_t keySize, uint32_t valueSize, std::vector<uint8_t>& keys,
                  std::vector<uint8_t>& values) {
  keys.clear();
  values.clear();
  // A hash map's batch cursor is a bucket index; a chunk must hold the
  // largest bucket, so it grows when the kernel says it is too small.
  uint32_t chunk = 4096;
  uint64_t cursor = 0, next = 0;
  bool first = true;
  for (;;) {
    const size_t at = keys.size() / keySize;
    keys.resize((at + chunk) * keySize);
    values.resize((at + chunk) * valueSize);
    __u32 count = chunk;
    LIBBPF_OPTS(bpf_map_batch_opts, options);
    const int error =
        bpf_map_lookup_batch(fd, first ? nullptr : &cursor, &next, keys.data() + at * keySize,
                             values.data() + at * valueSize, &count, &options);
    keys.resize((at + count) * keySize);
    values.resize((at + count) * valueSize);
    if (error == -ENOENT) return true;  // the last batch
    if (error == -ENOSPC && count == 0) {
      chunk *= 2;
      continue;
    }
    if (error != 0) {
      errno = -error;
      return false;
    }
    cursor = next;
    first = false;
  }
}

bool eraseMap(int fd, uint32_t keySize) {
  std::vector<uint8_t> next(keySize);
  // Always delete the first key: the map's order changes as it shrinks.
  while (bpf_map_get_next_key(fd, nullptr, next.data()) == 0)
    if (bpf_map_delete_elem(fd, next.data()) != 0 && errno != ENOENT) return false;
  return errno == ENOENT;
}

}  // namespace sim
