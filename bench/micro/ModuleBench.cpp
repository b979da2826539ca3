// Micro-benchmarks of the module's operations on the simulated node, in one
// process: static add and delete against a growing entries cache, a walk of
// the driver's table, and the diagnostic dump. Run by bench/run.sh only.
#include <benchmark/benchmark.h>

#include <cstring>
#include <list>
#include <new>
#include <sstream>

#include "PortSecurity.h"
#include "SimHost.h"

namespace {

const unsigned int kPort = 2;
const unsigned int kBuckets = 4096;

PortSecurity::macEntry_t entryNumber(uint32_t n) {
  PortSecurity::macEntry_t entry = {};
  entry.vlan = static_cast<unsigned short>(10 + n % 2);
  const uint8_t mac[6] = {0x02,      0x10, uint8_t(n >> 24), uint8_t(n >> 16), uint8_t(n >> 8),
                          uint8_t(n)};
  std::memcpy(entry.mac, mac, sizeof mac);
  return entry;
}

// A small node and a fresh entity, built the way the host builds its singleton.
class World {
 public:
  World() {
    sim::reset();
    sim::LogRecorder::instance().setEcho(false);
    sim::Node& node = sim::Node::instance();
    node.addInterface({1, Interfaces::IF_TYPE_MANAGEMENT, "mgmt0"});
    node.addInterface({kPort, Interfaces::IF_TYPE_ETHERNET, "ge1"});
    node.addInterface({3, Interfaces::IF_TYPE_ETHERNET, "ge2"});
    node.addVlanQuietly(10);
    node.addVlanQuietly(11);
    node.setManagement(sim::ManagementConfig{1, {0x02, 0, 0, 0, 0, 0x01}, 10});
    sim::Driver::instance().setBucketCount(kBuckets);
    sim::Driver::instance().setCommandLogCapacity(1024);
    std::memset(storage, 0, sizeof storage);
    entity = new (storage) PortSecurity();
  }
  ~World() {
    entity->~PortSecurity();
    sim::reset();
  }
  PortSecurity& ps() { return *entity; }

 private:
  alignas(PortSecurity) unsigned char storage[sizeof(PortSecurity)];
  PortSecurity* entity;
};

bool fillStatic(World& world, uint32_t count, benchmark::State& state) {
  if (world.ps().setLimitStaticMACs(kPort, count + 16) != 0) {
    state.SkipWithError("static limit refused");
    return false;
  }
  for (uint32_t n = 0; n < count; ++n)
    if (world.ps().addStaticEntryApi(kPort, entryNumber(n)) != 0) {
      state.SkipWithError("static add refused");
      return false;
    }
  return true;
}

// One add and one delete of the same entry on top of `range(0)` cached
// entries, so the cache keeps its size over the iterations.
void StaticAddDelete(benchmark::State& state) {
  World world;
  const uint32_t cached = static_cast<uint32_t>(state.range(0));
  if (!fillStatic(world, cached, state)) return;
  const PortSecurity::macEntry_t extra = entryNumber(cached + 1);
  for (auto _ : state) {
    if (world.ps().addStaticEntryApi(kPort, extra) != 0 ||
        world.ps().delStaticEntryApi(kPort, extra) != 0) {
      state.SkipWithError("add or delete refused");
      break;
    }
  }
  state.counters["cached"] = cached;
}
// Filling the cache costs O(N^2) (about two minutes for 100k), so each size
// runs a fixed number of times.
BENCHMARK(StaticAddDelete)
    ->Arg(100)
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(30000)
    ->Arg(100000)
    ->Iterations(200)
    ->Unit(benchmark::kMicrosecond);

// The learned-address report of one port: a walk of the whole driver table.
void TableWalk(benchmark::State& state) {
  World world;
  const uint32_t entries = static_cast<uint32_t>(state.range(0));
  for (uint32_t n = 0; n < entries; ++n) {
    const PortSecurity::macEntry_t e = entryNumber(n);
    sim::MacAddress mac;
    std::memcpy(mac.data(), e.mac, mac.size());
    sim::Driver::instance().learn(kPort, mac, e.vlan);
  }
  for (auto _ : state) {
    std::list<PortSecurity::macEntry_t> out;
    if (world.ps().getDynamicMACs(kPort, out) != 0 || out.size() != entries) {
      state.SkipWithError("walk failed");
      break;
    }
  }
  state.counters["entries"] = entries;
}
// Size 0 is all failed commands, one per bucket: the cost of a command alone.
BENCHMARK(TableWalk)
    ->Arg(0)
    ->RangeMultiplier(4)
    ->Range(1024, 262144)
    ->Unit(benchmark::kMillisecond);

// The operator's diagnostic dump of the entries cache and the static entries.
void DiagnosticDump(benchmark::State& state) {
  World world;
  const uint32_t cached = static_cast<uint32_t>(state.range(0));
  if (!fillStatic(world, cached, state)) return;
  for (auto _ : state) {
    std::ostringstream out;
    world.ps().externalMessage("portSecurity", "macEntries", &out);
    benchmark::DoNotOptimize(out.str().size());
  }
  state.counters["cached"] = cached;
}
BENCHMARK(DiagnosticDump)
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(30000)
    ->Iterations(5)
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
