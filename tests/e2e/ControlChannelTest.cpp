// The control channel of a running pshost: bad commands are refused with
// "error: ..." and change nothing, and the hooks reach the module the way
// the world around a real host would.
#include <algorithm>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "E2eSupport.h"

namespace {

class ControlChannelTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(host.ready()); }

  e2e::Pshost host{e2e::kTestNode};
};

TEST_F(ControlChannelTest, BadCommandsAreRefusedAndEachLineGetsItsReplyInOrder) {
  // Everything the control channel and the service can show of the world.
  const auto world = [&] {
    std::string text;
    for (const char* command : {"interfaces", "vlans", "driver table", "driver handles",
                                "message portSecurity macEntries"})
      text += host.sim(command).out;
    return text + host.psctl({"show"}).out + host.psctl({"show", "2"}).out;
  };
  const std::string before = world();
  // Wrong forms of the commands, by command.
  const std::vector<std::vector<const char*>> refused = {
      {"frobnicate", "interfaces now", "profile maybe", "log all", "message portSecurity"},
      {"vlan", "vlan add", "vlan add 5000", "vlan add 10", "vlan del 300", "vlan move 300"},
      {"gem 5 2 1 0", "gem 2 4 1 0", "gem 5 4 1 9", "gem 5 4 x 0"},
      {"learn 1 02:00:00:00:00:zz 100", "learn 99 02:00:00:00:00:01 100",
       "learn 1 02:00:00:00:00:01"},
      {"uplink 99 on", "uplink 2 up", "lock fail 0", "lock grab"},
      {"driver", "driver fail 0x12345678", "driver fail 0x40047a07 0", "driver log everything"}};
  for (const auto& command : refused)
    for (const char* bad : command) {
      const e2e::RunResult result = host.sim(bad);
      EXPECT_EQ(1, result.status) << bad;
      EXPECT_EQ("", result.out) << bad;
      EXPECT_EQ(0u, result.err.find("error: ")) << bad << ": " << result.err;
    }
  EXPECT_EQ(before, world());

  EXPECT_EQ(
      "10 100\nok\n"
      "error: unknown command 'bogus'; try help\n"
      "error: empty command; try help\n"
      "ok\n"
      "10 100 300\nok\n",
      host.control("vlans\nbogus\n\nvlan add 300\r\nvlans"));
}

TEST_F(ControlChannelTest, HooksReachTheModuleAsTheWorldAroundAHostWould) {
  ASSERT_EQ(0, host.sim("driver fail 0x40047a2c").status);
  const e2e::RunResult refused = host.psctl({"limit", "2", "dynamic", "5"});
  EXPECT_EQ(1, refused.status);
  EXPECT_EQ("psctl: failed (1)\n", refused.err);
  EXPECT_NE(std::string::npos, host.psctl({"show", "2"}).out.find("dynamic limit  300"));
  EXPECT_EQ(0, host.psctl({"limit", "2", "dynamic", "5"}).status);  // refused once only
  EXPECT_EQ("0", host.sim("driver handles").lines().at(0));

  ASSERT_EQ(0, host.sim("driver log clear").status);
  ASSERT_EQ(0, host.psctl({"state", "on"}).status);
  ASSERT_EQ(0, host.psctl({"state", "2", "on"}).status);
  // The interface field holds the id as text, the state follows at offset 20.
  EXPECT_EQ(
      (std::vector<std::string>{
          "0x40047a28 1", "0x40047a2a 320000000000000000000000000000000000000001000000", "ok"}),
      host.sim("driver log").lines());
  EXPECT_EQ("2 commands, 2 kept, 0 dropped (log capacity 4096)",
            host.sim("driver log count").lines().at(0));

  ASSERT_EQ(0, host.sim("lock fail 1").status);
  EXPECT_EQ("psctl: failed (1)\n", host.psctl({"state", "off"}).err);
  EXPECT_EQ("port security is on\n", host.psctl({"state"}).out);
  EXPECT_EQ(0, host.psctl({"state", "off"}).status);
  EXPECT_EQ("port security is off\n", host.psctl({"state"}).out);

  ASSERT_EQ(0, host.sim("log clear").status);
  // A GPON interface takes static entries on its virtual ports only.
  EXPECT_EQ(1, host.psctl({"static", "add", "4", "02:00:00:00:aa:01", "100", "vport", "0"}).status);
  const std::vector<std::string> log = host.sim("log").lines();
  ASSERT_EQ(2u, log.size());
  EXPECT_EQ("1 ", log[0].substr(0, 2));  // the level, then the message on one line
  EXPECT_EQ("\\n", log[0].substr(log[0].size() - 2));

  ASSERT_EQ(0, host.psctl({"static", "add", "4", "02:00:00:00:bb:01", "100", "vport", "2"}).status);
  EXPECT_NE(std::string::npos,
            host.sim("message portSecurity macEntries").out.find("02:00:00:00:bb:01"));
  EXPECT_EQ("no entries on interface 7\n", host.psctl({"static", "list", "7"}).out);
  ASSERT_EQ(0, host.sim("gem 7 4 2 0").status);
  EXPECT_NE(std::string::npos, host.psctl({"static", "list", "7"}).out.find("02:00:00:00:bb:01"));

  // Far more learned entries than one UDP reply holds come back whole.
  std::string frames;
  const int count = 600;
  for (int i = 0; i < count; ++i) {
    char line[64];
    std::snprintf(line, sizeof line, "learn 2 02:00:00:01:%02x:%02x 100\n", i / 256, i % 256);
    frames += line;
  }
  const std::string replies = host.control(frames);
  ASSERT_EQ(2 * count, std::count(replies.begin(), replies.end(), '\n'));
  const e2e::RunResult learned = host.psctl({"--json", "learned", "2"});
  ASSERT_EQ(0, learned.status) << learned.err;
  EXPECT_EQ(static_cast<size_t>(count), nlohmann::json::parse(learned.out)["entries"].size());
}

}  // namespace
