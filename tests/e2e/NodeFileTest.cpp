// pshost's start-up checks: a wrong node file or option is named in one line
// and gives exit status 2; the shipped example is the built-in node.
#include <algorithm>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "E2eSupport.h"

namespace {

const std::string kInterfaces =
    R"("interfaces": [{"id": 1, "name": "mng", "type": 2}, {"id": 2, "name": "eth2", "type": 1},
                      {"id": 4, "name": "pon4", "type": 4}])";
const std::string kManagement =
    R"("management": {"interface": 1, "mac": "02:00:00:00:00:01", "vlan": 10})";
const std::string kGood = "{" + kInterfaces + ", " + kManagement;

// A node with Ethernet interfaces 2 and 3 of these names.
std::string namingNode(const std::string& name2, const std::string& name3) {
  const std::string intf = R"({"type": 1, "id": )";
  return "{" + kManagement + R"(, "interfaces": [{"id": 1, "name": "mng", "type": 2}, )" + intf +
         R"(2, "name": ")" + name2 + R"("}, )" + intf + R"(3, "name": ")" + name3 + R"("}]})";
}

TEST(NodeFileTest, WrongStartupInputIsNamedInOneLineWithStatus2) {
  e2e::TempDir dir;
  const std::string ctl = dir.file("control");
  // The message in full when it ends the line, otherwise its start.
  const std::vector<std::pair<std::string, std::string>> badNodes = {
      {"{" + kManagement + R"(, "interfaces": [{"id": 1, "name": "mng", "type": 2},
          {"id": 2, "name": "eth2", "type": 1}, {"id": 3, "name": "x", "type": "gpon"}]})",
       "interfaces[2].type: expected an unsigned number\n"},
      {kGood + R"(, "vlan": [10]})", "vlan: unknown key\n"},
      {"{" + kInterfaces + R"(, "management": {"interface": 1, "mac": "02:00:00:00:00:01"}})",
       "management.vlan: missing\n"},
      {kGood + R"(, "gem": [{"interface": 2, "vport": 1, "gem": 4}]})",
       "gem[0].interface: interface 2 is not a GPON interface (type 4)\n"},
      {kGood + R"(, "vlans": [10, 4095]})", "vlans[1]: out of range (1 to 4094)\n"},
      {kGood + R"(, "profileMode": "yes"})", "profileMode: expected true or false\n"},
      {kGood + R"(, "driver": {"buckets": 0}})", "driver.buckets: out of range (1 to 65536)\n"},
      {kGood + R"(, "driver": {"dataplane": "xdp"}})",
       "driver.dataplane: expected \"ebpf\" or \"simulated\"\n"},
      {"{" + kManagement + R"(, "interfaces": [{"id": 1, "name": "mng", "type": 2, "pvid": 0}]})",
       "interfaces[0].pvid: out of range (1 to 4094)\n"},
      {R"({"interfaces": [{"id": 1, "name": "a", "type": 2}, {"id": 1, "name": "b", "type": 1}]})",
       "interfaces[1].id: duplicate id 1\n"},
      {namingNode("eth2", std::string(64, 'e')),
       "interfaces[2].name: '" + std::string(64, 'e') + "' is longer than 63 characters\n"},
      {"[]", "top level: expected an object\n"},
      {R"({"interfaces": [)", "parse error at line 1"},
      {kGood + R"(, "vlans": [2e+2222]})", "number overflow parsing '2e+2222'\n"},
      {kGood + R"(, "vl\ns": [10]})", "vl\\x0as: unknown key\n"}};
  const std::string absent = dir.file("absent");
  std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"pshost", "--node", absent},
       "pshost: node file: " + absent + ": cannot open (No such file or directory)\n"},
      {{"pshost", "--nodes", "x"}, "pshost: unknown option --nodes\n"},
      {{"pshost", "--control", ctl, "--module", absent}, "pshost: module " + absent}};
  for (size_t i = 0; i < badNodes.size(); ++i)
    cases.push_back(
        {{"pshost", "--node", dir.write(std::to_string(i), badNodes[i].first), "--control", ctl},
         "pshost: node file: " + badNodes[i].second});
  for (const auto& [argv, want] : cases) {
    const e2e::RunResult result = e2e::run(argv);
    EXPECT_EQ(2, result.status) << want;
    if (want.back() == '\n') {
      EXPECT_EQ(want, result.err);
    } else {
      EXPECT_EQ(0u, result.err.find(want)) << result.err;
      EXPECT_EQ(1, std::count(result.err.begin(), result.err.end(), '\n')) << result.err;
    }
  }
}

// A host may name its interfaces longer than the 15 characters the protocol
// carries: the host's own tables keep the whole name, the reports cut it, and
// psctl refuses a name that two cut names share.
TEST(NodeFileTest, LongInterfaceNamesAreKeptByTheHostAndCutOnTheWire) {
  const std::string name21 = "ethernet-port-0000021",
                    name63 = "ethernet-port-0" + std::string(48, 'n');
  e2e::Pshost host(namingNode(name21, name63));
  ASSERT_TRUE(host.ready());
  const std::string table = host.sim("interfaces").out;
  EXPECT_NE(std::string::npos, table.find("\n2   " + name21 + " ")) << table;
  EXPECT_NE(std::string::npos, table.find(name63)) << table;

  const e2e::RunResult one = host.psctl({"show", "2"});
  EXPECT_EQ(0, one.status) << one.err;
  EXPECT_EQ("interface 2: ethernet-port-0", one.lines().at(0));
  const auto all = nlohmann::json::parse(host.psctl({"--json", "show"}).out)["interfaces"];
  ASSERT_EQ(3u, all.size());
  EXPECT_EQ("ethernet-port-0", all[1]["name"]);
  EXPECT_EQ("ethernet-port-0", all[2]["name"]);
  EXPECT_EQ(3, all[2]["id"]);
  const e2e::RunResult udp = host.psctl({"--udp", "show"});
  EXPECT_NE(std::string::npos, udp.out.find("\n3   ethernet-port-0  ethernet")) << udp.out;
  const e2e::RunResult named = host.psctl({"show", "ethernet-port-0"});
  EXPECT_EQ(2, named.status);
  EXPECT_EQ(
      "psctl: more than one interface is named 'ethernet-port-0' on 127.0.0.1 (ids 2, 3): give "
      "the id\n",
      named.err);
}

TEST(ExampleNodeTest, ShippedExampleIsTheBuiltInNode) {
  std::string shown[2];
  const std::string nodes[2] = {"", e2e::readFile(PS_SOURCE_DIR "/examples/olt.json")};
  for (int i = 0; i < 2; ++i) {
    e2e::Pshost host(nodes[i]);
    ASSERT_TRUE(host.ready());
    shown[i] = host.sim("interfaces").out + host.sim("vlans").out + host.psctl({"show"}).out +
               host.sim("message portSecurity macEntries").out;
  }
  EXPECT_NE(std::string::npos, shown[0].find("gpon1"));
  EXPECT_EQ(shown[0], shown[1]);
}

}  // namespace
