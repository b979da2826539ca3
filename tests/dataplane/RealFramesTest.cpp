// pshost on the eBPF data plane, in front of a Linux bridge: frames sent by
// stations into the ports' veth peers are forwarded or dropped as the
// settings made with psctl say, the lists read what the kernel learned, and
// nothing stays attached once pshost is gone.
#include <pthread.h>
#include <signal.h>
#include <sys/wait.h>

#include <sys/stat.h>

#include <atomic>
#include <cstring>
#include <set>
#include <thread>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "E2eSupport.h"
#include "FrameWire.h"
#include "TestNetwork.h"

namespace {

using dataplane::peerOf;
using dataplane::station;
using dataplane::testFrame;
using nlohmann::json;

// Interface 2 is eth2 (driver port 1), 3 is eth3 (port 2); frames are
// watched arriving at cpu6's peer, and mng's station is always let through.
class RealFramesTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(host.ready()); }

  bool passes(unsigned int number, uint16_t vlan, const std::string& port = "eth2", int tags = 1) {
    const uint32_t id = ++lastId;
    return dataplane::forwarded(testFrame(station(number), vlan, id, tags), id, peerOf(port),
                                peerOf("cpu6"), peerOf("mng"));
  }
  void psctl(const std::vector<std::string>& args) {
    const e2e::RunResult result = host.psctl(args);
    ASSERT_EQ(0, result.status) << args[0] << ": " << result.err;
  }
  // The stations learned on a driver port, as psctl lists them.
  std::set<std::string> learned(const std::string& port) {
    std::set<std::string> macs;
    const json reply = json::parse(host.psctl({"--json", "learned", port}).out);
    for (const json& entry : reply["entries"])
      macs.insert(entry["mac"].get<std::string>() + "/" + std::to_string(entry["vlan"].get<int>()));
    return macs;
  }

  e2e::Pshost host{e2e::kTestNode};
  uint32_t lastId = 0;
};

TEST_F(RealFramesTest, SettingsMadeWithPsctlDecideWhatTheBridgeForwards) {
  psctl({"limit", "2", "dynamic", "2"});
  psctl({"state", "2", "on"});
  // Off globally: a limit changes nothing, though the table learns.
  for (unsigned int number : {1, 2, 3}) EXPECT_TRUE(passes(number, 100)) << number;
  psctl({"state", "on"});
  EXPECT_FALSE(passes(4, 100));
  EXPECT_TRUE(passes(1, 100));  // known stations go on
  EXPECT_EQ("not learned (a group or all-zero source)\nok\n",
            host.sim("learn 1 01:00:5e:00:00:01 100").out);
  EXPECT_EQ("last violation on interface 2: 02:00:00:00:00:04 in VLAN 100\n",
            host.psctl({"violation", "2"}).out);
  EXPECT_EQ((std::set<std::string>{"02:00:00:00:00:01/100", "02:00:00:00:00:02/100",
                                   "02:00:00:00:00:03/100"}),
            learned("1"));

  // A static entry passes at the limit; moving the learned ones to static
  // frees the count for two new stations.
  psctl({"static", "add", "2", "02:00:00:00:00:08", "100"});
  EXPECT_TRUE(passes(8, 100));
  psctl({"move-to-static", "2"});
  EXPECT_TRUE(learned("1").empty());
  EXPECT_TRUE(passes(5, 100));
  EXPECT_TRUE(passes(6, 100));
  EXPECT_FALSE(passes(7, 100));

  // A per-VLAN limit holds its own VLAN only; a frame tagged twice is never
  // learned and so is dropped where port security is on.
  psctl({"limit", "2", "dynamic", "10"});
  psctl({"vlan-limit", "add", "2", "100", "3"});
  EXPECT_TRUE(passes(9, 100));
  EXPECT_FALSE(passes(10, 100));
  EXPECT_TRUE(passes(10, 0));
  EXPECT_FALSE(passes(11, 100, "eth2", 2));
  EXPECT_EQ("last violation on interface 2: 02:00:00:00:00:0a in VLAN 100\n",
            host.psctl({"violation", "2"}).out);

  psctl({"state", "2", "off"});
  EXPECT_TRUE(passes(11, 100, "eth2", 2));
  EXPECT_TRUE(passes(12, 100));
  EXPECT_EQ((std::set<std::string>{"02:00:00:00:00:05/100", "02:00:00:00:00:06/100",
                                   "02:00:00:00:00:09/100", "02:00:00:00:00:0a/1",
                                   "02:00:00:00:00:0c/100"}),
            learned("1"));
}

TEST_F(RealFramesTest, AStationThatMovesIsLearnedOnItsNewPortUnlessItsLimitIsReached) {
  EXPECT_TRUE(passes(1, 100, "eth2"));
  EXPECT_TRUE(passes(1, 100, "eth3"));
  EXPECT_TRUE(learned("1").empty());
  EXPECT_EQ(std::set<std::string>{"02:00:00:00:00:01/100"}, learned("2"));

  psctl({"state", "on"});
  psctl({"state", "2", "on"});
  psctl({"limit", "2", "dynamic", "1"});
  EXPECT_TRUE(passes(2, 100, "eth2"));
  EXPECT_FALSE(passes(1, 100, "eth2"));
  EXPECT_EQ(std::set<std::string>{"02:00:00:00:00:01/100"}, learned("2"));
}

