// The simulated bridge driver, driven as the module drives it: descriptors
// from br_open, commands through the real ioctl, and close.
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "DriverRecords.h"
#include "SimHost.h"
#include "bridge.h"

namespace {

using namespace psdriver;
using sim::LearnResult;

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

  // A limit for interface `intf`, in an otherwise zeroed record.
  int setLimit(const std::string& intf, uint32_t kind, uint32_t limit) {
    psIntfLimitArg_t record;
    std::memset(&record, 0, sizeof record);
    std::snprintf(record.intf, sizeof record.intf, "%s", intf.c_str());
    record.kind = kind;
    record.limit = limit;
    return send(PSIOC_SET_INTF_LIMIT, &record);
  }

  int handle = -1;
};

TEST_F(SimDriverTest, MalformedCommandsAreRefusedAndChangeNothing) {
  // A port of no interface.
  EXPECT_EQ(LearnResult::unknownPort, driver().learn(6, {0x00, 0x11, 0x22, 0x33, 0x44, 3}, 5));
  EXPECT_EQ(-1, setLimit("99", PS_LIMIT_DYNAMIC, 5));
  EXPECT_EQ(ENODEV, errno);
  for (const char* intf : {"x1", "03", ""}) EXPECT_EQ(-1, setLimit(intf, PS_LIMIT_DYNAMIC, 5));
  EXPECT_EQ(-1, setLimit("3", 2, 5));
  psIntfStateArg_t unterminated;
  std::memset(&unterminated, '3', sizeof unterminated);
  EXPECT_EQ(-1, send(PSIOC_SET_INTF_STATE, &unterminated));
  EXPECT_EQ(-1, send(_IOC(_IOC_WRITE, 'z', 41, 4), &unterminated));
  EXPECT_EQ(-1, send(PSIOC_ADD_STATIC, nullptr));
  EXPECT_EQ(-1, ::ioctl(handle, PSIOC_SET_STATE, 2ul));
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
