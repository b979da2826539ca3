// The simulated bridge driver, driven as the module drives it: descriptors
// from br_open, commands through the real ioctl, and close.
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "DriverRecords.h"
#include "SimHost.h"
#include "bridge.h"

namespace {

using namespace psdriver;

sim::MacAddress macOf(uint8_t last) { return sim::MacAddress{0x00, 0x11, 0x22, 0x33, 0x44, last}; }

template <class Record>
Record recordFor(const char* intf) {
  Record record;
  std::memset(&record, 0, sizeof record);
  std::snprintf(record.intf, sizeof record.intf, "%s", intf);
  return record;
}

class SimDriverTest : public ::testing::Test {
 protected:
  void SetUp() override {
    sim::reset();
    for (unsigned int id = 1; id <= 6; ++id)
      node().addInterface(
          sim::InterfaceConfig{id, Interfaces::IF_TYPE_ETHERNET, "eth", true, false});
    handle = br_open("br0", "mac_table");
    ASSERT_GE(handle, 0);
  }
  void TearDown() override {
    if (handle >= 0) ::close(handle);
    sim::reset();
  }

  static sim::Node& node() { return sim::Node::instance(); }
  static sim::Driver& driver() { return sim::Driver::instance(); }

  int send(unsigned long code, void* record) { return ::ioctl(handle, code, record); }

  void enable(const char* intf) {
    ASSERT_EQ(0, ::ioctl(handle, PSIOC_SET_STATE, 1UL));
    psIntfStateArg_t state = recordFor<psIntfStateArg_t>(intf);
    state.state = 1;
    ASSERT_EQ(0, send(PSIOC_SET_INTF_STATE, &state));
  }
  int setLimit(const char* intf, uint32_t kind, uint32_t limit) {
    psIntfLimitArg_t record = recordFor<psIntfLimitArg_t>(intf);
    record.kind = kind;
    record.limit = limit;
    return send(PSIOC_SET_INTF_LIMIT, &record);
  }
  int staticEntry(unsigned long code, const char* intf, uint8_t last, uint16_t vlan) {
    psMacArg_t record = recordFor<psMacArg_t>(intf);
    const sim::MacAddress mac = macOf(last);
    std::memcpy(record.mac, mac.data(), sizeof record.mac);
    record.vlan = vlan;
    record.isStatic = 1;
    return send(code, &record);
  }
  // Reads the entry at (bucket, position); false when the driver refuses.
  bool entryAt(uint32_t bucket, uint32_t position, psTableEntryArg_t& entry) {
    // Everything but bucket and position is garbage that the driver ignores.
    std::memset(&entry, 0xa5, sizeof entry);
    entry.bucket = bucket;
    entry.position = position;
    return send(PSIOC_GET_TABLE_ENTRY, &entry) == 0;
  }

