// The host services that the module queries and the events the node raises:
// Log messages, MAC text, VLAN and GEM events, query faults.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include <boost/bind/bind.hpp>

#include "CVqUtil.h"
#include "Log.h"
#include "Network.h"
#include "SimHost.h"
#include "bridge.h"
#include "singleton.h"
#include "vqbridge.h"

namespace {

class HostServicesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    sim::reset();
    sim::LogRecorder::instance().setEcho(false);
  }
  void TearDown() override { sim::reset(); }

  static sim::Node& node() { return sim::Node::instance(); }
};

TEST_F(HostServicesTest, LogKeepsEachMessageWithItsLevel) {
  Log& log = singleton<Log>::instance();
  log.setMsgLevel(LogImpl::LOG_ERROR);
  log.write("addStaticEntry:").write(12u).write(":vid ").write(static_cast<unsigned short>(7));
  log.write("\n");
  log.setMsgLevel(LogImpl::LOG_NOTICE);
  log.write("first notice ").write(-3);
  log.setMsgLevel(LogImpl::LOG_ERROR);  // finishes the notice
  log.write("still open");
  std::thread other([&] {
    log.setMsgLevel(LogImpl::LOG_NOTICE);
    log.write("other thread\n");
  });
  other.join();

  const std::vector<sim::LogLine> lines = sim::LogRecorder::instance().lines();
  ASSERT_EQ(4u, lines.size());
  EXPECT_EQ(LogImpl::LOG_ERROR, lines[0].level);
  EXPECT_EQ("addStaticEntry:12:vid 7\n", lines[0].text);
  EXPECT_EQ(LogImpl::LOG_NOTICE, lines[1].level);
  EXPECT_EQ("first notice -3", lines[1].text);
  EXPECT_EQ("other thread\n", lines[2].text);
  EXPECT_EQ(LogImpl::LOG_ERROR, lines[3].level);
  EXPECT_EQ("still open", lines[3].text);

  sim::LogRecorder::instance().clear();
  EXPECT_TRUE(sim::LogRecorder::instance().lines().empty());
}

TEST_F(HostServicesTest, MacTextIsLowerCaseWithColons) {
  unsigned char mac[6] = {0x00, 0x1b, 0xAC, 0xff, 0x09, 0x10};
  EXPECT_EQ("00:1b:ac:ff:09:10", CVqUtil::macToString(mac));
}

TEST_F(HostServicesTest, DeletedVlanStillExistsForPreSubscribers) {
  using namespace boost::placeholders;
  struct Watcher {
    std::vector<std::string> seen;
    bool before(const char* bridge, unsigned short vlan) {
      seen.push_back(std::string("pre ") + bridge +
                     (vqbridge::instance().vlanCreated(bridge, vlan) ? " exists" : " gone"));
      return true;
    }
    void after(const char* bridge, unsigned short vlan) {
      seen.push_back(std::string("post ") + bridge +
                     (vqbridge::instance().vlanCreated(bridge, vlan) ? " exists" : " gone"));
    }
  };
  // Subscriptions outlive the test: give them an object that does too.
  static Watcher* watcher = new Watcher();
  static bool subscribed = false;
  if (!subscribed) {
    vqbridge& bridge = vqbridge::instance();
    bridge.vlanCreatedEvent.subscribePost(boost::bind(&Watcher::after, watcher, _1, _2));
    bridge.vlanDeletedEvent.subscribePre(boost::bind(&Watcher::before, watcher, _1, _2));
    bridge.vlanDeletedEvent.subscribePost(boost::bind(&Watcher::after, watcher, _1, _2));
    subscribed = true;
  }
  watcher->seen.clear();

  EXPECT_TRUE(node().createVlan(100));
  EXPECT_FALSE(node().createVlan(100));
  EXPECT_TRUE(node().deleteVlan(100));
  EXPECT_FALSE(node().deleteVlan(100));
  EXPECT_EQ((std::vector<std::string>{"post br0 exists", "pre br0 exists", "post br0 gone"}),
            watcher->seen);
  EXPECT_FALSE(vqbridge::instance().vlanCreated("br1", 100));
}

TEST_F(HostServicesTest, GemEventsBindOnlyForBoundAndRebound) {
  node().addInterface(sim::InterfaceConfig{5, Interfaces::IF_TYPE_GPON, "gpon0", true, false});
  unsigned int gem = 0;
  Interfaces& interfaces = Interfaces::instance();
  EXPECT_NE(0, interfaces.interfaceGPONGemInterfaceFind(5, 2, gem));
  EXPECT_TRUE(node().raiseGemEvent(40, 5, 2, Interfaces::GPON_GEM_UNBOUND));
  EXPECT_NE(0, interfaces.interfaceGPONGemInterfaceFind(5, 2, gem));
  EXPECT_TRUE(node().raiseGemEvent(40, 5, 2, Interfaces::GPON_GEM_BOUND));
  EXPECT_TRUE(node().raiseGemEvent(41, 5, 2, Interfaces::GPON_GEM_REBOUND));
  ASSERT_EQ(0, interfaces.interfaceGPONGemInterfaceFind(5, 2, gem));
  EXPECT_EQ(41u, gem);
  EXPECT_FALSE(node().raiseGemEvent(42, 5, 2, 9));
}

TEST_F(HostServicesTest, QueryFaultsFailTheirQueryUntilCleared) {
  node().addInterface(sim::InterfaceConfig{3, Interfaces::IF_TYPE_GEM, "gem3", false, true});
  node().setManagement(sim::ManagementConfig{3, {1, 2, 3, 4, 5, 6}, 10});
  Interfaces& interfaces = Interfaces::instance();
  Network& network = singleton<Network>::instance();
  Interfaces::interfaceType type = Interfaces::IF_TYPE_UNKNOWN;
  std::string name;
  unsigned int id = 0;
  Network::NetworkInfo info;
  node().failTypeLookup(true);
  node().failNameLookup(3, true);
  node().failNetworkInfo(4);
  node().failMngIdGet(6);
  EXPECT_NE(0, interfaces.interfaceGetTypeById(3, &type));
  EXPECT_NE(0, interfaces.interfaceGetNameById(3, name));
  EXPECT_EQ(4, network.getNetworkInfo(&info));
  EXPECT_EQ(6, interfaces.interfaceMngIdGet(id));
  EXPECT_TRUE(interfaces.checkId(3));

  node().failTypeLookup(false);
  node().failNameLookup(3, false);
  node().failNetworkInfo(0);
  node().failMngIdGet(0);
  ASSERT_EQ(0, interfaces.interfaceGetTypeById(3, &type));
  ASSERT_EQ(0, interfaces.interfaceGetNameById(3, name));
  ASSERT_EQ(0, network.getNetworkInfo(&info));
  ASSERT_EQ(0, interfaces.interfaceMngIdGet(id));
  EXPECT_EQ(Interfaces::IF_TYPE_GEM, type);
  EXPECT_EQ("gem3", name);
  EXPECT_EQ(10, info.mngVlan);
  EXPECT_EQ(6, info.mngMac[5]);
  EXPECT_EQ(3u, id);
  EXPECT_FALSE(interfaces.isInterfaceActive(3));
  EXPECT_EQ(1, servProfileCheckIfInterfaceUplink(3));
}

}  // namespace
