// psctl against a running pshost, over TCP and over UDP: what an operator
// types, what comes back, and the exit status.
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <regex>
#include <thread>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "E2eSupport.h"

namespace {

using e2e::RunResult;
using nlohmann::json;
typedef std::vector<std::string> Lines;

class PsctlTest : public ::testing::TestWithParam<const char*> {
 protected:
  void SetUp() override { ASSERT_TRUE(host.ready()); }

  // psctl over the transport under test.
  RunResult psctl(std::vector<std::string> args) {
    args.insert(args.begin(), GetParam());
    return host.psctl(args);
  }
  void expectOk(const std::vector<std::string>& args) {
    const RunResult result = psctl(args);
    EXPECT_EQ(0, result.status) << args[0] << ": " << result.err;
  }
  // Exit status 1 and the result code's words on stderr.
  void expectRefused(const std::vector<std::string>& args, const std::string& words) {
    const RunResult result = psctl(args);
    EXPECT_EQ(1, result.status) << args[0];
    EXPECT_EQ("psctl: " + words + "\n", result.err);
  }
  bool shows(const std::vector<std::string>& args, const std::string& line) {
    const Lines lines = psctl(args).lines();
    return std::find(lines.begin(), lines.end(), line) != lines.end();
  }

  e2e::Pshost host{e2e::kTestNode};
};

// Each command once, for its words, its output and its status; what the
// service does with each call: the RPC and model suites.
TEST_P(PsctlTest, OperatorCommandsReachTheServiceAndReportBack) {
  const Lines shown = psctl({"show"}).lines();  // types 3 and 4 are not reported
  ASSERT_EQ(5u, shown.size());
  EXPECT_EQ(0u, shown[4].find("5   gem5 ")) << shown[4];
  const json listed = json::parse(psctl({"--json", "show"}).out)["interfaces"];
  json ids;
  for (const json& interface : listed) ids.push_back(interface["id"]);
  EXPECT_EQ(json::parse("[1, 2, 3, 5]"), ids);
  // A name stands for the id; pon4 and gem7 are not listed, yet named.
  expectOk({"limit", "eth2", "dynamic", "7"});
  expectOk({"limit", "2", "static", "default"});
  expectOk({"vlan-limit", "add", "2", "100", "4"});
  const json eth2 = json::parse(psctl({"--json", "show", "2"}).out);
  EXPECT_EQ("eth2", eth2["name"]);
  EXPECT_EQ(7, eth2["limitDynamic"]);
  EXPECT_EQ(json::parse(R"([{"vlan": 100, "limit": 4}])"), eth2["vlanLimits"]);
  expectOk({"vlan-limit", "del", "2", "100"});
  EXPECT_TRUE(shows({"show", "2"}, "  VLAN limits    none"));
  expectRefused({"vlan-limit", "add", "2", "100", "65"}, "out of range (7)");

  expectOk({"static", "add", "2", "02-00-00-00-AA-02", "100"});
  expectOk({"static", "add", "pon4", "0200.0000.bb01", "100", "vport", "1"});
  EXPECT_EQ((Lines{"MAC                VLAN", "02:00:00:00:aa:02  100"}),
            psctl({"static", "list", "2"}).lines());
  EXPECT_EQ(json::parse(R"([{"mac": "02:00:00:00:bb:01", "vlan": 100}])"),
            json::parse(psctl({"--json", "static", "list", "5"}).out)["entries"]);
  EXPECT_EQ("no entries on interface 7\n", psctl({"static", "list", "gem7"}).out);
  const RunResult unknown = psctl({"violation", "eth9"});
  EXPECT_EQ(2, unknown.status);
  EXPECT_EQ("psctl: no interface named 'eth9' on 127.0.0.1 (psctl show lists the names)\n",
            unknown.err);
  expectOk({"static", "del", "2", "02:00:00:00:aa:02", "100"});
  expectOk({"static", "del", "4", "02:00:00:00:bb:01", "100", "vport", "1"});

  expectOk({"state", "on"});
  expectOk({"state", "2", "on"});
  expectOk({"limit", "2", "dynamic", "1"});
  // Interface 2 is the driver's port 1.
  EXPECT_EQ("learned\nok\n", host.sim("learn 1 02:00:00:00:cc:01 100").out);
  EXPECT_EQ("violation\nok\n", host.sim("learn 1 02:00:00:00:cc:03 100").out);
  EXPECT_EQ("last violation on interface 2: 02:00:00:00:cc:03 in VLAN 100\n",
            psctl({"violation", "2"}).out);
  // The single-interface report matches the driver port with the id as given.
  EXPECT_EQ((Lines{"MAC                VLAN", "02:00:00:00:cc:01  100"}),
            psctl({"learned", "1"}).lines());
  EXPECT_EQ(psctl({"learned", "1"}).out, psctl({"learned", "eth2"}).out);
  expectOk({"move-to-static", "2"});
  EXPECT_EQ("no entries on interface 1\n", psctl({"learned", "1"}).out);
  ASSERT_EQ(0, host.sim("profile on").status);
  expectRefused({"state", "off"}, "refused in profile mode (10)");
  EXPECT_EQ(true, json::parse(psctl({"--json", "state"}).out)["state"]);
}

INSTANTIATE_TEST_SUITE_P(Transports, PsctlTest, ::testing::Values("--tcp", "--udp"),
                         [](const ::testing::TestParamInfo<const char*>& info) {
                           return std::string(info.param + 2);
                         });

// Violations come one learned frame at a time until the monitor, whose first
// reading is its baseline, reports one; the next one must follow it.
TEST(PsctlMonitorTest, PrintsEachNewViolationOnceUntilInterrupted) {
  e2e::Pshost host(e2e::kTestNode);
  ASSERT_TRUE(host.ready());
  for (const Lines& setting :
       {Lines{"state", "on"}, Lines{"state", "2", "on"}, Lines{"limit", "2", "dynamic", "1"}})
    ASSERT_EQ(0, host.psctl(setting).status) << setting[0];
  // Interface 2 is the driver's port 1; cc:00 fills the limit, cc:01 is
  // recorded before the monitors start.
  ASSERT_EQ("learned\nok\n", host.sim("learn 1 02:00:00:00:cc:00 100").out);
  ASSERT_EQ("violation\nok\n", host.sim("learn 1 02:00:00:00:cc:01 100").out);
  e2e::Background every({"psctl", "monitor", "--interval", "0.1"});
  e2e::Background oneObjectALine({"psctl", "--json", "monitor", "3", "eth2", "--interval=0.1"});

  int mac = 2;
  for (; mac < 100 && (every.out().empty() || oneObjectALine.out().empty()); ++mac) {
    host.sim("learn 1 02:00:00:00:cc:" + std::to_string(mac) + " 100");
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  host.sim("learn 1 02:00:00:00:ee:01 100");
  // Each monitor samples on its own clock: both must have printed it.
  for (int wait = 0; wait < 100 && (every.out().find("ee:01") == std::string::npos ||
                                    oneObjectALine.out().find("ee:01") == std::string::npos);
       ++wait)
    std::this_thread::sleep_for(std::chrono::milliseconds(100));

  const RunResult text = every.stop(SIGINT), lines = oneObjectALine.stop(SIGINT);
  EXPECT_EQ(0, text.status) << text.err;
  EXPECT_EQ(0, lines.status) << lines.err;
  std::vector<json> objects;
  for (const std::string& line : lines.lines()) objects.push_back(json::parse(line));
  ASSERT_EQ(2u, objects.size()) << lines.out;
  EXPECT_EQ(2, objects[0]["interface"]);
  EXPECT_EQ("eth2", objects[0]["name"]);
  EXPECT_NE("02:00:00:00:cc:01", objects[0]["mac"]);  // the baseline
  EXPECT_EQ("02:00:00:00:ee:01", objects[1]["mac"]);
  EXPECT_EQ(100, objects[1]["vlan"]);
  EXPECT_TRUE(std::regex_match(objects[1]["time"].get<std::string>(),
                               std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d[+-]\d{4})")));
  const Lines printed = text.lines();
  ASSERT_EQ(2u, printed.size()) << text.out;
  EXPECT_NE(std::string::npos,
            printed[1].find(" violation on interface 2 (eth2): 02:00:00:00:ee:01 in VLAN 100"))
      << printed[1];
}

// Every way of not reaching the service says why and what to do, in one line
// with status 1, on both transports.
TEST(PsctlUnreachableTest, EachCauseIsNamedWithWhatToDo) {
  const std::string kTail =
      "): check that the host is up and that pshost, or the element's host, is not stopped; a "
      "busy one needs a longer --timeout\n";
  const auto expectFailure = [](const Lines& args, const std::string& err,
                                const Lines& wrapper = {}) {
    Lines argv = {"psctl", "--timeout", "1"};
    argv.insert(argv.end(), args.begin(), args.end());
    const RunResult result = e2e::run(argv, wrapper);
    EXPECT_EQ(1, result.status) << args[0];
    EXPECT_EQ(err, result.err);
  };
  {
    e2e::Pshost host(e2e::kTestNode);
    ASSERT_TRUE(host.ready());
    host.signal(SIGSTOP);
    for (const char* transport : {"tcp", "udp"})
      expectFailure(
          {std::string("--") + transport, "ping"},
          std::string("psctl: ping: no answer from 127.0.0.1 within 1 s (") + transport + kTail);
    host.signal(SIGCONT);
    host.stop(SIGKILL);  // its registration stays behind
  }
  const std::string stale =
      " port refuses the connection: pshost, or the element's host, stopped without "
      "unregistering; start it again\n";
  const std::string registered = "the port-security program is registered on 127.0.0.1, but its ";
  expectFailure({"show"}, "psctl: " + registered + "tcp" + stale);
  expectFailure({"--udp", "show"}, "psctl: interface settings: " + registered + "udp" + stale);
  { ASSERT_TRUE(e2e::Pshost().ready()); }  // replaces the registration, and leaves none
  for (const char* transport : {"--tcp", "--udp"})
    expectFailure({transport, "state"},
                  "psctl: the port-security program is not registered with the port mapper on "
                  "127.0.0.1: is pshost, or the element's host, running?\n");

  // A network of its own, where nothing listens.
  const Lines alone = {
      "unshare", "-rn", "sh", "-c", "PATH=$PATH:/usr/sbin:/sbin ip link set lo up && exec \"$@\"",
      "sh"};
  if (e2e::run({"psctl", "--version"}, alone).status != 0)
    GTEST_SKIP() << "no private network namespace here (unshare -rn)";
  for (const char* transport : {"--tcp", "--udp"})
    expectFailure({transport, "ping"},
                  "psctl: no port mapper answers on 127.0.0.1: start rpcbind there (as root: "
                  "rpcbind -w)\n",
                  alone);
}

TEST(PsctlUsageTest, WrongCommandLinesExitWithUsageStatus) {
  // No host is needed: these never reach the service.
  for (const Lines& args : std::vector<Lines>{{"frobnicate"},
                                              {"static", "add", "2", "02:00:00:00:00:0g", "100"},
                                              {"static", "add", "2", "02:00:00:00:00:01", "5000"},
                                              {"limit", "2", "dynamic", "-1"},
                                              {"state", "2", "maybe"},
                                              {"--timeout", "0", "ping"},
                                              {"monitor", "2", "--interval", "0"},
                                              {"monitor", "--follow"},
                                              {"--bogus", "ping"},
                                              {}}) {
    Lines argv = {"psctl"};
    argv.insert(argv.end(), args.begin(), args.end());
    const RunResult result = e2e::run(argv);
    EXPECT_EQ(2, result.status) << result.err;
    EXPECT_EQ(0u, result.err.find("psctl: ")) << result.err;
  }
}

}  // namespace
