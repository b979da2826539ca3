// pshost's start-up checks: a wrong node file or option is named in one line
// and gives exit status 2; the shipped example is the built-in node.
#include <gtest/gtest.h>

#include "E2eSupport.h"

namespace {

const std::string kInterfaces =
    R"("interfaces": [{"id": 1, "name": "mng", "type": 2}, {"id": 2, "name": "eth2", "type": 1},
                      {"id": 4, "name": "pon4", "type": 4}])";
const std::string kManagement =
    R"("management": {"interface": 1, "mac": "02:00:00:00:00:01", "vlan": 10})";

struct BadNode {
  std::string text;
  std::string message;
};

class NodeFileTest : public ::testing::Test {
 protected:
  // Runs pshost on `text`; it must not come up.
  e2e::RunResult start(const std::string& text) {
    std::string node = dir.write("node.json", text);
    return e2e::run({e2e::binary("pshost"), "--node", node, "--control", dir.file("control")});
  }

  e2e::TempDir dir;
};

TEST_F(NodeFileTest, WrongFileIsNamedInOneLineWithStatus2) {
  const std::vector<BadNode> cases = {
      {"{" + kManagement + R"(, "interfaces": [{"id": 1, "name": "mng", "type": 2},
          {"id": 2, "name": "eth2", "type": 1}, {"id": 3, "name": "x", "type": "gpon"}]})",
       "interfaces[2].type: expected an unsigned number"},
      {"{" + kInterfaces + ", " + kManagement + R"(, "vlan": [10]})", "vlan: unknown key"},
      {"{" + kInterfaces + R"(, "management": {"interface": 1, "mac": "02:00:00:00:00:01"}})",
       "management.vlan: missing"},
      {"{" + kInterfaces + ", " + kManagement + R"(, "gem": [{"interface": 2, "vport": 1,
          "gem": 4}]})",
       "gem[0].interface: interface 2 is not a GPON interface (type 4)"},
      {"{" + kInterfaces + ", " + kManagement + R"(, "vlans": [10, 4095]})",
       "vlans[1]: out of range (1 to 4094)"},
      {"{" + kInterfaces + ", " + kManagement + R"(, "profileMode": "yes"})",
       "profileMode: expected true or false"},
      {"{" + kInterfaces + ", " + kManagement + R"(, "driver": {"buckets": 0}})",
       "driver.buckets: out of range (1 to 65536)"},
      {R"({"interfaces": [{"id": 1, "name": "a", "type": 2}, {"id": 1, "name": "b", "type": 1}]})",
       "interfaces[1].id: duplicate id 1"},
      {"[]", "top level: expected an object"},
  };
  for (const BadNode& bad : cases) {
    e2e::RunResult result = start(bad.text);
    EXPECT_EQ(2, result.status) << bad.message;
    EXPECT_EQ("pshost: node file: " + bad.message + "\n", result.err);
  }
}

TEST_F(NodeFileTest, UnreadableFileIsNamed) {
  e2e::RunResult broken = start("{\"interfaces\": [");
  EXPECT_EQ(2, broken.status);
  EXPECT_EQ(0u, broken.err.find("pshost: node file: parse error at line 1")) << broken.err;
  EXPECT_EQ(1, std::count(broken.err.begin(), broken.err.end(), '\n')) << broken.err;

  std::string missing = dir.file("absent.json");
  e2e::RunResult absent = e2e::run({e2e::binary("pshost"), "--node", missing});
  EXPECT_EQ(2, absent.status);
  EXPECT_EQ("pshost: node file: " + missing + ": cannot open (No such file or directory)\n",
            absent.err);
}

TEST_F(NodeFileTest, WrongOptionIsNamedWithStatus2) {
  e2e::RunResult unknown = e2e::run({e2e::binary("pshost"), "--nodes", "x"});
  EXPECT_EQ(2, unknown.status);
  EXPECT_EQ("pshost: unknown option --nodes\n", unknown.err);
  e2e::RunResult module = e2e::run(
      {e2e::binary("pshost"), "--control", dir.file("control"), "--module", dir.file("absent.so")});
  EXPECT_EQ(2, module.status);
  EXPECT_EQ(0u, module.err.find("pshost: module " + dir.file("absent.so"))) << module.err;
}

TEST(ExampleNodeTest, ShippedExampleIsTheBuiltInNode) {
  auto describe = [](const e2e::Pshost& host) {
    return host.sim("interfaces").out + host.sim("vlans").out + host.psctl({"show"}).out +
           host.sim("message portSecurity macEntries").out;
  };
  std::string builtIn, example;
  {
    e2e::Pshost host;
    ASSERT_TRUE(host.ready());
    builtIn = describe(host);
  }
  {
    e2e::Pshost host(e2e::sourcePath("examples/olt.json"));
    ASSERT_TRUE(host.ready());
    example = describe(host);
  }
  EXPECT_NE(std::string::npos, builtIn.find("gpon1"));
  EXPECT_EQ(builtIn, example);
}

}  // namespace
