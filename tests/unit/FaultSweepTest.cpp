// Every operation that issues more than one driver command, run once as it
// is and then once for each of those commands with exactly that command
// refused: the result, the log and the memory that each refusal leaves
// behind, and no driver handle left open. A lock that cannot be taken changes
// nothing. Single-command operations get the same checks in DriverCommandsTest.
#include <algorithm>
#include <functional>
#include <map>
#include <sstream>

#include "EntityTest.h"

namespace entitytest {
namespace {

// What an operation leaves when one of its commands is refused: its result,
// whether memory is as before the call, and whether the refused command is
// the last one sent.
struct Outcome {
  unsigned int result;
  bool memoryKept;
  bool stopsThere;
};
const Outcome FAILS = {1, false, true}, FAILS_KEEPING = {1, true, true},
              GOES_ON = {0, false, false};

// The outcome of refusing a command that starts with `prefix`, and the one
// line it logs, if any ("<level>|<text>", "%" for the command's interface).
struct Rule {
  const char* prefix;
  Outcome outcome;
  const char* logged = nullptr;
};

// The result of an operation whose lock cannot be taken, and its log line.
struct LockRefusal {
  unsigned int result;
  const char* logged;
};
const LockRefusal LOCK_FAILS = {1, nullptr};

bool startsWith(const std::string& text, const char* prefix) { return text.rfind(prefix, 0) == 0; }

// The log expected from `logged` for `command` ("<kind> <intf> ...").
Lines expectedLog(const char* logged, const std::string& command) {
  if (logged == nullptr) return {};
  std::string line = logged;
  const size_t at = line.find('%');
  if (at != std::string::npos) {
    const size_t from = command.find(' ') + 1;
    line.replace(at, 1, command.substr(from, command.find(' ', from) - from));
  }
  return {line};
}

class FaultSweepTest : public EntityTest {
 protected:
  // Runs `act` (its result a code, 0 for success) once as it is, once with
  // its lock refused and once per command of the first run with that
  // command refused, each time on a fresh entity with the default settings
  // and `arrange`; `after` checks more after the refusal of command
  // `refused` (from 1).
  void sweep(const std::function<void()>& arrange, const std::function<unsigned int()>& act,
             LockRefusal lockRefusal, const std::vector<Rule>& rules,
             const std::function<void(size_t refused)>& after = nullptr) {
    restart(arrange);
    EXPECT_EQ(0u, act()) << "fault-free run";
    const Lines good = takeSent();
    ASSERT_FALSE(good.empty());
    expectConfiguredApplied();
    const Lines goodCache = cached();
    const std::map<unsigned int, std::string> goodSettings = settingsById();

    restart(arrange);
    std::string before = memory();
    lock().failNextAttempts(1);
    EXPECT_EQ(lockRefusal.result, act()) << "lock refused";
    EXPECT_EQ(Lines{}, takeSent());
    EXPECT_EQ(expectedLog(lockRefusal.logged, ""), takeLogged());
    EXPECT_EQ(before, memory());

    for (size_t refused = 1; refused <= good.size(); ++refused) {
      const std::string& command = good[refused - 1];
      SCOPED_TRACE("refused: " + command);
      const auto rule = std::find_if(rules.begin(), rules.end(),
                                     [&](const Rule& r) { return startsWith(command, r.prefix); });
      ASSERT_NE(rules.end(), rule) << "no rule";
      restart(arrange);
      before = memory();
      driver().refuseCall(static_cast<unsigned int>(refused));
      EXPECT_EQ(rule->outcome.result, act());
      // The same commands up to the refused one; a table walk ends each
      // bucket with a command that is refused anyway.
      Lines expected(good.begin(), good.begin() + refused);
      if (command.find(" refused") == std::string::npos) expected.back() += " refused";
      Lines sent = takeSent();
      if (!rule->outcome.stopsThere && sent.size() > refused) sent.resize(refused);
      EXPECT_EQ(expected, sent);
      if (rule->outcome.memoryKept) {
        EXPECT_EQ(before, memory());
      }
      if (!rule->outcome.stopsThere) expectOnlyItsOwnEffectLost(command, goodCache, goodSettings);
      EXPECT_EQ(expectedLog(rule->logged, command), takeLogged());
      EXPECT_EQ(0u, driver().openHandles());
      expectConfiguredApplied();
      if (after) after(refused);
    }
  }

