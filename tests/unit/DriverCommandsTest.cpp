// Every kind of driver command the entity issues, byte for byte, and what
// each operation leaves behind when the driver, the lock, the handle or the
// interface check fails.
#include <functional>

#include "EntityTest.h"

namespace entitytest {
namespace {

const unsigned int LAST_ID = 4294967295u;  // the widest interface field: ten digits

struct CommandCase {
  const char* name;
  unsigned int id;  // 0 when the operation names no interface
  std::function<unsigned int(PortSecurity&, unsigned int)> call;
  unsigned int result;  // when everything is accepted
  unsigned long code;
  std::vector<uint8_t> record;  // empty: the command passes `argument` itself
  unsigned long argument;
  bool changesMemory;
};

template <class Record, class Fill>
std::vector<uint8_t> record(unsigned int id, Fill fill) {
  Record r = recordFor<Record>(id);
  fill(r);
  return bytesOf(r);
}

std::vector<uint8_t> macRecord(unsigned int id, unsigned char last) {
  return record<psMacArg_t>(id, [last](psMacArg_t& r) {
    const PortSecurity::macEntry_t entry = macEntry(VLAN10, last);
    std::memcpy(r.mac, entry.mac, sizeof r.mac);
    r.vlan = VLAN10;
    r.isStatic = 1;
  });
}

std::vector<CommandCase> cases() {
  typedef PortSecurity P;
  const auto none = [](auto&) {};
  return {
      {"global on",
       0,
       [](P& ps, unsigned) { return ps.setState(true); },
       0,
       0x40047a28,
       {},
       1,
       true},
      {"global off",
       0,
       [](P& ps, unsigned) { return ps.setState(false); },
       0,
       0x40047a28,
       {},
       0,
       true},
      {"interface on", ETH1, [](P& ps, unsigned id) { return ps.setState(id, true); }, 0,
       0x40047a2a, record<psIntfStateArg_t>(ETH1, [](auto& r) { r.state = 1; }), 0, true},
      {"ten-digit id", LAST_ID, [](P& ps, unsigned id) { return ps.setState(id, true); }, 0,
       0x40047a2a, record<psIntfStateArg_t>(LAST_ID, [](auto& r) { r.state = 1; }), 0, true},
      // No range check: 0 goes to the driver like any other value.
      {"dynamic limit 0", ETH2, [](P& ps, unsigned id) { return ps.setLimitDynamicMACs(id, 0u); },
       0, 0x40047a2c, record<psIntfLimitArg_t>(ETH2, none), 0, true},
      {"static limit", ETH2, [](P& ps, unsigned id) { return ps.setLimitStaticMACs(id, 7); }, 0,
       0x40047a2c, record<psIntfLimitArg_t>(ETH2, [](auto& r) { r.kind = 1, r.limit = 7; }), 0,
       true},
      {"vlan limit", ETH3,
       [](P& ps, unsigned id) { return ps.setLimitDynamicMACs(id, VLAN20, 64u); }, 0, 0x40047a2e,
       record<psVlanLimitArg_t>(ETH3, [](auto& r) { r.vlan = VLAN20, r.limit = 64; }), 0, true},
      {"vlan limit removal", ETH3,
       [](P& ps, unsigned id) { return ps.setLimitDynamicMACs(id, VLAN10, 0u); }, 0, 0x40047a2f,
       record<psVlanLimitArg_t>(ETH3, [](auto& r) { r.vlan = VLAN10; }), 0, true},
      {"static add", ETH2,
       [](P& ps, unsigned id) { return ps.addStaticEntry(id, macEntry(VLAN10, 2)); }, 0, 0x40047a07,
       macRecord(ETH2, 2), 0, true},
      {"static delete", ETH2,
       [](P& ps, unsigned id) { return ps.delStaticEntry(id, macEntry(VLAN10, 1)); }, 0, 0x40047a09,
       macRecord(ETH2, 1), 0, true},
      {"no violation", ETH1,
       [](P& ps, unsigned id) {
         P::macEntry_t out;
         return ps.getLastViolation(id, out);
       },
       3, 0xc0047a31, record<psViolationArg_t>(ETH1, none), 0, false},
      {"table info", ETH1,
       [](P& ps, unsigned id) {
         P::macEntryList_t out;
         return ps.getDynamicMACs(id, out);
       },
       0, 0x80047a02, bytesOf(psTableInfoArg_t{}), 0, false},
      {"first table entry", 0,
       [](P& ps, unsigned) {
         P::macEntryMap_t out;
         return ps.getDynamicMACs(out);
       },
       0, 0xc0047a0c, bytesOf(psTableEntryArg_t{}), 0, false},
      {"move", ETH2, [](P& ps, unsigned id) { return ps.moveDynamicToStatic(id); }, 0, 0x40047a0d,
       record<psMoveArg_t>(ETH2, none), 0, true},
  };
}

// Everything the entity's getters tell about its memory.
std::string memoryOf(PortSecurity& ps) {
  std::ostringstream text;
  bool global = false;
  ps.getState(global);
  text << global;
  PortSecurity::interfaceSettingsMap_t settings;
  ps.getInterfaceSettings(settings);
  for (const auto& item : settings) {
    text << " | " << item.first << ' ' << item.second.state << ' ' << item.second.limitDynamicMACs
         << ' ' << item.second.limitStaticMACs;
    for (const auto& limit : item.second.vlanLimitDynamicMACs)
      text << ' ' << limit.first << '=' << limit.second;
  }
  PortSecurity::macEntryMap_t entries;
  ps.getStaticMACs(entries);
  for (const auto& item : entries)
    for (const PortSecurity::macEntry_t& e : *item.second)
      text << " | " << item.first << ' ' << describe(e.vlan, e.mac);
  return text.str();
}

class DriverCommandsTest : public EntityTest {
 protected:
  // Settings entries, a per-VLAN limit, a static and a learned entry, so
  // that every case has something to change.
  void SetUp() override {
    EntityTest::SetUp();
    addInterface(LAST_ID, Interfaces::IF_TYPE_ETHERNET, "last");
    for (unsigned int id : {ETH1, ETH2, ETH3}) ASSERT_EQ(0u, ps().setState(id, false));
    ASSERT_EQ(0u, ps().setLimitDynamicMACs(ETH3, VLAN10, 9u));
    ASSERT_EQ(0u, ps().addStaticEntry(ETH2, macEntry(VLAN10, 1)));
    learn(ETH2, macEntry(VLAN20, 5));
    driver().clearCommands();
  }
};

TEST_F(DriverCommandsTest, EachCommandIsSentByteExactAndOnlySuccessChangesMemory) {
  for (const CommandCase& c : cases()) {
    SCOPED_TRACE(c.name);
    const std::string before = memoryOf(ps());
    // A refused entry read only ends the table walk; the walk fails on its
    // table read.
    driver().refuseNext(c.code == PSIOC_GET_TABLE_ENTRY ? PSIOC_GET_TABLE_INFO : c.code, 1);
    EXPECT_EQ(1u, c.call(ps(), c.id));
    lock().failNextAttempts(1);
    EXPECT_EQ(1u, c.call(ps(), c.id));
    driver().failNextOpens(1);
    EXPECT_EQ(1u, c.call(ps(), c.id));
    if (c.id != 0) {
      EXPECT_EQ(1u, c.call(ps(), UNKNOWN_ID));
    }
    const Lines sent = takeSent();
    ASSERT_EQ(1u, sent.size()) << "only the refused command reaches the driver";
    EXPECT_NE(std::string::npos, sent[0].find(" refused"));
    EXPECT_EQ(before, memoryOf(ps()));

    EXPECT_EQ(c.result, c.call(ps(), c.id));
    const std::vector<sim::DriverCommand> issued = commandsWith(c.code);
    ASSERT_FALSE(issued.empty());
    EXPECT_EQ(c.record, issued[0].bytes);
    if (c.record.empty()) {
      EXPECT_EQ(c.argument, issued[0].argument);
    }
    EXPECT_EQ(c.changesMemory, before != memoryOf(ps()));
    driver().clearCommands();
  }
  EXPECT_TRUE(logIsEmpty());
}

}  // namespace
}  // namespace entitytest
