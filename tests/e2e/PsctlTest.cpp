// psctl against a running pshost, over TCP and over UDP: what an operator
// types, what comes back, and the exit status.
#include <algorithm>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "E2eSupport.h"

namespace {

using e2e::RunResult;

class PsctlTest : public ::testing::TestWithParam<const char*> {
 protected:
  PsctlTest() : node(dir.write("node.json", e2e::kTestNode)), host(node) {}

  void SetUp() override { ASSERT_TRUE(host.ready()); }

  // psctl over the transport under test.
  RunResult psctl(std::vector<std::string> args) {
    args.insert(args.begin(), GetParam());
    return host.psctl(args);
  }

  void expectOk(const std::vector<std::string>& args) {
    RunResult result = psctl(args);
    EXPECT_EQ(0, result.status) << result.err;
  }

  // Exit status 1 and the result code's words on stderr.
  void expectRefused(const std::vector<std::string>& args, const std::string& words) {
    RunResult result = psctl(args);
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("psctl: " + words + "\n", result.err);
  }

  static bool contains(const RunResult& result, const std::string& line) {
    std::vector<std::string> lines = result.lines();
    return std::find(lines.begin(), lines.end(), line) != lines.end();
  }

  e2e::TempDir dir;
  std::string node;
  e2e::Pshost host;
};

TEST_P(PsctlTest, ShowListsReportedInterfacesOnly) {
  RunResult result = psctl({"show"});
  ASSERT_EQ(0, result.status) << result.err;
  std::vector<std::string> lines = result.lines();
  ASSERT_EQ(5u, lines.size()) << result.out;
  EXPECT_EQ(0u, lines[1].find("mng ")) << result.out;
  EXPECT_EQ(0u, lines[4].find("gem5 ")) << result.out;
  EXPECT_EQ(std::string::npos, result.out.find("pon4"));
  EXPECT_EQ(std::string::npos, result.out.find("cpu6"));
}

TEST_P(PsctlTest, LimitsAreSetAndReadBack) {
  expectOk({"limit", "2", "dynamic", "7"});
  expectOk({"limit", "2", "static", "5"});
  expectOk({"vlan-limit", "add", "2", "100", "4"});
  RunResult result = psctl({"--json", "show", "2"});
  ASSERT_EQ(0, result.status) << result.err;
  nlohmann::json shown = nlohmann::json::parse(result.out);
  EXPECT_EQ("eth2", shown["name"]);
  EXPECT_EQ(7, shown["limitDynamic"]);
  EXPECT_EQ(5, shown["limitStatic"]);
  EXPECT_EQ(nlohmann::json::parse(R"([{"vlan": 100, "limit": 4}])"), shown["vlanLimits"]);

  expectOk({"limit", "2", "dynamic", "default"});
  expectOk({"vlan-limit", "del", "2", "100"});
  result = psctl({"show", "2"});
  EXPECT_TRUE(contains(result, "  dynamic limit  300")) << result.out;
  EXPECT_TRUE(contains(result, "  VLAN limits    none")) << result.out;
}

TEST_P(PsctlTest, RefusalsAreNamedWithTheirCode) {
  expectRefused({"vlan-limit", "add", "2", "100", "65"}, "out of range (7)");
  expectRefused({"violation", "2"}, "not found (3)");
  expectRefused({"show", "99"}, "failed (1)");
  expectRefused({"limit", "99", "dynamic", "5"}, "failed (1)");
}

TEST_P(PsctlTest, StaticEntriesAreAddedListedAndRemoved) {
  expectOk({"limit", "2", "static", "2"});
  expectOk({"static", "add", "2", "02:00:00:00:aa:01", "100"});
  expectOk({"static", "add", "2", "02-00-00-00-AA-02", "100"});
  expectRefused({"static", "add", "2", "0200.0000.aa03", "100"}, "static limit reached (2)");
  RunResult listed = psctl({"static", "list", "2"});
  EXPECT_EQ((std::vector<std::string>{"MAC                VLAN", "02:00:00:00:aa:01  100",
                                      "02:00:00:00:aa:02  100"}),
            listed.lines());

  expectOk({"static", "del", "2", "02:00:00:00:aa:01", "100"});
  listed = psctl({"--json", "static", "list", "2"});
  EXPECT_EQ(nlohmann::json::parse(R"([{"mac": "02:00:00:00:aa:02", "vlan": 100}])"),
            nlohmann::json::parse(listed.out)["entries"]);
}

TEST_P(PsctlTest, VirtualPortEntryIsAppliedWhenItsVlanAppears) {
  expectOk({"static", "add", "4", "02:00:00:00:bb:01", "300", "vport", "1"});
  EXPECT_EQ("no entries on interface 5\n", psctl({"static", "list", "5"}).out);

  ASSERT_EQ(0, host.sim("vlan add 300").status);
  EXPECT_TRUE(contains(psctl({"static", "list", "5"}), "02:00:00:00:bb:01  300"));

  expectOk({"static", "del", "4", "02:00:00:00:bb:01", "300", "vport", "1"});
  EXPECT_EQ("no entries on interface 5\n", psctl({"static", "list", "5"}).out);
}

TEST_P(PsctlTest, LearningPastTheLimitRecordsAViolationAndMoveMakesEntriesStatic) {
  expectOk({"state", "on"});
  expectOk({"state", "2", "on"});
  expectOk({"limit", "2", "dynamic", "2"});
  // Interface 2 is the driver's port 1.
  EXPECT_EQ("learned\nok\n", host.sim("learn 1 02:00:00:00:cc:01 100").out);
  EXPECT_EQ("learned\nok\n", host.sim("learn 1 02:00:00:00:cc:02 100").out);
  EXPECT_EQ("violation\nok\n", host.sim("learn 1 02:00:00:00:cc:03 100").out);

  RunResult violation = psctl({"violation", "2"});
  EXPECT_EQ("last violation on interface 2: 02:00:00:00:cc:03 in VLAN 100\n", violation.out);
  // The single-interface learned report matches the driver port with the id
  // as given.
  EXPECT_EQ(3u, psctl({"learned", "1"}).lines().size());

  expectOk({"move-to-static", "2"});
  EXPECT_EQ((std::vector<std::string>{"MAC                VLAN", "02:00:00:00:cc:01  100",
                                      "02:00:00:00:cc:02  100"}),
            psctl({"static", "list", "2"}).lines());
  EXPECT_EQ("no entries on interface 1\n", psctl({"learned", "1"}).out);
}

TEST_P(PsctlTest, ProfileModeRefusesStateChangesExceptOnUplinks) {
  ASSERT_EQ(0, host.sim("profile on").status);
  expectRefused({"state", "on"}, "refused in profile mode (10)");
  expectRefused({"state", "2", "on"}, "refused in profile mode (10)");
  expectOk({"state", "3", "on"});
  RunResult state = psctl({"--json", "state"});
  EXPECT_EQ(false, nlohmann::json::parse(state.out)["state"]);
}

INSTANTIATE_TEST_SUITE_P(Transports, PsctlTest, ::testing::Values("--tcp", "--udp"),
                         [](const ::testing::TestParamInfo<const char*>& info) {
                           return std::string(info.param + 2);
                         });

TEST(PsctlLargeListTest, LongLearnedListComesBackOverTheDefaultTransport) {
  e2e::TempDir dir;
  e2e::Pshost host(dir.write("node.json", e2e::kTestNode));
  ASSERT_TRUE(host.ready());
  // Far more than one UDP reply holds.
  std::string frames;
  const int count = 600;
  for (int i = 0; i < count; ++i) {
    char line[64];
    std::snprintf(line, sizeof line, "learn 2 02:00:00:01:%02x:%02x 100\n", i / 256, i % 256);
    frames += line;
  }
  std::string replies = host.control(frames, count);
  ASSERT_EQ(static_cast<size_t>(count), std::count(replies.begin(), replies.end(), '\n') / 2);

  RunResult learned = host.psctl({"--json", "learned", "2"});
  ASSERT_EQ(0, learned.status) << learned.err;
  EXPECT_EQ(static_cast<size_t>(count), nlohmann::json::parse(learned.out)["entries"].size());
}

TEST(PsctlUsageTest, WrongCommandLinesExitWithUsageStatus) {
  // No host is needed: these never reach the service.
  for (const std::vector<std::string>& args :
       std::vector<std::vector<std::string>>{{"frobnicate"},
                                             {"static", "add", "2", "02:00:00:00:00:0g", "100"},
                                             {"static", "add", "2", "02:00:00:00:00:01", "5000"},
                                             {"limit", "2", "dynamic", "-1"},
                                             {"state", "2", "maybe"},
                                             {"--timeout", "0", "ping"},
                                             {"--bogus", "ping"},
                                             {}}) {
    std::vector<std::string> argv = {e2e::binary("psctl")};
    argv.insert(argv.end(), args.begin(), args.end());
    e2e::RunResult result = e2e::run(argv);
    EXPECT_EQ(2, result.status) << result.err;
    EXPECT_EQ(0u, result.err.find("psctl: ")) << result.err;
  }
}

}  // namespace
