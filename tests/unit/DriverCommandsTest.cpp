// Every kind of driver command the entity issues, byte for byte, and what
// each operation leaves behind when the driver refuses it (a refused lock,
// handle or interface check: the model test).
#include <functional>

#include "EntityTest.h"

namespace entitytest {
namespace {

const unsigned int LAST_ID = 4294967295u;  // the widest interface field: ten digits

struct CommandCase {
  const char* name;
  unsigned int id;  // 0 when the operation names no interface
  std::function<unsigned int(unsigned int id)> call;
  unsigned int result;  // when everything is accepted
  unsigned long code;
  std::vector<uint8_t> record;  // empty: the command passes `argument` itself
  unsigned long argument;
  bool changesMemory;
};

// `size` bytes: `intf` as text from offset 0, the given bytes, zero elsewhere.
std::vector<uint8_t> bytes(size_t size, const std::string& intf,
                           const std::map<size_t, uint8_t>& set = {}) {
  std::vector<uint8_t> out(size, 0);
  std::copy(intf.begin(), intf.end(), out.begin());
  for (const auto& item : set) out[item.first] = item.second;
  return out;
}

// The static-entry record of 00:11:22:33:44:<last> in VLAN 10.
std::vector<uint8_t> entryBytes(const std::string& intf, uint8_t last) {
  return bytes(28, intf,
               {{18, 0x11}, {19, 0x22}, {20, 0x33}, {21, 0x44}, {22, last}, {24, 10}, {26, 1}});
}

// Leaves a non-zero pattern in the stack below the caller, where the next
// operation's driver records will lie, so that a byte it does not clear shows.
__attribute__((noinline)) void poisonStack() {
  volatile unsigned char area[64 * 1024];
  for (size_t i = 0; i < sizeof area; ++i) area[i] = 0xa5;
}

class DriverCommandsTest : public EntityTest {};

TEST_F(DriverCommandsTest, EachCommandIsSentByteExactAndOnlySuccessChangesMemory) {
  // Settings entries, a per-VLAN limit, a static and a learned entry, so
  // that every case has something to change.
  ASSERT_TRUE(node().addInterface({LAST_ID, Interfaces::IF_TYPE_ETHERNET, "last"}));
  for (unsigned int id : {ETH1, ETH2, ETH3}) ASSERT_EQ(0u, ps().setState(id, false));
  ASSERT_EQ(0u, ps().setLimitDynamicMACs(ETH3, VLAN10, 9u));
  addStatic(ETH2, VLAN10, {1});
  learn(ETH2, macEntry(VLAN20, 5));
  PortSecurity& p = ps();
  PortSecurity::macEntry_t violation;
  PortSecurity::macEntryList_t list;
  PortSecurity::macEntryMap_t map;
  const std::vector<CommandCase> cases = {
      {"global on", 0, [&](unsigned) { return p.setState(true); }, 0, 0x40047a28, {}, 1, true},
      {"global off", 0, [&](unsigned) { return p.setState(false); }, 0, 0x40047a28, {}, 0, true},
      {"interface on", ETH1, [&](unsigned id) { return p.setState(id, true); }, 0, 0x40047a2a,
       bytes(24, "1", {{20, 1}}), 0, true},
      {"ten-digit id", LAST_ID, [&](unsigned id) { return p.setState(id, true); }, 0, 0x40047a2a,
       bytes(24, "4294967295", {{20, 1}}), 0, true},
      // No range check: 0 goes to the driver like any other value.
      {"dynamic limit 0", ETH2, [&](unsigned id) { return p.setLimitDynamicMACs(id, 0u); }, 0,
       0x40047a2c, bytes(32, "2"), 0, true},
      {"static limit", ETH2, [&](unsigned id) { return p.setLimitStaticMACs(id, 7); }, 0,
       0x40047a2c, bytes(32, "2", {{20, 1}, {24, 7}}), 0, true},
      {"vlan limit", ETH3, [&](unsigned id) { return p.setLimitDynamicMACs(id, VLAN20, 64u); }, 0,
       0x40047a2e, bytes(24, "3", {{18, 20}, {20, 64}}), 0, true},
      {"vlan limit removal", ETH3,
       [&](unsigned id) { return p.setLimitDynamicMACs(id, VLAN10, 0u); }, 0, 0x40047a2f,
       bytes(24, "3", {{18, 10}}), 0, true},
      {"static add", ETH2, [&](unsigned id) { return p.addStaticEntry(id, macEntry(VLAN10, 2)); },
       0, 0x40047a07, entryBytes("2", 2), 0, true},
      {"static delete", ETH2,
       [&](unsigned id) { return p.delStaticEntry(id, macEntry(VLAN10, 1)); }, 0, 0x40047a09,
       entryBytes("2", 1), 0, true},
      {"no violation", ETH1, [&](unsigned id) { return p.getLastViolation(id, violation); }, 3,
       0xc0047a31, bytes(26, "1"), 0, false},
      {"table info", ETH1, [&](unsigned id) { return p.getDynamicMACs(id, list); }, 0, 0x80047a02,
       bytes(16, ""), 0, false},
      {"first table entry", 0, [&](unsigned) { return p.getDynamicMACs(map); }, 0, 0xc0047a0c,
       bytes(48, ""), 0, false},
      {"move", ETH2, [&](unsigned id) { return p.moveDynamicToStatic(id); }, 0, 0x40047a0d,
       bytes(152, "2"), 0, true},
  };
  for (const CommandCase& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string before = memory();
    // A refused entry read only ends the table walk; the walk fails on its
    // table read.
    driver().refuseNext(c.code == PSIOC_GET_TABLE_ENTRY ? PSIOC_GET_TABLE_INFO : c.code, 1);
    EXPECT_EQ(1u, c.call(c.id));
    const Lines sent = takeSent();
    ASSERT_EQ(1u, sent.size()) << "nothing after the refused command reaches the driver";
    EXPECT_NE(std::string::npos, sent[0].find(" refused"));
    EXPECT_EQ(before, memory());

    poisonStack();
    EXPECT_EQ(c.result, c.call(c.id));
    const std::vector<sim::DriverCommand> issued = commandsWith(c.code);
    ASSERT_FALSE(issued.empty());
    EXPECT_EQ(c.record, issued[0].bytes);
    if (c.record.empty()) {
      EXPECT_EQ(c.argument, issued[0].argument);
    }
    EXPECT_EQ(c.changesMemory, before != memory());
    driver().clearCommands();
  }
  EXPECT_EQ(Lines{}, takeLogged());
}

}  // namespace
}  // namespace entitytest