 private:
  // An operation that goes on after a refusal loses only the refused
  // command's own effect: its cached record stays as it was (unapplied after
  // a refused add, applied after a refused deletion), every other record and
  // every other interface's settings end as in the fault-free run.
  void expectOnlyItsOwnEffectLost(const std::string& command, Lines expectedCache,
                                  const std::map<unsigned int, std::string>& goodSettings) {
    std::istringstream words(command);
    std::string kind, intf, entry;
    words >> kind >> intf >> entry;
    for (std::string& record : expectedCache)
      if ((kind == "add" || kind == "del") && record.find(":" + entry + "=") != std::string::npos)
        record.back() = kind == "add" ? '0' : '1';
    EXPECT_EQ(expectedCache, cached());
    const std::map<unsigned int, std::string> settings = settingsById();
    for (const auto& good : goodSettings) {
      if (std::to_string(good.first) != intf) {
        EXPECT_EQ(good.second, settings.at(good.first)) << good.first;
      }
    }
  }

  std::map<unsigned int, std::string> settingsById() {
    PortSecurity::interfaceSettingsMap_t settings;
    EXPECT_EQ(0u, ps().getInterfaceSettings(settings));
    std::map<unsigned int, std::string> text;
    for (const auto& s : settings) {
      std::ostringstream line;
      line << s.second.state << ' ' << s.second.limitDynamicMACs << ' ' << s.second.limitStaticMACs;
      for (const auto& limit : s.second.vlanLimitDynamicMACs)
        line << ' ' << limit.first << '=' << limit.second;
      text[s.first] = line.str();
    }
    return text;
  }

