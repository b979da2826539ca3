// Every operation that issues driver commands, run once as it is and then
// once for each of those commands with exactly that command refused: the
// result and the memory that each refusal leaves behind, and no driver
// handle left open. A lock that cannot be taken changes nothing.
#include <algorithm>
#include <functional>

#include "EntityTest.h"

namespace entitytest {
namespace {

const unsigned int NEW_VPORT = 3;

class FaultSweepTest;

// What an operation leaves when its command number `refused` (from 1) of
// the fault-free run `good` is refused.
struct Outcome {
  unsigned int result;
  bool memoryKept;    // memory as before the call
  bool stopsThere;    // the refused command is the last one sent
  Lines logged = {};  // exact log lines, "<level>|<text>"
};

struct Sweep {
  const char* name;
  // What the operation needs beyond the default settings; may be empty.
  std::function<void(FaultSweepTest&)> arrange;
  // The operation; results that are not codes are mapped to 0 for success.
  std::function<unsigned int(FaultSweepTest&)> act;
  unsigned int lockRefused;
  std::function<Outcome(const Lines& good, size_t refused)> onRefusal;
  // Further checks after the refusal of command `refused`.
  std::function<void(FaultSweepTest&, size_t refused)> after = nullptr;
};

void PrintTo(const Sweep& sweep, std::ostream* out) { *out << sweep.name; }

class FaultSweepTest : public EntityTest, public ::testing::WithParamInterface<Sweep> {
 public:
  using EntityTest::cached;
  using EntityTest::node;
  using EntityTest::ps;
  using EntityTest::staticOn;
  using EntityTest::vlanLimitsOf;

  // Default settings, then the sweep's own arrangement.
  void arrange(const Sweep& sweep) {
    ASSERT_TRUE(ps().applyDefaultSettings());
    if (sweep.arrange) sweep.arrange(*this);
  }

  // Every cache record marked configured has its entry in the static
  // entries and in the driver's table on the interface that carries it.
  void expectConfiguredApplied() {
    PortSecurity::macEntriesCache_t cache;
    ASSERT_EQ(0u, ps().getMacEntriesCache(cache));
    for (const auto& perIntf : cache)
      for (const auto& perVPort : perIntf.second)
        for (const auto& e : perVPort.second.entries) {
          if (!e.configured) continue;
          const unsigned int carrier = perVPort.second.intfId;
          const std::string entry = describe(e.vlan, e.mac);
          const Lines remembered = staticOn(carrier);
          EXPECT_NE(remembered.end(), std::find(remembered.begin(), remembered.end(), entry))
              << entry << " on " << carrier;
          EXPECT_TRUE(inDriverTable(carrier, e.vlan, e.mac)) << entry << " on " << carrier;
        }
  }

  // The number of static entries remembered over all interfaces.
  size_t staticCount() {
    PortSecurity::macEntryMap_t all;
    EXPECT_EQ(0u, ps().getStaticMACs(all));
    size_t count = 0;
    for (const auto& item : all) count += item.second ? item.second->size() : 0;
    return count;
  }

  void setUpAgain() {
    TearDown();
    SetUp();
  }

