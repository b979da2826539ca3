// The simulated bridge driver, driven as the module drives it: descriptors
// from br_open, commands through the real ioctl, and close.
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "DriverRecords.h"
#include "SimHost.h"
#include "bridge.h"

namespace {

using namespace psdriver;
using sim::LearnResult;
typedef std::vector<std::vector<sim::MacTableEntry>> Chains;

sim::MacAddress macOf(uint8_t last) { return sim::MacAddress{0x00, 0x11, 0x22, 0x33, 0x44, last}; }

// A zeroed record for interface `intf`.
template <class Record>
Record recordFor(const std::string& intf) {
  Record record;
  std::memset(&record, 0, sizeof record);
  std::snprintf(record.intf, sizeof record.intf, "%s", intf.c_str());
  return record;
}

class SimDriverTest : public ::testing::Test {
 protected:
  void SetUp() override {
    sim::reset();
    for (unsigned int id = 1; id <= 6; ++id)
      sim::Node::instance().addInterface({id, Interfaces::IF_TYPE_ETHERNET, "eth", true, false});
    handle = br_open("br0", "mac_table");
    ASSERT_GE(handle, 0);
  }
  void TearDown() override {
    ::close(handle);
    sim::reset();
  }

  static sim::Driver& driver() { return sim::Driver::instance(); }
  static LearnResult learn(uint32_t port, uint8_t last, uint16_t vlan) {
    return driver().learn(port, macOf(last), vlan);
  }
  int send(unsigned long code, void* record) { return ::ioctl(handle, code, record); }

  int setState(unsigned long on) { return ::ioctl(handle, PSIOC_SET_STATE, on); }
  int setIntfState(const std::string& intf, uint32_t on) {
    psIntfStateArg_t record = recordFor<psIntfStateArg_t>(intf);
    record.state = on;
    return send(PSIOC_SET_INTF_STATE, &record);
  }
  int setLimit(const std::string& intf, uint32_t kind, uint32_t limit) {
    psIntfLimitArg_t record = recordFor<psIntfLimitArg_t>(intf);
    record.kind = kind;
    record.limit = limit;
    return send(PSIOC_SET_INTF_LIMIT, &record);
  }
  int vlanLimit(unsigned long code, const std::string& intf, uint16_t vlan, uint32_t limit) {
    psVlanLimitArg_t record = recordFor<psVlanLimitArg_t>(intf);
    record.vlan = vlan;
    record.limit = limit;
    return send(code, &record);
  }
  int staticEntry(unsigned long code, const std::string& intf, uint8_t last, uint16_t vlan) {
    psMacArg_t record = recordFor<psMacArg_t>(intf);
    std::memcpy(record.mac, macOf(last).data(), sizeof record.mac);
    record.vlan = vlan;
    record.isStatic = 1;
    return send(code, &record);
  }

  int handle = -1;
};

TEST_F(SimDriverTest, MalformedCommandsAreRefusedAndChangeNothing) {
  EXPECT_EQ(LearnResult::unknownPort, learn(6, 3, 5));  // a port of no interface
  EXPECT_EQ(-1, setLimit("99", PS_LIMIT_DYNAMIC, 5));
  EXPECT_EQ(ENODEV, errno);
  for (const char* intf : {"x1", "03", ""}) EXPECT_EQ(-1, setLimit(intf, PS_LIMIT_DYNAMIC, 5));
  EXPECT_EQ(-1, setLimit("3", 2, 5));
  psIntfStateArg_t unterminated;
  std::memset(&unterminated, '3', sizeof unterminated);
  EXPECT_EQ(-1, send(PSIOC_SET_INTF_STATE, &unterminated));
  EXPECT_EQ(-1, send(_IOC(_IOC_WRITE, 'z', 41, 4), &unterminated));
  EXPECT_EQ(-1, send(PSIOC_ADD_STATIC, nullptr));
  EXPECT_EQ(-1, setState(2));
  const sim::DriverInterfaceState state = driver().interfaceState(3);
  EXPECT_FALSE(state.hasDynamicLimit || state.hasStaticLimit || state.enabled);
  EXPECT_FALSE(driver().globalState());
}

TEST_F(SimDriverTest, OpensOnlyTheTableHandleAndLeavesOtherDescriptorsToTheSystem) {
  EXPECT_LT(br_open("br1", "mac_table"), 0);
  EXPECT_LT(br_open("br0", "other_table"), 0);
  EXPECT_EQ(1u, driver().openHandles());
  int pipeEnds[2];
  ASSERT_EQ(0, ::pipe(pipeEnds));
  driver().clearCommands();
  psTableInfoArg_t info = {};
  // The system answers as it would without the development host (ENOTTY
  // from a kernel; an emulator may say ENOSYS for a code it does not know).
  errno = 0;
  ASSERT_EQ(-1, ::syscall(SYS_ioctl, pipeEnds[0], PSIOC_GET_TABLE_INFO, &info));
  const int systemAnswer = errno;
  EXPECT_EQ(-1, ::ioctl(pipeEnds[0], PSIOC_GET_TABLE_INFO, &info));
  EXPECT_EQ(systemAnswer, errno);
  EXPECT_TRUE(driver().commands().empty());
  ::close(pipeEnds[0]);
  ::close(pipeEnds[1]);
  EXPECT_EQ(1u, driver().openHandles());
}

// The table as one list in insertion order, each chain the entries hashing
// to its bucket, and counts made by scanning: slow, and plainly right.
struct ReferenceTable {
  std::vector<sim::MacTableEntry> entries;
  uint32_t buckets = sim::MacTable::kDefaultBucketCount;
  std::map<uint32_t, uint32_t> dynamicLimits;                    // by port
  std::map<std::pair<uint32_t, uint16_t>, uint32_t> vlanLimits;  // by port and VLAN