TEST(RealFramesFullTableTest, ANewStationPassesUnlearnedUnlessPortSecurityIsOn) {
  json node = json::parse(e2e::kTestNode);
  node["driver"]["entries"] = 3;  // the management address takes one
  e2e::Pshost host(node.dump());
  ASSERT_TRUE(host.ready());
  const auto passes = [](unsigned int number, uint32_t id) {
    return dataplane::forwarded(testFrame(station(number), 100, id), id, peerOf("eth2"),
                                peerOf("cpu6"), peerOf("mng"));
  };
  EXPECT_TRUE(passes(1, 1));
  EXPECT_TRUE(passes(2, 2));
  EXPECT_EQ("table full\nok\n", host.sim("learn 1 02:00:00:00:00:03 100").out);
  EXPECT_TRUE(passes(3, 3));
  ASSERT_EQ(0, host.psctl({"state", "on"}).status);
  ASSERT_EQ(0, host.psctl({"state", "2", "on"}).status);
  EXPECT_FALSE(passes(3, 4));
  EXPECT_TRUE(passes(1, 5));
  EXPECT_EQ("no entries on interface 2\n", host.psctl({"learned", "2"}).out);
}

// Stations flood one port from both CPUs at once; the count stops at the
// limit exactly, the per-VLAN one too.
TEST_F(RealFramesTest, ParallelSendersNeverPushACountPastItsLimit) {
  psctl({"state", "on"});
  psctl({"state", "2", "on"});
  psctl({"limit", "2", "dynamic", "64"});
  psctl({"vlan-limit", "add", "2", "100", "8"});
  const auto flood = [](unsigned int cpu) {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(cpu, &one);
    pthread_setaffinity_np(pthread_self(), sizeof one, &one);
    for (unsigned int n = 0; n < 400; ++n)
      dataplane::sendFrame(peerOf("eth2"),
                           testFrame(station(1000 * (cpu + 1) + n), n % 2 ? 100 : 200, n));
  };
  std::thread first(flood, 0), second(flood, 1 % std::thread::hardware_concurrency());
  first.join();
  second.join();
  EXPECT_FALSE(passes(9999, 200));  // and every frame before it was decided
  const std::set<std::string> all = learned("1");
  EXPECT_EQ(64u, all.size());
  size_t inVlan100 = 0;
  for (const std::string& entry : all) inVlan100 += entry.find("/100") != std::string::npos;
  EXPECT_EQ(8u, inVlan100);
}

std::string ingressFilters() { return dataplane::shellOutput("tc filter show dev eth2 ingress"); }
bool hasClsact() {
  return dataplane::shellOutput("tc qdisc show dev eth2").find("clsact") != std::string::npos;
}

TEST(DataplaneLifecycleTest, NothingStaysAttachedAfterSigtermNorAfterSigkillAndARestart) {
  {
    e2e::Pshost host(e2e::kTestNode);
    ASSERT_TRUE(host.ready());
    EXPECT_NE(std::string::npos, ingressFilters().find("ps_ingress"));
    EXPECT_NE(std::string::npos,
              host.output().find("pshost: eBPF data plane guarding the ingress of mng, eth2, eth3, "
                                 "pon4, gem5, cpu6, gem7 (65536 entries)\n"));
  }
  EXPECT_EQ("", ingressFilters());
  EXPECT_FALSE(hasClsact());
  {
    e2e::Pshost killed(e2e::kTestNode);
    ASSERT_TRUE(killed.ready());
    killed.stop(SIGKILL);
  }
  EXPECT_NE(std::string::npos, ingressFilters().find("ps_ingress"));
  {
    e2e::Pshost restarted(e2e::kTestNode);
    ASSERT_TRUE(restarted.ready());
    const std::string filters = ingressFilters();
    EXPECT_EQ(filters.find("handle 0x5053"), filters.rfind("handle 0x5053")) << filters;
  }
  EXPECT_EQ("", ingressFilters());
  EXPECT_FALSE(hasClsact());
}

TEST(DataplaneLifecycleTest, AStartThatCannotGuardEveryDeviceSaysWhyInOneLineAndLeavesNothing) {
  json node = json::parse(e2e::kTestNode);
  node["driver"]["dataplane"] = "ebpf";
  e2e::TempDir dir;
  node["interfaces"][1]["netdev"] = "nosuch0";
  const std::string missing = dir.write("missing.json", node.dump());
  const e2e::RunResult result = e2e::run({"pshost", "--node", missing, "--control", dir.file("c")});
  EXPECT_EQ(2, result.status);
  EXPECT_EQ(
      "pshost: interface 2: no network device \"nosuch0\" here: create it, or name another with "
      "\"netdev\" in the node file\n",
      result.err);

  node["interfaces"][1]["netdev"] = "eth2";
  const std::string good = dir.write("good.json", node.dump());
  ::chmod(dir.path.c_str(), 0755);
  const std::string asNobody = dataplane::shellOutput(
      "setpriv --reuid=65534 --regid=65534 --clear-groups " PS_BINARY_DIR "/pshost --node " + good +
      " --control /tmp/ps_nobody.ctl 2>&1; echo status $?");
  EXPECT_EQ(
      "pshost: the eBPF data plane needs root (CAP_BPF and CAP_NET_ADMIN): run pshost as root "
      "(or run pshost without \"dataplane\" for the simulated driver)\nstatus 2\n",
      asNobody);
  EXPECT_EQ("", ingressFilters());
  EXPECT_FALSE(hasClsact());
}

}  // namespace