 private:
  static bool inDriverTable(unsigned int id, unsigned short vlan, const unsigned char* mac) {
    for (const auto& chain : driver().table())
      for (const sim::MacTableEntry& entry : chain)
        if (entry.isStatic && entry.port + 1 == id && entry.vlan == vlan &&
            std::equal(entry.mac.begin(), entry.mac.end(), mac))
          return true;
    return false;
  }
};

TEST_P(FaultSweepTest, EachRefusedCommandLeavesWhatTheOperationPromises) {
  const Sweep& sweep = GetParam();
  arrange(sweep);
  takeSent();
  takeLogged();
  EXPECT_EQ(0u, sweep.act(*this)) << "fault-free run";
  const Lines good = takeSent();
  ASSERT_FALSE(good.empty());
  expectConfiguredApplied();

  setUpAgain();
  arrange(sweep);
  takeSent();
  takeLogged();
  std::string before = memory();
  lock().failNextAttempts(1);
  EXPECT_EQ(sweep.lockRefused, sweep.act(*this)) << "lock refused";
  EXPECT_EQ(Lines{}, takeSent());
  EXPECT_EQ(before, memory());
  EXPECT_EQ(0u, driver().openHandles());

  for (size_t refused = 1; refused <= good.size(); ++refused) {
    SCOPED_TRACE("refused: " + good[refused - 1]);
    setUpAgain();
    arrange(sweep);
    takeSent();
    takeLogged();
    before = memory();
    driver().refuseCall(static_cast<unsigned int>(refused));
    const unsigned int result = sweep.act(*this);
    const Outcome promised = sweep.onRefusal(good, refused);
    const Lines sent = takeSent();
    ASSERT_LE(refused, sent.size());
    EXPECT_EQ(Lines(good.begin(), good.begin() + refused - 1),
              Lines(sent.begin(), sent.begin() + refused - 1));
    // A table walk ends each bucket with a command that is refused anyway.
    const std::string& command = good[refused - 1];
    EXPECT_EQ(command.find(" refused") == std::string::npos ? command + " refused" : command,
              sent[refused - 1]);
    EXPECT_EQ(promised.result, result);
    if (promised.stopsThere) {
      EXPECT_EQ(refused, sent.size());
    }
    if (promised.memoryKept) {
      EXPECT_EQ(before, memory());
    }
    EXPECT_EQ(promised.logged, takeLogged());
    EXPECT_EQ(0u, driver().openHandles());
    expectConfiguredApplied();
    if (sweep.after) sweep.after(*this, refused);
  }
}

const PortSecurity::macEntry_t E1 = macEntry(VLAN10, 1), E2 = macEntry(VLAN10, 2),
                               E3 = macEntry(VLAN20, 3);

// Settings for every interface, as the host leaves them, and the
// management entry.
Outcome refusedAndKept(const Lines&, size_t) { return {1, true, true}; }

bool startsWith(const std::string& text, const char* prefix) { return text.rfind(prefix, 0) == 0; }

// "<kind> <intf> ..." -> intf
std::string intfOf(const std::string& command) {
  const size_t from = command.find(' ') + 1;
  return command.substr(from, command.find(' ', from) - from);
}

std::string eventLine(const char* handler, int number, const char* text, const std::string& id) {
  return "0|" + std::string(handler) + ":" + std::to_string(number) + ":" + text + id + "\n";
}

const Sweep kSweeps[] = {
    {"GlobalState", nullptr, [](FaultSweepTest& t) { return t.ps().setState(true); }, 1,
     refusedAndKept},
    {"InterfaceState", nullptr, [](FaultSweepTest& t) { return t.ps().setState(ETH1, true); }, 1,
     refusedAndKept},
    {"DynamicLimit", nullptr,
     [](FaultSweepTest& t) { return t.ps().setLimitDynamicMACs(ETH1, 50u); }, 1, refusedAndKept},
    {"StaticLimit", nullptr, [](FaultSweepTest& t) { return t.ps().setLimitStaticMACs(ETH1, 5); },
     1, refusedAndKept},
    {"VlanLimit", nullptr,
     [](FaultSweepTest& t) { return t.ps().setLimitDynamicMACs(ETH1, VLAN10, 5u); }, 1,
     refusedAndKept},
    {"VlanLimitRemoval",
     [](FaultSweepTest& t) { ASSERT_EQ(0u, t.ps().setLimitDynamicMACs(ETH1, VLAN10, 5u)); },
     [](FaultSweepTest& t) { return t.ps().setLimitDynamicMACs(ETH1, VLAN10, 0u); }, 1,
     refusedAndKept},
    // Interfaces switched before the refusal stay switched.
    {"AllInterfaceStates", nullptr, [](FaultSweepTest& t) { return t.ps().setStateAll(true); }, 1,
     [](const Lines&, size_t) {
       return Outcome{1, false, true};
     },
     [](FaultSweepTest& t, size_t refused) {
       PortSecurity::interfaceSettingsMap_t settings;
       ASSERT_EQ(0u, t.ps().getInterfaceSettings(settings));
       size_t index = 0;
       for (const sim::InterfaceConfig& c : t.node().interfaces())
         EXPECT_EQ(++index < refused, settings[c.id].state) << c.id;
     }},
    // Adding takes the entry away from the other interface first; a refused
    // add leaves it on neither.
    {"StaticAddMovingAnEntry",
     [](FaultSweepTest& t) { ASSERT_EQ(0u, t.ps().addStaticEntry(ETH2, E1)); },
     [](FaultSweepTest& t) { return t.ps().addStaticEntry(ETH1, E1); }, 1,
     [](const Lines&, size_t refused) {
       return Outcome{1, refused == 1, true};
     },
     [](FaultSweepTest& t, size_t refused) {
       EXPECT_EQ(refused == 1 ? Lines{"v10/01"} : Lines{}, t.staticOn(ETH2));
       EXPECT_EQ(Lines{}, t.staticOn(ETH1));
     }},
    {"StaticDelete", [](FaultSweepTest& t) { ASSERT_EQ(0u, t.ps().addStaticEntry(ETH1, E1)); },
     [](FaultSweepTest& t) { return t.ps().delStaticEntry(ETH1, E1); }, 1, refusedAndKept},
    // Deletions done before the refusal stay done.
    {"ClearStaticEntries",
     [](FaultSweepTest& t) {
       for (const auto& e : {E1, E2}) ASSERT_EQ(0u, t.ps().addStaticEntry(ETH1, e));
       ASSERT_EQ(0u, t.ps().addStaticEntry(ETH2, E3));
     },
     [](FaultSweepTest& t) { return t.ps().clearStaticEntries(); }, 1,
     [](const Lines& good, size_t refused) {
       return Outcome{1,
                      false,
                      true,
                      {"0|PortSecurity::clearStaticEntries error at  delStaticEntry intfid: " +
                       intfOf(good[refused - 1]) + ". Break the loop and return."}};
     },
     [](FaultSweepTest& t, size_t refused) {
       EXPECT_EQ(4 - (refused - 1), t.staticCount());  // with the management entry
     }},
    // The interface layer makes the GEM interface's list before the driver
    // is asked; it stays, empty.
    {"VirtualPortAddOnGem", nullptr,
     [](FaultSweepTest& t) { return t.ps().addStaticEntryVirtualPort(GPON, E1, 1); }, 1,
     [](const Lines&, size_t) {
       return Outcome{1,
                      false,
                      true,
                      {"0|addStaticEntryVirtualPort:1011:addStaticEntry failed for intf: 9\n"}};
     },
     [](FaultSweepTest& t, size_t) {
       EXPECT_EQ(Lines{}, t.cached());
       EXPECT_EQ(Lines{}, t.staticOn(GEM1));
     }},
    // A configured record that moves is deleted where it was first; when the
    // add then fails the record is lost.
    {"VirtualPortAddMovingARecord",
     [](FaultSweepTest& t) { ASSERT_EQ(0u, t.ps().addStaticEntryApi(ETH1, E1)); },
     [](FaultSweepTest& t) { return t.ps().addStaticEntryApi(ETH2, E1); }, 1,
     [](const Lines&, size_t refused) {
       return Outcome{
           1,
           refused == 1,
           true,
           {refused == 1 ? "0|addStaticEntryVirtualPort:986:delStaticEntry failed for intf: 1\n"
                         : "0|addStaticEntryVirtualPort:1011:addStaticEntry failed for intf: 2\n"}};
     },
     [](FaultSweepTest& t, size_t refused) {
       EXPECT_EQ(refused == 1 ? Lines{"1.0@1:v10/01=1"} : Lines{}, t.cached());
       EXPECT_EQ(Lines{}, t.staticOn(ETH2));
     }},
    {"VirtualPortDelete",
     [](FaultSweepTest& t) { ASSERT_EQ(0u, t.ps().addStaticEntryVirtualPort(GPON, E1, 1)); },
     [](FaultSweepTest& t) { return t.ps().delStaticEntryVirtualPort(GPON, E1, 1); }, 1,
     [](const Lines&, size_t) {
       return Outcome{1,
                      true,
                      true,
                      {"0|delStaticEntryVirtualPort:1074:delStaticEntry failed for "
                       "intf: 9\n"}};
     }},
    // The move and the table read fail the operation; a refused entry read
    // only ends its bucket.
    {"MoveToStatic",
     [](FaultSweepTest& t) {
       ASSERT_EQ(0u, t.ps().addStaticEntry(ETH2, E1));
       sim::Driver::instance().setBucketCount(2);
       for (unsigned char last : {5, 6, 7})
         sim::Driver::instance().learn(ETH2 - 1, {0x00, 0x11, 0x22, 0x33, 0x44, last}, VLAN20);
     },
     [](FaultSweepTest& t) { return t.ps().moveDynamicToStatic(ETH2); }, 1,
     [](const Lines&, size_t refused) {
       return refused <= 2 ? Outcome{1, true, true} : Outcome{0, false, false};
     }},
    // Only a refused global switch fails; the cache is emptied otherwise.
    {"DefaultSettings",
     [](FaultSweepTest& t) {
       ASSERT_EQ(0u, t.ps().setLimitDynamicMACs(ETH1, VLAN20, 5u));
       ASSERT_EQ(0u, t.ps().addStaticEntryApi(ETH2, E1));
       ASSERT_EQ(0u, t.ps().addStaticEntry(ETH3, E2));
     },
     [](FaultSweepTest& t) { return t.ps().applyDefaultSettings() ? 0u : 1u; }, 1,
     [](const Lines& good, size_t refused) {
       Outcome outcome{refused == 1 ? 1u : 0u, refused == 1, refused == 1};
       // Of the operations it calls, only the clearing and the management
       // entry log their refusals.
       const std::string& command = good[refused - 1];
       if (startsWith(command, "del "))
         outcome.logged = {"0|PortSecurity::clearStaticEntries error at  delStaticEntry intfid: " +
                           intfOf(command) + ". Break the loop and return."};
       if (startsWith(command, "add "))
         outcome.logged = {
             "0|Error in PortSecurity::updateMngStaticEntry: addStaticEntry for vlan "
             "10 failed.\n"};
       return outcome;
     },
     [](FaultSweepTest& t, size_t refused) {
       if (refused > 1) {
         EXPECT_EQ(Lines{}, t.cached());
       }
     }},
    // Each refused add is logged and the walk goes on.
    {"VlanCreated",
     [](FaultSweepTest& t) {
       ASSERT_EQ(0u, t.ps().addStaticEntryApi(ETH1, macEntry(MISSING_VLAN, 1)));
       ASSERT_EQ(0u, t.ps().addStaticEntryApi(ETH2, macEntry(MISSING_VLAN, 2)));
       ASSERT_EQ(0u, t.ps().addStaticEntryVirtualPort(GPON, macEntry(MISSING_VLAN, 3), 1));
     },
     [](FaultSweepTest& t) {
       t.ps().vlanAddEvent("br0", MISSING_VLAN);
       return 0u;
     },
     0,
     [](const Lines& good, size_t refused) {
       return Outcome{0,
                      false,
                      false,
                      {eventLine("vlanAddEvent", 1731,
                                 "addStaticEntry failed for intf: ", intfOf(good[refused - 1]))}};
     }},
    // Refused deletions are logged and the walk goes on; a refused limit
    // removal ends the handler with false.
    {"VlanDeleted",
     [](FaultSweepTest& t) {
       ASSERT_EQ(0u, t.ps().addStaticEntryApi(ETH1, E1));
       ASSERT_EQ(0u, t.ps().addStaticEntryVirtualPort(GPON, E2, 1));
       for (unsigned int id : {ETH1, ETH3})
         ASSERT_EQ(0u, t.ps().setLimitDynamicMACs(id, VLAN10, 4u));
     },
     [](FaultSweepTest& t) { return t.ps().vlanDelEvent("br0", VLAN10) ? 0u : 1u; }, 0,
     [](const Lines& good, size_t refused) {
       const std::string& command = good[refused - 1];
       if (startsWith(command, "del-vlan-limit")) return Outcome{1, false, true};
       return Outcome{
           0,
           false,
           false,
           {eventLine("vlanDelEvent", 1780, "addStaticEntry failed for intf: ", intfOf(command))}};
     },
     [](FaultSweepTest& t, size_t refused) {
       // The limits of interface 1 and 3 go in this order, after the entries.
       EXPECT_EQ(refused == 3, t.vlanLimitsOf(ETH1).count(VLAN10) == 1);
       EXPECT_EQ(refused >= 3, t.vlanLimitsOf(ETH3).count(VLAN10) == 1);
     }},
    // Kind 0 binds a virtual port that had no GEM interface yet.
    {"GemBound",
     [](FaultSweepTest& t) {
       for (const auto& e : {E1, E2})
         ASSERT_EQ(0u, t.ps().addStaticEntryVirtualPort(GPON, e, NEW_VPORT));
     },
     [](FaultSweepTest& t) {
       return t.ps().GPONGemEvent(GEM2, GPON, NEW_VPORT, Interfaces::interfaceGPONEvent_t(0)) ? 0u
                                                                                              : 1u;
     },
     0,
     [](const Lines&, size_t) {
       return Outcome{0,
                      false,
                      false,
                      {eventLine("GPONGemEvent", 1849, "addStaticEntry failed for intf: ", "10")}};
     }},
    // Kind 2 withdraws what is applied on the GEM interface, then applies
    // again what is unapplied.
    {"GemRebound",
     [](FaultSweepTest& t) {
       for (const auto& e : {E1, E2}) ASSERT_EQ(0u, t.ps().addStaticEntryVirtualPort(GPON, e, 1));
     },
     [](FaultSweepTest& t) {
       return t.ps().GPONGemEvent(GEM1, GPON, 1, Interfaces::interfaceGPONEvent_t(2)) ? 0u : 1u;
     },
     0,
     [](const Lines& good, size_t refused) {
       const bool withdrawal = startsWith(good[refused - 1], "del ");
       return Outcome{0,
                      false,
                      false,
                      {eventLine("GPONGemEvent", withdrawal ? 1881 : 1912,
                                 withdrawal ? "delStaticEntry failed for intf: "
                                            : "addStaticEntry failed for intf: ",
                                 "9")}};
     }},
};

INSTANTIATE_TEST_SUITE_P(Operations, FaultSweepTest, ::testing::ValuesIn(kSweeps),
                         [](const ::testing::TestParamInfo<Sweep>& info) {
                           return std::string(info.param.name);
                         });

}  // namespace
}  // namespace entitytest
