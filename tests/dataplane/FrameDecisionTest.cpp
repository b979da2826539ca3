// The kernel program on crafted frames, run by the kernel's own test runner
// (BPF_PROG_TEST_RUN) on a table that guards the loopback device: how it
// reads tags, which frames it never learns, and that it decides like the
// simulated table over a long mixed sequence of frames and commands.
#include <bpf/bpf.h>
#include <bpf/libbpf.h>
#include <linux/pkt_cls.h>

#include <random>

#include <gtest/gtest.h>

#include "DataplaneTable.h"
#include "FrameWire.h"
#include "SimulatedTable.h"
#include "dataplane.h"

namespace {

using dataplane::Mac;
using dataplane::station;
using dataplane::testFrame;

const unsigned int kInterface = 2;  // driver port 1
const uint16_t kPvid = 7;

class FrameDecisionTest : public ::testing::Test {
 protected:
  FrameDecisionTest()
      : program(std::make_shared<sim::DataplaneProgram>(kCapacity, 1)),
        table(program, {device()}, 8),
        simulated(settings) {
    simulated.setEntryCapacity(kCapacity);
    simulated.setBucketCount(8);
  }

  static sim::GuardedDevice device() {
    sim::GuardedDevice lo;
    lo.id = kInterface;
    lo.netdev = "lo";
    lo.ifindex = 1;  // the device the test runner hands frames in on
    lo.pvid = kPvid;
    return lo;
  }

  // The verdict counter that the frame moved, and the action taken.
  sim::LearnResult run(const std::vector<uint8_t>& frame, int* action = nullptr) {
    const std::vector<uint64_t> before = counters();
    LIBBPF_OPTS(bpf_test_run_opts, options, .data_in = frame.data(),
                .data_size_in = static_cast<__u32>(frame.size()));
    EXPECT_EQ(0, bpf_prog_test_run_opts(program->ingressProgram(), &options));
    if (action != nullptr) *action = static_cast<int>(options.retval);
    const std::vector<uint64_t> after = counters();
    for (uint32_t verdict = PS_KNOWN; verdict <= PS_UNLEARNABLE; ++verdict)
      if (after[verdict] != before[verdict])
        return verdict == PS_KNOWN        ? sim::LearnResult::known
               : verdict == PS_LEARNED    ? sim::LearnResult::learned
               : verdict == PS_VIOLATION  ? sim::LearnResult::violation
               : verdict == PS_TABLE_FULL ? sim::LearnResult::tableFull
                                          : sim::LearnResult::unlearnable;
    ADD_FAILURE() << "no verdict counted";
    return sim::LearnResult::unknownPort;
  }

  // Summed over the CPUs.
  std::vector<uint64_t> counters() const {
    std::vector<uint64_t> sums(PS_COUNTERS, 0);
    std::vector<uint64_t> perCpu(libbpf_num_possible_cpus());
    for (uint32_t counter = 0; counter < PS_COUNTERS; ++counter) {
      bpf_map_lookup_elem(program->maps().frameCounts, &counter, perCpu.data());
      for (uint64_t value : perCpu) sums[counter] += value;
    }
    return sums;
  }

  void guard(uint32_t dynamicLimit) {
    sim::DriverInterfaceState on;
    on.enabled = on.hasDynamicLimit = true;
    on.dynamicLimit = dynamicLimit;
    ASSERT_EQ(0, table.publishGlobalState(true));
    ASSERT_EQ(0, table.publishInterface(kInterface, {}, on));
  }

  // Each entry as bucket:position mac/vlan/port/kind.
  static std::string walkText(const std::vector<std::vector<sim::MacTableEntry>>& chains) {
    std::string text;
    for (size_t bucket = 0; bucket < chains.size(); ++bucket)
      for (size_t at = 0; at < chains[bucket].size(); ++at) {
        const sim::MacTableEntry& e = chains[bucket][at];
        text += std::to_string(bucket) + ":" + std::to_string(at) + " " + std::to_string(e.mac[5]) +
                "/" + std::to_string(e.vlan) + "/" + std::to_string(e.port) +
                (e.isStatic ? "s " : "d ");
      }
    return text;
  }

  std::vector<sim::MacTableEntry> entries() {
    std::vector<sim::MacTableEntry> all;
    for (const auto& chain : table.chains()) all.insert(all.end(), chain.begin(), chain.end());
    return all;
  }

