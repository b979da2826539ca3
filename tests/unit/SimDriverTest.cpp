// The simulated bridge driver, driven as the module drives it: descriptors
// from br_open, commands through the real ioctl, and close.
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "DriverRecords.h"
#include "SimHost.h"
#include "bridge.h"

namespace {

using namespace psdriver;
using sim::LearnResult;

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
      sim::Node::instance().addInterface({id, Interfaces::IF_TYPE_ETHERNET, "eth", true, false});
    handle = br_open("br0", "mac_table");
    ASSERT_GE(handle, 0);
  }
  void TearDown() override {
    ::close(handle);
    sim::reset();
  }

  static sim::Driver& driver() { return sim::Driver::instance(); }
  int send(unsigned long code, void* record) { return ::ioctl(handle, code, record); }

  int setState(unsigned long on) { return ::ioctl(handle, PSIOC_SET_STATE, on); }
  int setLimit(const char* intf, uint32_t kind, uint32_t limit) {
    psIntfLimitArg_t record = recordFor<psIntfLimitArg_t>(intf);
    record.kind = kind;
    record.limit = limit;
    return send(PSIOC_SET_INTF_LIMIT, &record);
  }
  int staticEntry(unsigned long code, const char* intf, uint8_t last, uint16_t vlan) {
    psMacArg_t record = recordFor<psMacArg_t>(intf);
    std::memcpy(record.mac, macOf(last).data(), sizeof record.mac);
    record.vlan = vlan;
    record.isStatic = 1;
    return send(code, &record);
  }

  int handle = -1;
};

TEST_F(SimDriverTest, LimitsApplyOnlyWhileBothSwitchesAreOn) {
  ASSERT_EQ(0, setLimit("3", PS_LIMIT_DYNAMIC, 0));
  EXPECT_EQ(LearnResult::learned, driver().learn(2, macOf(9), 99));
  ASSERT_EQ(0, setState(1));
  EXPECT_EQ(LearnResult::learned, driver().learn(2, macOf(8), 99));
  psIntfStateArg_t on = recordFor<psIntfStateArg_t>("3");
  on.state = 1;
  ASSERT_EQ(0, send(PSIOC_SET_INTF_STATE, &on));
  EXPECT_EQ(LearnResult::violation, driver().learn(2, macOf(7), 99));

  ASSERT_EQ(0, setLimit("3", PS_LIMIT_DYNAMIC, 4));
  psVlanLimitArg_t vlanLimit = recordFor<psVlanLimitArg_t>("3");
  vlanLimit.vlan = 10;
  vlanLimit.limit = 1;
  ASSERT_EQ(0, send(PSIOC_SET_VLAN_LIMIT, &vlanLimit));
  EXPECT_EQ(LearnResult::learned, driver().learn(2, macOf(1), 10));
  EXPECT_EQ(LearnResult::violation, driver().learn(2, macOf(2), 10));
  EXPECT_EQ(LearnResult::learned, driver().learn(2, macOf(2), 20));
  EXPECT_EQ(LearnResult::known, driver().learn(2, macOf(1), 10));
  EXPECT_EQ(LearnResult::violation, driver().learn(2, macOf(3), 30));
  EXPECT_EQ(LearnResult::learned, driver().learn(3, macOf(3), 30));  // other interfaces are free

  ASSERT_EQ(0, send(PSIOC_DEL_VLAN_LIMIT, &vlanLimit));
  EXPECT_TRUE(driver().interfaceState(3).vlanLimits.empty());
  ASSERT_EQ(0, setState(0));
  EXPECT_FALSE(driver().globalState());
  EXPECT_EQ(LearnResult::learned, driver().learn(2, macOf(4), 10));
}

TEST_F(SimDriverTest, StaticEntriesTakeOverDynamicOnesAndDeleteOnlyTheirOwn) {
  EXPECT_EQ(LearnResult::learned, driver().learn(1, macOf(6), 5));
  EXPECT_EQ(LearnResult::learned, driver().learn(4, macOf(6), 5));  // moved to port 4
  EXPECT_EQ(LearnResult::unknownPort, driver().learn(6, macOf(3), 5));
  driver().learn(4, macOf(1), 9);
  ASSERT_EQ(0, staticEntry(PSIOC_ADD_STATIC, "2", 1, 9));  // takes over the dynamic entry
  EXPECT_EQ(LearnResult::known, driver().learn(0, macOf(1), 9));
  driver().learn(2, macOf(5), 9);
  EXPECT_EQ(-1, staticEntry(PSIOC_DEL_STATIC, "3", 1, 9));  // not on that interface
  EXPECT_EQ(ENOENT, errno);
  EXPECT_EQ(-1, staticEntry(PSIOC_DEL_STATIC, "3", 5, 9));  // dynamic, not static
  EXPECT_EQ(0, staticEntry(PSIOC_DEL_STATIC, "2", 1, 9));
  EXPECT_EQ(-1, staticEntry(PSIOC_DEL_STATIC, "2", 1, 9));
}

TEST_F(SimDriverTest, MalformedCommandsAreRefusedAndChangeNothing) {
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

}  // namespace