  sim::MacTableEntry* find(uint8_t last, uint16_t vlan) {
    for (sim::MacTableEntry& entry : entries)
      if (entry.mac == macOf(last) && entry.vlan == vlan) return &entry;
    return nullptr;
  }
  // Dynamic entries of `port`, in `vlan` unless it is 0.
  uint32_t dynamicOn(uint32_t port, uint16_t vlan = 0) const {
    uint32_t count = 0;
    for (const sim::MacTableEntry& e : entries)
      count += !e.isStatic && e.port == port && (vlan == 0 || e.vlan == vlan);
    return count;
  }
  LearnResult learn(uint32_t port, uint8_t last, uint16_t vlan) {
    sim::MacTableEntry* existing = find(last, vlan);
    if (existing != nullptr && (existing->isStatic || existing->port == port))
      return LearnResult::known;
    const auto limit = dynamicLimits.find(port);
    const auto perVlan = vlanLimits.find({port, vlan});
    if ((limit != dynamicLimits.end() && dynamicOn(port) >= limit->second) ||
        (perVlan != vlanLimits.end() && dynamicOn(port, vlan) >= perVlan->second))
      return LearnResult::violation;
    put({macOf(last), vlan, port, false});
    return LearnResult::learned;
  }
  // Replaces the entry of the same MAC and VLAN in place, or appends.
  void put(const sim::MacTableEntry& entry) {
    sim::MacTableEntry* existing = find(entry.mac[5], entry.vlan);
    if (existing != nullptr)
      *existing = entry;
    else
      entries.push_back(entry);
  }
  int deleteStatic(uint32_t port, uint8_t last, uint16_t vlan) {
    sim::MacTableEntry* existing = find(last, vlan);
    if (existing == nullptr || !existing->isStatic || existing->port != port) return ENOENT;
    entries.erase(entries.begin() + (existing - entries.data()));
    return 0;
  }
  Chains chains() const {
    Chains result(buckets);
    for (const sim::MacTableEntry& entry : entries)
      if (buckets != 0)
        result[sim::Driver::instance().bucketOf(entry.mac, entry.vlan)].push_back(entry);
    return result;
  }
};

// "<last>/<vlan>@<port>[s]" per entry, "|" after each chain.
std::string text(const Chains& chains) {
  std::string out;
  for (const auto& chain : chains) {
    for (const sim::MacTableEntry& e : chain)
      out += std::to_string(e.mac[5]) + "/" + std::to_string(e.vlan) + "@" +
             std::to_string(e.port) + (e.isStatic ? "s " : " ");
    out += "| ";
  }
  return out;
}

// Random frames, static adds and deletes, moves to static and rehashes, on a
// small address space so that entries collide, move and come back; after
// every step the driver's chains, positions and refusals match the reference.
TEST_F(SimDriverTest, TableMatchesAPlainReferenceThroughRandomCommands) {
  ReferenceTable reference;
  ASSERT_EQ(0, setState(1));
  ASSERT_EQ(0, setIntfState("2", 1));
  ASSERT_EQ(0, setIntfState("4", 1));
  ASSERT_EQ(0, setLimit("2", PS_LIMIT_DYNAMIC, 6));
  ASSERT_EQ(0, setLimit("4", PS_LIMIT_DYNAMIC, 3));
  reference.dynamicLimits = {{1, 6}, {3, 3}};
  ASSERT_EQ(0, vlanLimit(PSIOC_SET_VLAN_LIMIT, "2", 2, 2));
  reference.vlanLimits = {{{1, 2}, 2}};
  std::mt19937 random(16);
  auto pick = [&](uint32_t n) { return static_cast<uint32_t>(random() % n); };
  for (int step = 0; step < 4000; ++step) {
    const uint32_t port = pick(5);
    const uint8_t last = static_cast<uint8_t>(pick(24));
    const uint16_t vlan = static_cast<uint16_t>(1 + pick(3));
    const std::string intf = std::to_string(port + 1);
    const uint32_t what = pick(100);
    if (what < 55) {
      ASSERT_EQ(reference.learn(port, last, vlan), learn(port, last, vlan)) << "step " << step;
    } else if (what < 75) {
      ASSERT_EQ(0, staticEntry(PSIOC_ADD_STATIC, intf, last, vlan));
      reference.put({macOf(last), vlan, port, true});
    } else if (what < 93) {
      const int expected = reference.deleteStatic(port, last, vlan);
      const int result = staticEntry(PSIOC_DEL_STATIC, intf, last, vlan);
      ASSERT_EQ(expected, result == 0 ? 0 : errno) << "step " << step;
    } else if (what < 97) {
      psMoveArg_t move = recordFor<psMoveArg_t>(intf);
      ASSERT_EQ(0, send(PSIOC_MOVE_TO_STATIC, &move));
      for (sim::MacTableEntry& entry : reference.entries)
        if (entry.port == port) entry.isStatic = true;
    } else {
      const uint32_t counts[] = {0, 1, 3, 16, 64};
      reference.buckets = counts[pick(5)];
      driver().setBucketCount(reference.buckets);
    }
    ASSERT_EQ(text(reference.chains()), text(driver().table())) << "step " << step;
  }
}

}  // namespace