  static constexpr uint32_t kCapacity = 6;
  std::shared_ptr<sim::DataplaneProgram> program;
  sim::DataplaneTable table;
  sim::DriverSettings settings;
  sim::SimulatedTable simulated;
};

TEST_F(FrameDecisionTest, TagsInThePacketGiveTheVlanAndUntaggedFramesThePvid) {
  std::vector<uint8_t> sTagged = testFrame(station(4), 300, 4);
  sTagged[12] = 0x88, sTagged[13] = 0xa8;  // one 802.1ad tag
  for (const auto& frame : {testFrame(station(1), 0, 1), testFrame(station(2), 100, 2),
                            testFrame(station(3), 0, 3), sTagged})
    EXPECT_EQ(sim::LearnResult::learned, run(frame));
  std::vector<uint8_t> priorityTagged = testFrame(station(3), 0, 5);
  priorityTagged.insert(priorityTagged.begin() + 12, {0x81, 0x00, 0xa0, 0x00});  // VID 0
  EXPECT_EQ(sim::LearnResult::known, run(priorityTagged));

  std::vector<std::pair<Mac, uint16_t>> learned;
  for (const sim::MacTableEntry& entry : entries()) {
    learned.push_back({entry.mac, entry.vlan});
    EXPECT_EQ(kInterface - 1, entry.port);
    EXPECT_FALSE(entry.isStatic);
  }
  std::sort(learned.begin(), learned.end());
  EXPECT_EQ((std::vector<std::pair<Mac, uint16_t>>{
                {station(1), kPvid}, {station(2), 100}, {station(3), kPvid}, {station(4), 300}}),
            learned);
}

TEST_F(FrameDecisionTest, FramesNoTableLearnsAreDroppedOnlyWhenGuardedAndTakeNoSlot) {
  std::vector<uint8_t> runt = testFrame(station(1), 100, 1);
  runt.resize(16);  // the tag cut short
  std::vector<uint8_t> qinq = testFrame(station(2), 100, 2, 2);
  qinq[12] = 0x88, qinq[13] = 0xa8;
  Mac group = station(3), zero = {};
  group[0] = 0x01;
  const std::vector<std::vector<uint8_t>> never = {runt,
                                                   testFrame(station(2), 100, 2, 2),
                                                   qinq,
                                                   testFrame(group, 100, 3),
                                                   testFrame(zero, 100, 4),
                                                   testFrame(station(5), 4095, 5)};
  for (const bool guarded : {false, true}) {
    if (guarded) guard(1);
    for (const auto& frame : never) {
      int action = -1;
      EXPECT_EQ(sim::LearnResult::unlearnable, run(frame, &action));
      EXPECT_EQ(guarded ? TC_ACT_SHOT : TC_ACT_OK, action);
    }
  }
  EXPECT_TRUE(entries().empty());
  // None of them took the one slot the limit leaves.
  EXPECT_EQ(sim::LearnResult::learned, run(testFrame(station(6), 100, 6)));
  EXPECT_EQ(sim::LearnResult::violation, run(testFrame(station(7), 100, 7)));
}

// Frames and commands drawn at random, on both tables: every frame's
// decision, every command's answer, the last violations and the walk agree.
TEST_F(FrameDecisionTest, DecidesEveryFrameAndCommandAsTheSimulatedTableDoes) {
  std::mt19937 random(20261125);
  const auto pick = [&random](unsigned int n) { return random() % n; };
  const uint16_t vlans[] = {kPvid, 100, 200};
  sim::DriverSettings previous;
  for (int step = 0; step < 3000; ++step) {
    const Mac mac = station(1 + pick(9));
    const uint16_t vlan = vlans[pick(3)];
    const uint32_t port = kInterface - 1;
    sim::DriverInterfaceState& intf = settings.interfaces[kInterface];
    switch (pick(10)) {
      case 0:
        settings.enabled = pick(4) != 0;
        ASSERT_EQ(0, table.publishGlobalState(settings.enabled));
        break;
      case 1:
        intf.enabled = pick(4) != 0;
        intf.hasDynamicLimit = pick(3) != 0;
        intf.dynamicLimit = pick(5);
        if (pick(2) == 0) intf.vlanLimits[vlan] = pick(3);
        if (pick(3) == 0) intf.vlanLimits.erase(vlans[pick(3)]);
        ASSERT_EQ(0, table.publishInterface(kInterface, previous.interfaceState(kInterface), intf));
        break;
      case 2:
        ASSERT_EQ(simulated.addStatic(port, mac, vlan), table.addStatic(port, mac, vlan)) << step;
        break;
      case 3:
        ASSERT_EQ(simulated.deleteStatic(port, mac, vlan), table.deleteStatic(port, mac, vlan))
            << step;
        break;
      case 4:
        ASSERT_EQ(simulated.moveToStatic(port), table.moveToStatic(port));
        break;
      default: {
        const sim::LearnResult expected = simulated.learn(port, mac, vlan);
        const std::vector<uint8_t> frame = testFrame(mac, vlan == kPvid ? 0 : vlan, step);
        ASSERT_EQ(static_cast<int>(expected), static_cast<int>(run(frame))) << "step " << step;
      }
    }
    previous = settings;
    sim::DriverViolation seen, expected;
    ASSERT_EQ(simulated.lastViolation(kInterface, expected), table.lastViolation(kInterface, seen));
    EXPECT_EQ(expected.mac, seen.mac);
    EXPECT_EQ(expected.vlan, seen.vlan);
    ASSERT_EQ(walkText(simulated.chains()), walkText(table.chains())) << "step " << step;
  }
}

}  // namespace