  int handle = -1;
};

TEST_F(SimDriverTest, LearnsUntilTheInterfaceLimitThenRecordsTheViolation) {
  enable("3");
  ASSERT_EQ(0, setLimit("3", PS_LIMIT_DYNAMIC, 2));
  EXPECT_EQ(sim::LearnResult::learned, driver().learn(2, macOf(1), 10));
  EXPECT_EQ(sim::LearnResult::learned, driver().learn(2, macOf(2), 20));
  EXPECT_EQ(sim::LearnResult::known, driver().learn(2, macOf(1), 10));
  EXPECT_EQ(sim::LearnResult::violation, driver().learn(2, macOf(3), 30));
  // Other interfaces are not limited.
  EXPECT_EQ(sim::LearnResult::learned, driver().learn(3, macOf(3), 30));

  psViolationArg_t violation = recordFor<psViolationArg_t>("3");
  ASSERT_EQ(0, send(PSIOC_GET_VIOLATION, &violation));
  EXPECT_EQ(0, std::memcmp(violation.mac, macOf(3).data(), 6));
  EXPECT_EQ(30, violation.vlan);
  psViolationArg_t none = recordFor<psViolationArg_t>("4");
  std::memset(none.mac, 0xff, sizeof none.mac);
  ASSERT_EQ(0, send(PSIOC_GET_VIOLATION, &none));
  EXPECT_EQ(0, std::memcmp(none.mac, "\0\0\0\0\0\0", 6));
}

TEST_F(SimDriverTest, LimitsApplyOnlyWhileBothSwitchesAreOn) {
  ASSERT_EQ(0, setLimit("2", PS_LIMIT_DYNAMIC, 0));
  EXPECT_EQ(sim::LearnResult::learned, driver().learn(1, macOf(1), 1));
  enable("2");
  EXPECT_EQ(sim::LearnResult::violation, driver().learn(1, macOf(2), 1));
  ASSERT_EQ(0, ::ioctl(handle, PSIOC_SET_STATE, 0UL));
  EXPECT_FALSE(driver().globalState());
  EXPECT_EQ(sim::LearnResult::learned, driver().learn(1, macOf(2), 1));
}

TEST_F(SimDriverTest, PerVlanLimitCountsOnlyItsVlan) {
  enable("3");
  psVlanLimitArg_t limit = recordFor<psVlanLimitArg_t>("3");
  limit.vlan = 10;
  limit.limit = 1;
  ASSERT_EQ(0, send(PSIOC_SET_VLAN_LIMIT, &limit));
  EXPECT_EQ(sim::LearnResult::learned, driver().learn(2, macOf(1), 10));
  EXPECT_EQ(sim::LearnResult::violation, driver().learn(2, macOf(2), 10));
  EXPECT_EQ(sim::LearnResult::learned, driver().learn(2, macOf(2), 11));
  ASSERT_EQ(0, send(PSIOC_DEL_VLAN_LIMIT, &limit));
  EXPECT_TRUE(driver().interfaceState(3).vlanLimits.empty());
  EXPECT_EQ(sim::LearnResult::learned, driver().learn(2, macOf(2), 10));
}

TEST_F(SimDriverTest, StaticEntriesAreKnownAndDynamicOnesMoveBetweenPorts) {
  EXPECT_EQ(sim::LearnResult::learned, driver().learn(1, macOf(1), 5));
  EXPECT_EQ(sim::LearnResult::learned, driver().learn(4, macOf(1), 5));
  ASSERT_EQ(0, staticEntry(PSIOC_ADD_STATIC, "2", 2, 5));
  EXPECT_EQ(sim::LearnResult::known, driver().learn(0, macOf(2), 5));
  EXPECT_EQ(sim::LearnResult::unknownPort, driver().learn(6, macOf(3), 5));

  const sim::MacAddress moved = macOf(1);
  const std::vector<sim::MacTableEntry> chain = driver().table()[driver().bucketOf(moved, 5)];
  ASSERT_FALSE(chain.empty());
  EXPECT_EQ(moved, chain[0].mac);
  EXPECT_EQ(4u, chain[0].port);
  EXPECT_FALSE(chain[0].isStatic);
}

TEST_F(SimDriverTest, WalksChainsByBucketAndPositionIgnoringOtherInput) {
  driver().setBucketCount(1);
  driver().learn(0, macOf(1), 1);
  driver().learn(1, macOf(2), 2);
  ASSERT_EQ(0, staticEntry(PSIOC_ADD_STATIC, "5", 3, 3));

  psTableInfoArg_t info;
  std::memset(&info, 0xee, sizeof info);
  ASSERT_EQ(0, send(PSIOC_GET_TABLE_INFO, &info));
  EXPECT_EQ(1u, info.bucketCount);
  EXPECT_EQ(0xeeu, info.reserved0[0]);
  EXPECT_EQ(0xeeu, info.reserved1[3]);

  psTableEntryArg_t entry;
  ASSERT_TRUE(entryAt(0, 0, entry));
  EXPECT_EQ(0, std::memcmp(entry.mac, macOf(1).data(), 6));
  EXPECT_EQ(1, entry.vlan);
  EXPECT_EQ(0u, entry.port);
  EXPECT_EQ(0, entry.isStatic);
  ASSERT_TRUE(entryAt(0, 2, entry));
  EXPECT_EQ(0, std::memcmp(entry.mac, macOf(3).data(), 6));
  EXPECT_EQ(4u, entry.port);  // interface 5 sits on port 4
  EXPECT_NE(0, entry.isStatic);
  EXPECT_EQ(0u, entry.bucket);
  EXPECT_EQ(2u, entry.position);
  EXPECT_FALSE(entryAt(0, 3, entry));
  EXPECT_FALSE(entryAt(1, 0, entry));
}

TEST_F(SimDriverTest, RehashingKeepsEveryEntryAndZeroBucketsShowNone) {
  for (uint8_t last = 1; last <= 20; ++last) driver().learn(0, macOf(last), 7);
  driver().setBucketCount(4);
  size_t total = 0;
  for (uint32_t bucket = 0; bucket < 4; ++bucket) {
    psTableEntryArg_t entry;
    uint32_t position = 0;
    while (entryAt(bucket, position, entry)) {
      const sim::MacAddress mac{entry.mac[0], entry.mac[1], entry.mac[2],
                                entry.mac[3], entry.mac[4], entry.mac[5]};
      EXPECT_EQ(bucket, driver().bucketOf(mac, 7));
      ++position;
    }
    total += position;
  }
  EXPECT_EQ(20u, total);

  driver().setBucketCount(0);
  psTableInfoArg_t info = {};
  ASSERT_EQ(0, send(PSIOC_GET_TABLE_INFO, &info));
  EXPECT_EQ(0u, info.bucketCount);
  psTableEntryArg_t entry;
  EXPECT_FALSE(entryAt(0, 0, entry));
}

TEST_F(SimDriverTest, StaticEntriesAreAddedTakenOverMovedAndDeleted) {
  driver().learn(4, macOf(1), 9);
  ASSERT_EQ(0, staticEntry(PSIOC_ADD_STATIC, "2", 1, 9));  // takes over the dynamic entry
  ASSERT_EQ(0, staticEntry(PSIOC_ADD_STATIC, "2", 2, 9));
  driver().learn(1, macOf(3), 9);
  driver().learn(1, macOf(4), 8);
  driver().learn(2, macOf(5), 9);

  psMoveArg_t move = recordFor<psMoveArg_t>("2");
  ASSERT_EQ(0, send(PSIOC_MOVE_TO_STATIC, &move));
  unsigned int statics = 0;
  unsigned int dynamics = 0;
  for (const auto& chain : driver().table())
    for (const sim::MacTableEntry& entry : chain) {
      if (entry.port == 1) {
        EXPECT_TRUE(entry.isStatic);
      }
      entry.isStatic ? ++statics : ++dynamics;
    }
  EXPECT_EQ(4u, statics);
  EXPECT_EQ(1u, dynamics);

  EXPECT_EQ(-1, staticEntry(PSIOC_DEL_STATIC, "3", 1, 9));  // not on that interface
  EXPECT_EQ(ENOENT, errno);
  EXPECT_EQ(-1, staticEntry(PSIOC_DEL_STATIC, "3", 5, 9));  // dynamic, not static
  EXPECT_EQ(0, staticEntry(PSIOC_DEL_STATIC, "2", 1, 9));
  EXPECT_EQ(-1, staticEntry(PSIOC_DEL_STATIC, "2", 1, 9));
}

TEST_F(SimDriverTest, RefusesWhatARealDriverWouldRefuse) {
  EXPECT_EQ(-1, setLimit("99", PS_LIMIT_DYNAMIC, 5));
  EXPECT_EQ(ENODEV, errno);
  EXPECT_EQ(-1, setLimit("x1", PS_LIMIT_DYNAMIC, 5));
  EXPECT_EQ(-1, setLimit("03", PS_LIMIT_DYNAMIC, 5));
  EXPECT_EQ(-1, setLimit("", PS_LIMIT_DYNAMIC, 5));
  EXPECT_EQ(-1, setLimit("3", 2, 5));
  psIntfStateArg_t unterminated;
  std::memset(&unterminated, '3', sizeof unterminated);
  EXPECT_EQ(-1, send(PSIOC_SET_INTF_STATE, &unterminated));
  EXPECT_EQ(-1, send(_IOC(_IOC_WRITE, 'z', 41, 4), &unterminated));
  EXPECT_EQ(-1, send(PSIOC_ADD_STATIC, nullptr));
  EXPECT_EQ(-1, ::ioctl(handle, PSIOC_SET_STATE, 2UL));

  const sim::DriverInterfaceState state = driver().interfaceState(3);
  EXPECT_FALSE(state.hasDynamicLimit || state.hasStaticLimit || state.enabled);
  EXPECT_FALSE(driver().globalState());
}

TEST_F(SimDriverTest, LogsEveryCommandWithItsBytesAndRefusals) {
  driver().clearCommands();
  driver().refuseNext(PSIOC_SET_INTF_LIMIT, 1);
  driver().refuseCall(3);
  EXPECT_EQ(-1, setLimit("3", PS_LIMIT_STATIC, 7));
  EXPECT_EQ(EIO, errno);
  EXPECT_EQ(0, setLimit("3", PS_LIMIT_STATIC, 7));
  EXPECT_EQ(-1, ::ioctl(handle, PSIOC_SET_STATE, 1UL));
  EXPECT_EQ(0, ::ioctl(handle, PSIOC_SET_STATE, 1UL));

  const std::vector<sim::DriverCommand> commands = driver().commands();
  ASSERT_EQ(4u, commands.size());
  EXPECT_TRUE(commands[0].refused);
  EXPECT_FALSE(commands[1].refused);
  EXPECT_TRUE(commands[2].refused);
  EXPECT_FALSE(commands[3].refused);
  EXPECT_EQ(PSIOC_SET_INTF_LIMIT, commands[1].code);
  ASSERT_EQ(sizeof(psIntfLimitArg_t), commands[1].bytes.size());
  EXPECT_EQ('3', commands[1].bytes[0]);
  EXPECT_EQ(1, commands[1].bytes[20]);  // kind
  EXPECT_EQ(7, commands[1].bytes[24]);  // limit
  EXPECT_EQ(PSIOC_SET_STATE, commands[3].code);
  EXPECT_EQ(1UL, commands[3].argument);
  EXPECT_TRUE(commands[3].bytes.empty());
  EXPECT_EQ(7u, driver().interfaceState(3).staticLimit);

  driver().clearCommands();
  EXPECT_TRUE(driver().commands().empty());
}

TEST_F(SimDriverTest, CountsHandlesAndLeavesOtherDescriptorsToTheSystem) {
  const unsigned int before = driver().openHandles();
  EXPECT_LT(br_open("br1", "mac_table"), 0);
  EXPECT_LT(br_open("br0", "other_table"), 0);
  driver().failNextOpens(1);
  EXPECT_LT(br_open("br0", "mac_table"), 0);
  const int second = br_open("br0", "mac_table");
  ASSERT_GE(second, 0);
  EXPECT_EQ(before + 1, driver().openHandles());
  EXPECT_EQ(0, ::close(second));
  EXPECT_EQ(before, driver().openHandles());

  int pipeEnds[2];
  ASSERT_EQ(0, ::pipe(pipeEnds));
  driver().clearCommands();
  psTableInfoArg_t info = {};
  EXPECT_EQ(-1, ::ioctl(pipeEnds[0], PSIOC_GET_TABLE_INFO, &info));
  EXPECT_EQ(ENOTTY, errno);
  EXPECT_TRUE(driver().commands().empty());
  ::close(pipeEnds[0]);
  ::close(pipeEnds[1]);
  EXPECT_EQ(before, driver().openHandles());
}

}  // namespace
