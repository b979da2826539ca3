// Port-security state and limits: what the driver receives, what is
// remembered, and every result code, through the entity's public operations.
#include <functional>
#include <sstream>

#include "EntityFixture.h"

namespace entitytest {
namespace {

using namespace psdriver;

// Everything the getters can tell about the remembered settings.
std::string memoryOf(PortSecurity& ps) {
  std::ostringstream text;
  bool global = true;
  text << "global " << ps.getState(global) << global;
  PortSecurity::interfaceSettingsMap_t settings;
  ps.getInterfaceSettings(settings);
  for (const auto& item : settings) {
    bool state = false;
    text << " | " << item.first << (ps.getState(item.first, state) == 0 ? " kept " : " none ")
         << item.second.state << ' ' << item.second.limitDynamicMACs << ' '
         << item.second.limitStaticMACs;
    for (const auto& limit : item.second.vlanLimitDynamicMACs)
      text << ' ' << limit.first << '=' << limit.second;
  }
  return text.str();
}

struct SetterCase {
  const char* name;
  std::function<unsigned int(PortSecurity&)> call;
  unsigned long code;
  std::vector<uint8_t> bytes;  // empty for the command that passes a value
  unsigned long value;
};

std::vector<SetterCase> setterCases() {
  psIntfStateArg_t intfState = recordFor<psIntfStateArg_t>(ETH1);
  intfState.state = 1;
  psIntfLimitArg_t dynamicLimit = recordFor<psIntfLimitArg_t>(ETH2);
  dynamicLimit.kind = 0;
  dynamicLimit.limit = 0;
  psIntfLimitArg_t staticLimit = recordFor<psIntfLimitArg_t>(ETH2);
  staticLimit.kind = 1;
  staticLimit.limit = 7;
  psVlanLimitArg_t vlanLimit = recordFor<psVlanLimitArg_t>(ETH3);
  vlanLimit.vlan = VLAN20;
  vlanLimit.limit = 64;
  psVlanLimitArg_t vlanRemoval = recordFor<psVlanLimitArg_t>(ETH3);
  vlanRemoval.vlan = VLAN10;
  return {
      {"global on", [](PortSecurity& ps) { return ps.setState(true); }, 0x40047a28, {}, 1},
      {"global off", [](PortSecurity& ps) { return ps.setState(false); }, 0x40047a28, {}, 0},
      {"interface on", [](PortSecurity& ps) { return ps.setState(ETH1, true); }, 0x40047a2a,
       bytesOf(intfState), 0},
      {"dynamic limit 0", [](PortSecurity& ps) { return ps.setLimitDynamicMACs(ETH2, 0u); },
       0x40047a2c, bytesOf(dynamicLimit), 0},
      {"static limit", [](PortSecurity& ps) { return ps.setLimitStaticMACs(ETH2, 7); }, 0x40047a2c,
       bytesOf(staticLimit), 0},
      {"vlan limit", [](PortSecurity& ps) { return ps.setLimitDynamicMACs(ETH3, VLAN20, 64u); },
       0x40047a2e, bytesOf(vlanLimit), 0},
      {"vlan limit removal",
       [](PortSecurity& ps) { return ps.setLimitDynamicMACs(ETH3, VLAN10, 0u); }, 0x40047a2f,
       bytesOf(vlanRemoval), 0},
  };
}

class StateLimitsTest : public EntityTest {
 protected:
  // Settings entries for the interfaces the cases use, with one per-VLAN
  // limit, so that every case has something to change.
  void SetUp() override {
    EntityTest::SetUp();
    for (unsigned int id : {ETH1, ETH2, ETH3}) ASSERT_EQ(0u, ps().setState(id, false));
    ASSERT_EQ(0u, ps().setLimitDynamicMACs(ETH3, VLAN10, 9u));
    driver().clearCommands();
  }
};

class LimitsTest : public EntityTest {};

TEST_F(StateLimitsTest, DriverReceivesExactRecordsAndMemoryFollows) {
  for (const SetterCase& c : setterCases()) {
    SCOPED_TRACE(c.name);
    driver().clearCommands();
    const std::string before = memoryOf(ps());
    EXPECT_EQ(0u, c.call(ps()));
    const std::vector<sim::DriverCommand> sent = commands();
    ASSERT_EQ(1u, sent.size());
    EXPECT_EQ(c.code, sent[0].code);
    if (c.bytes.empty())
      EXPECT_EQ(c.value, sent[0].argument);
    else
      EXPECT_EQ(c.bytes, sent[0].bytes);
    EXPECT_NE(before, memoryOf(ps()));
  }
  bool state = false;
  unsigned int limit = 0;
  EXPECT_EQ(0u, ps().getState(state));
  EXPECT_FALSE(state);
  EXPECT_EQ(0u, ps().getState(ETH1, state));
  EXPECT_TRUE(state);
  EXPECT_EQ(0u, ps().getLimitStaticMACs(ETH2, limit));
  EXPECT_EQ(7u, limit);
  PortSecurity::interfaceInfo_t info;
  ASSERT_EQ(0u, ps().getInterfaceInfo(ETH2, info));
  EXPECT_EQ(0u, info.settings.limitDynamicMACs);
  ASSERT_EQ(0u, ps().getInterfaceInfo(ETH3, info));
  EXPECT_EQ((std::map<unsigned short, unsigned int>{{VLAN20, 64}}),
            info.settings.vlanLimitDynamicMACs);
  EXPECT_TRUE(logIsEmpty());
}

TEST_F(StateLimitsTest, RefusalOrLockFailureLeavesMemoryAsItWas) {
  for (const SetterCase& c : setterCases()) {
    SCOPED_TRACE(c.name);
    const std::string before = memoryOf(ps());
    driver().clearCommands();
    driver().refuseNext(c.code, 1);
    EXPECT_EQ(1u, c.call(ps()));
    EXPECT_EQ(1u, commands().size());
    EXPECT_EQ(before, memoryOf(ps()));

    driver().clearCommands();
    lock().failNextAttempts(1, sim::LockKind::exclusive);
    EXPECT_EQ(1u, c.call(ps()));
    EXPECT_TRUE(commands().empty());
    EXPECT_EQ(before, memoryOf(ps()));

    driver().failNextOpens(1);
    EXPECT_EQ(1u, c.call(ps()));
    EXPECT_EQ(before, memoryOf(ps()));
  }
}

TEST_F(LimitsTest, LargestInterfaceIdIsWrittenAsTenDigits) {
  addInterface(4294967295u, Interfaces::IF_TYPE_ETHERNET, "last");
  ASSERT_EQ(0u, ps().setState(4294967295u, true));
  const std::vector<sim::DriverCommand> sent = commands();
  ASSERT_EQ(1u, sent.size());
  const std::vector<uint8_t> field(sent[0].bytes.begin(), sent[0].bytes.begin() + 17);
  std::vector<uint8_t> expected = {'4', '2', '9', '4', '9', '6', '7', '2', '9', '5'};
  expected.resize(17, 0);
  EXPECT_EQ(expected, field);
}

TEST_F(LimitsTest, UnknownInterfaceIsRefusedBeforeTheDriver) {
  unsigned int limit = 0;
  bool state = false;
  EXPECT_EQ(1u, ps().setState(UNKNOWN_ID, true));
  EXPECT_EQ(1u, ps().setLimitDynamicMACs(UNKNOWN_ID, 5u));
  EXPECT_EQ(1u, ps().setLimitDynamicMACs(UNKNOWN_ID, VLAN10, 5u));
  EXPECT_EQ(1u, ps().setLimitStaticMACs(UNKNOWN_ID, 5));
  EXPECT_EQ(1u, ps().getState(UNKNOWN_ID, state));
  EXPECT_EQ(1u, ps().getLimitDynamicMACs(UNKNOWN_ID, limit));
  EXPECT_EQ(1u, ps().getLimitStaticMACs(UNKNOWN_ID, limit));
  EXPECT_TRUE(commands().empty());
}

TEST_F(LimitsTest, PerVlanLimitChecksVlanRangeAndCount) {
  EXPECT_EQ(1u, ps().setLimitDynamicMACs(ETH1, MISSING_VLAN, 0u));
  EXPECT_EQ(1u, ps().setLimitDynamicMACs(ETH1, MISSING_VLAN, 5u));
  // An out-of-range limit is refused before any handle is opened: the
  // armed open failure is still there for the next operation.
  driver().failNextOpens(1);
  EXPECT_EQ(7u, ps().setLimitDynamicMACs(ETH1, VLAN10, 65u));
  EXPECT_EQ(1u, ps().setState(true));
  EXPECT_TRUE(commands().empty());
  EXPECT_EQ(0u, ps().setLimitDynamicMACs(ETH1, VLAN10, 64u));
  EXPECT_EQ(0u, ps().setLimitDynamicMACs(ETH1, VLAN20, 1u));

  for (unsigned short vlan = 100; vlan < 106; ++vlan) {
    node().addVlanQuietly(vlan);
    ASSERT_EQ(0u, ps().setLimitDynamicMACs(ETH1, vlan, 3u));
  }
  node().addVlanQuietly(106);
  driver().clearCommands();
  EXPECT_EQ(6u, ps().setLimitDynamicMACs(ETH1, 106, 3u));
  EXPECT_EQ(6u, ps().setLimitDynamicMACs(ETH1, VLAN10, 3u));  // even a change of one of the eight
  EXPECT_TRUE(commands().empty());
  EXPECT_EQ(0u, ps().setLimitDynamicMACs(ETH1, VLAN10, 0u));
  EXPECT_EQ(0u, ps().setLimitDynamicMACs(ETH1, 106, 3u));
  // Removing a limit that is not there still goes to the driver and succeeds.
  EXPECT_EQ(0u, ps().setLimitDynamicMACs(ETH2, VLAN10, 0u));
  EXPECT_EQ(2u, commandsWith(PSIOC_DEL_VLAN_LIMIT).size());
}

TEST_F(LimitsTest, RefusedPerVlanLimitStillCreatesTheSettingsEntry) {
  bool state = true;
  ASSERT_EQ(1u, ps().getState(ETH2, state));
  driver().refuseNext(PSIOC_SET_VLAN_LIMIT, 1);
  EXPECT_EQ(1u, ps().setLimitDynamicMACs(ETH2, VLAN10, 5u));
  EXPECT_EQ(0u, ps().getState(ETH2, state));
  EXPECT_FALSE(state);
  unsigned int limit = 0;
  EXPECT_EQ(8u, ps().getLimitDynamicMACs(ETH2, VLAN10, limit));
}

TEST_F(LimitsTest, PerVlanGetterLooksUpTheInterfaceIdCutTo16Bits) {
  const unsigned int wideId = 0x10000u + INTERNAL;
  addInterface(wideId, Interfaces::IF_TYPE_ETHERNET, "wide");
  node().addVlanQuietly(INTERNAL);
  node().addVlanQuietly(100);
  ASSERT_EQ(0u, ps().setLimitDynamicMACs(INTERNAL, INTERNAL, 33u));
  ASSERT_EQ(0u, ps().setLimitDynamicMACs(INTERNAL, 100, 44u));
  ASSERT_EQ(0u, ps().setLimitDynamicMACs(wideId, INTERNAL, 12u));
  unsigned int limit = 0;
  EXPECT_EQ(0u, ps().getLimitDynamicMACs(INTERNAL, 100, limit));
  EXPECT_EQ(33u, limit);
  EXPECT_EQ(0u, ps().getLimitDynamicMACs(wideId, 999, limit));
  EXPECT_EQ(12u, limit);
  ASSERT_EQ(0u, ps().setLimitDynamicMACs(ETH1, VLAN10, 20u));
  EXPECT_EQ(8u, ps().getLimitDynamicMACs(ETH1, VLAN10, limit));
}

TEST_F(LimitsTest, LimitGettersAnswerOnlyInTheirState) {
  unsigned int limit = 0;
  EXPECT_EQ(1u, ps().getLimitDynamicMACs(ETH1, limit));  // no settings yet
  EXPECT_EQ(1u, ps().getLimitStaticMACs(ETH1, limit));
  ASSERT_EQ(0u, ps().setLimitDynamicMACs(ETH1, 50u));
  ASSERT_EQ(0u, ps().setLimitStaticMACs(ETH1, 6));
  limit = 99;
  EXPECT_EQ(5u, ps().getLimitDynamicMACs(ETH1, limit));
  EXPECT_EQ(99u, limit);
  EXPECT_EQ(0u, ps().getLimitStaticMACs(ETH1, limit));
  EXPECT_EQ(6u, limit);
  ASSERT_EQ(0u, ps().setState(ETH1, true));
  EXPECT_EQ(0u, ps().getLimitDynamicMACs(ETH1, limit));
  EXPECT_EQ(50u, limit);
  limit = 99;
  EXPECT_EQ(5u, ps().getLimitStaticMACs(ETH1, limit));
  EXPECT_EQ(99u, limit);
  // The internal form answers whatever the state, and 20 without settings.
  EXPECT_EQ(0u, ps().getStaticMacLimit(ETH1, limit));
  EXPECT_EQ(6u, limit);
  EXPECT_EQ(0u, ps().getStaticMacLimit(UNKNOWN_ID, limit));
  EXPECT_EQ(20u, limit);
  lock().failNextAttempts(1, sim::LockKind::shared);
  EXPECT_EQ(1u, ps().getStaticMacLimit(ETH1, limit));
  EXPECT_EQ(20u, limit);
}

TEST_F(LimitsTest, StaticLimitBelowCachedEntriesIsRefused) {
  for (unsigned char last = 1; last <= 4; ++last)
    ASSERT_EQ(0u, ps().addStaticEntryApi(ETH1, macEntry(VLAN10, last)));
  driver().clearCommands();
  EXPECT_EQ(7u, ps().setLimitStaticMACs(ETH1, 3));
  EXPECT_TRUE(commands().empty());
  EXPECT_EQ(0u, ps().setLimitStaticMACs(ETH1, 4));
  EXPECT_EQ(0u, ps().setLimitStaticMACs(ETH2, 0));
}

TEST_F(LimitsTest, SetStateAllStopsAtTheFirstFailureWithoutRollback) {
  driver().refuseCall(2);
  EXPECT_EQ(1u, ps().setStateAll(true));
  ASSERT_EQ(2u, commands().size());
  bool state = false;
  EXPECT_EQ(0u, ps().getState(ETH1, state));
  EXPECT_TRUE(state);
  EXPECT_EQ(1u, ps().getState(ETH2, state));
  EXPECT_EQ(0u, ps().getState(state));
  EXPECT_FALSE(state);

  driver().clearCommands();
  EXPECT_EQ(0u, ps().setStateAll(true));
  EXPECT_EQ(node().interfaces().size(), commands().size());
  EXPECT_EQ(0u, ps().getState(GEM2, state));
  EXPECT_TRUE(state);

  node().reset();
  driver().clearCommands();
  EXPECT_EQ(0u, ps().setStateAll(false));
  EXPECT_TRUE(commands().empty());
}

}  // namespace
}  // namespace entitytest