  void restart(const std::function<void()>& arrange) {
    TearDown();
    SetUp();
    ASSERT_TRUE(ps().applyDefaultSettings());
    if (arrange) arrange();
    takeSent();
    takeLogged();
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
          for (const Lines& held : {staticOn(carrier), driverStaticOn(carrier)})
            EXPECT_NE(held.end(), std::find(held.begin(), held.end(), entry))
                << entry << " on " << carrier;
        }
  }
};

const PortSecurity::macEntry_t E1 = macEntry(VLAN10, 1);
const char* const CLEAR_LOG =
    "0|PortSecurity::clearStaticEntries error at  delStaticEntry intfid: %. Break the loop and "
    "return.";

unsigned int code(bool ok) { return ok ? 0u : 1u; }

TEST_F(FaultSweepTest, ClearStopsAtARefusedDeletionAndKeepsTheEarlierOnes) {
  sweep(
      [&] {
        addStatic(ETH1, VLAN10, {1, 2});
        addStatic(ETH2, VLAN20, {3});
      },
      [&] { return ps().clearStaticEntries(); }, LOCK_FAILS, {{"del", FAILS, CLEAR_LOG}},
      [&](size_t refused) {
        size_t left = 0;
        for (unsigned int id : {ETH1, ETH2, MNG}) left += staticOn(id).size();
        EXPECT_EQ(4 - (refused - 1), left);  // with the management entry
      });
}

// The interface layer makes the GEM interface's list before the driver is
// asked; it stays, empty.
TEST_F(FaultSweepTest, RefusedVirtualPortAddCachesNothing) {
  sweep(
      nullptr, [&] { return ps().addStaticEntryVirtualPort(GPON, E1, 1); }, LOCK_FAILS,
      {{"add", FAILS, "0|addStaticEntryVirtualPort:1011:addStaticEntry failed for intf: %\n"}},
      [&](size_t) {
        EXPECT_EQ(Lines{}, cached());
        EXPECT_EQ(Lines{}, staticOn(GEM1));
      });
}

// A configured record that moves is deleted where it was first; when the
// add then fails the record is lost.
TEST_F(FaultSweepTest, RecordMovedToARefusingCarrierIsLost) {
  sweep([&] { addCached(ETH1, 0, VLAN10, {1}); }, [&] { return ps().addStaticEntryApi(ETH2, E1); },
        LOCK_FAILS,
        {{"del", FAILS_KEEPING,
          "0|addStaticEntryVirtualPort:986:delStaticEntry failed for intf: %\n"},
         {"add", FAILS, "0|addStaticEntryVirtualPort:1011:addStaticEntry failed for intf: %\n"}},
        [&](size_t refused) {
          EXPECT_EQ(refused == 1 ? Lines{"1.0@1:v10/01=1"} : Lines{}, cached());
          EXPECT_EQ(Lines{}, staticOn(ETH2));
        });
}

TEST_F(FaultSweepTest, RefusedVirtualPortDeleteKeepsTheRecord) {
  sweep([&] { addCached(GPON, 1, VLAN10, {1}); },
        [&] { return ps().delStaticEntryVirtualPort(GPON, E1, 1); }, LOCK_FAILS,
        {{"del", FAILS_KEEPING,
          "0|delStaticEntryVirtualPort:1074:delStaticEntry failed for intf: %\n"}});
}

// A refused entry read only ends its bucket.
TEST_F(FaultSweepTest, MoveFailsOnlyOnTheMoveOrTheTableRead) {
  sweep(
      [&] {
        addStatic(ETH2, VLAN10, {1});
        driver().setBucketCount(2);
        for (unsigned char last : {5, 6, 7}) learn(ETH2, macEntry(VLAN20, last));
      },
      [&] { return ps().moveDynamicToStatic(ETH2); }, LOCK_FAILS,
      {{"move", FAILS_KEEPING}, {"table-info", FAILS_KEEPING}, {"entry", GOES_ON}});
}

// Of the operations it calls, only the clearing and the management entry
// log their refusals.
TEST_F(FaultSweepTest, DefaultSettingsFailOnlyOnTheGlobalSwitchAndElseEmptyTheCache) {
  sweep(
      [&] {
        ASSERT_EQ(0u, ps().setLimitDynamicMACs(ETH1, VLAN20, 5u));
        for (unsigned int id : {ETH1, ETH2, ETH3, GEM1}) {
          ASSERT_EQ(0u, ps().setState(id, true));
          ASSERT_EQ(0u, ps().setLimitStaticMACs(id, 9));
        }
        addCached(ETH2, 0, VLAN10, {1});
        addStatic(ETH3, VLAN10, {2});
      },
      [&] { return code(ps().applyDefaultSettings()); }, LOCK_FAILS,
      {{"state", FAILS_KEEPING},
       {"del ", GOES_ON, CLEAR_LOG},
       {"add ", GOES_ON,
        "0|Error in PortSecurity::updateMngStaticEntry: addStaticEntry for vlan 10 failed.\n"},
       {"", GOES_ON}},
      [&](size_t refused) {
        if (refused > 1) {
          EXPECT_EQ(Lines{}, cached());
        }
      });
}

TEST_F(FaultSweepTest, VlanCreatedLogsEachRefusedAddAndGoesOn) {
  sweep(
      [&] {
        addCached(ETH1, 0, MISSING_VLAN, {1});
        addCached(ETH2, 0, MISSING_VLAN, {2});
        addCached(GPON, 1, MISSING_VLAN, {3});
      },
      [&] {
        ps().vlanAddEvent("br0", MISSING_VLAN);
        return 0u;
      },
      {0, "0|vlanAddEvent:1706:lock failed for vid: 30\n"},
      {{"add", GOES_ON, "0|vlanAddEvent:1731:addStaticEntry failed for intf: %\n"}});
}

TEST_F(FaultSweepTest, VlanDeletedLogsRefusedDeletionsAndStopsAtARefusedLimitRemoval) {
  sweep(
      [&] {
        addCached(ETH1, 0, VLAN10, {1});
        addCached(GPON, 1, VLAN10, {2});
        for (unsigned int id : {ETH1, ETH3})
          ASSERT_EQ(0u, ps().setLimitDynamicMACs(id, VLAN10, 4u));
      },
      [&] { return code(ps().vlanDelEvent("br0", VLAN10)); },
      {0, "0|vlanDelEvent:1754:lock failed for vid: 10\n"},
      {{"del-vlan-limit", FAILS},
       {"del", GOES_ON, "0|vlanDelEvent:1780:addStaticEntry failed for intf: %\n"}},
      [&](size_t refused) {
        // The limits of interface 1 and 3 go in this order, after the entries.
        EXPECT_EQ(refused == 3, vlanLimitsOf(ETH1).count(VLAN10) == 1);
        EXPECT_EQ(refused >= 3, vlanLimitsOf(ETH3).count(VLAN10) == 1);
      });
}

// Virtual port 3 has no GEM interface before the bind.
TEST_F(FaultSweepTest, GemBindLogsEachRefusedAddAndGoesOn) {
  sweep(
      [&] {
        addCached(GPON, 3, VLAN10, {1, 2});
      },
      [&] { return code(ps().GPONGemEvent(GEM2, GPON, 3, Interfaces::GPON_GEM_BOUND)); },
      {0, "0|GPONGemEvent:1818:lock failed for intfid: 10\n"},
      {{"add", GOES_ON, "0|GPONGemEvent:1849:addStaticEntry failed for intf: %\n"}});
}

// A rebind withdraws what is applied on the GEM interface, then applies again
// what is unapplied.
TEST_F(FaultSweepTest, GemRebindLogsEachRefusedWithdrawalOrAddAndGoesOn) {
  sweep(
      [&] {
        addCached(GPON, 1, VLAN10, {1, 2});
      },
      [&] { return code(ps().GPONGemEvent(GEM1, GPON, 1, Interfaces::GPON_GEM_REBOUND)); },
      {0, "0|GPONGemEvent:1818:lock failed for intfid: 9\n"},
      {{"del", GOES_ON, "0|GPONGemEvent:1881:delStaticEntry failed for intf: %\n"},
       {"add", GOES_ON, "0|GPONGemEvent:1912:addStaticEntry failed for intf: %\n"}});
}

}  // namespace
}  // namespace entitytest
