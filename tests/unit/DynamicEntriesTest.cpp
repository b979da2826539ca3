// MAC reports, violations and the move to static, against the simulated
// driver's table: which entries come back, under which key, and which
// commands the table walk costs.
#include <cstddef>
#include <functional>

#include "EntityFixture.h"

namespace entitytest {
namespace {

using namespace psdriver;

typedef std::list<PortSecurity::macEntry_t> Entries;

uint32_t portSentIn(const sim::DriverCommand& command) {
  uint32_t port = 0;
  std::memcpy(&port, command.bytes.data() + offsetof(psTableEntryArg_t, port), sizeof port);
  return port;
}

// The driver's static entries of interface `id`, in table order.
Entries driverStaticEntries(unsigned int id) {
  Entries entries;
  for (const auto& chain : sim::Driver::instance().table())
    for (const sim::MacTableEntry& entry : chain) {
      if (!entry.isStatic || entry.port != id - 1) continue;
      PortSecurity::macEntry_t mac;
      mac.vlan = entry.vlan;
      std::memcpy(mac.mac, entry.mac.data(), sizeof mac.mac);
      entries.push_back(mac);
    }
  return entries;
}

class DynamicEntriesTest : public EntityTest {};

TEST_F(DynamicEntriesTest, SingleFormMatchesPortWithIdAndWholeBridgeKeysByPortPlusOne) {
  const PortSecurity::macEntry_t learned = macEntry(VLAN10, 1);
  learn(MNG, learned);  // driver port 3
  addDriverStatic(ETH2, macEntry(VLAN10, 2));

  Entries single;
  ASSERT_EQ(0u, ps().getDynamicMACs(3, single));
  EXPECT_EQ(Entries{learned}, single);
  ASSERT_EQ(0u, ps().getDynamicMACs(MNG, single));
  EXPECT_TRUE(single.empty());
  ASSERT_EQ(0u, ps().getDynamicMACs(ETH1, single));  // only a static entry on port 1
  EXPECT_TRUE(single.empty());

  PortSecurity::macEntryMap_t all;
  all[99].reset(new Entries);
  ASSERT_EQ(0u, ps().getDynamicMACs(all));
  ASSERT_EQ(2u, all.size());
  EXPECT_EQ(Entries{learned}, *all[4]);
  ASSERT_TRUE(all[ETH2]);  // listed although its only entry is static
  EXPECT_TRUE(all[ETH2]->empty());
  EXPECT_TRUE(logIsEmpty());
}

TEST_F(DynamicEntriesTest, WalkReusesTheRecordWithPortWrittenBackOnlyByWholeBridgeAndMove) {
  driver().setBucketCount(1);
  learn(ETH2, macEntry(VLAN10, 1));
  learn(ETH3, macEntry(VLAN10, 2));
  struct Walk {
    const char* name;
    std::function<unsigned int(PortSecurity&)> run;
    std::vector<uint32_t> portsSent;
  };
  const std::vector<Walk> walks = {
      {"single",
       [](PortSecurity& ps) {
         Entries e;
         return ps.getDynamicMACs(ETH1, e);
       },
       {0, 1, 2}},
      {"whole bridge",
       [](PortSecurity& ps) {
         PortSecurity::macEntryMap_t m;
         return ps.getDynamicMACs(m);
       },
       {0, 2, 3}},
      {"move", [](PortSecurity& ps) { return ps.moveDynamicToStatic(ETH1); }, {0, 2, 3}},
  };
  for (const Walk& walk : walks) {
    SCOPED_TRACE(walk.name);
    driver().clearCommands();
    ASSERT_EQ(0u, walk.run(ps()));
    std::vector<uint32_t> ports;
    for (const sim::DriverCommand& command : commandsWith(PSIOC_GET_TABLE_ENTRY))
      ports.push_back(portSentIn(command));
    EXPECT_EQ(walk.portsSent, ports);
  }
}

TEST_F(DynamicEntriesTest, WalkCostsOneCallPerEntryAndOneFailedCallPerBucket) {
  driver().setBucketCount(4);
  PortSecurity::macEntryMap_t all;
  ASSERT_EQ(0u, ps().getDynamicMACs(all));
  EXPECT_TRUE(all.empty());
  std::vector<sim::DriverCommand> calls = commandsWith(PSIOC_GET_TABLE_ENTRY);
  ASSERT_EQ(4u, calls.size());
  for (uint32_t bucket = 0; bucket < 4; ++bucket) {
    EXPECT_TRUE(calls[bucket].refused);
    EXPECT_EQ(std::vector<uint8_t>({static_cast<uint8_t>(bucket), 0, 0, 0, 0, 0, 0, 0}),
              std::vector<uint8_t>(calls[bucket].bytes.begin(), calls[bucket].bytes.begin() + 8));
  }

  for (unsigned char last = 1; last <= 5; ++last) learn(ETH2, macEntry(VLAN10, last));
  driver().clearCommands();
  Entries single;
  ASSERT_EQ(0u, ps().getDynamicMACs(ETH2 - 1, single));
  EXPECT_EQ(5u, single.size());
  calls = commandsWith(PSIOC_GET_TABLE_ENTRY);
  EXPECT_EQ(9u, calls.size());
  size_t refused = 0;
  for (const sim::DriverCommand& call : calls) refused += call.refused;
  EXPECT_EQ(4u, refused);
  EXPECT_EQ(commandsWith(PSIOC_GET_TABLE_INFO).front().bytes, bytesOf(psTableInfoArg_t()));
}

TEST_F(DynamicEntriesTest, ZeroBucketsAskNoEntryAtAll) {
  learn(ETH2, macEntry(VLAN10, 1));
  ASSERT_EQ(0u, ps().addStaticEntry(ETH2, macEntry(VLAN10, 2)));
  driver().setBucketCount(0);
  driver().clearCommands();
  Entries single = {macEntry(VLAN20, 9)};
  PortSecurity::macEntryMap_t all;
  all[ETH1].reset(new Entries);
  EXPECT_EQ(0u, ps().getDynamicMACs(ETH2 - 1, single));
  EXPECT_EQ(0u, ps().getDynamicMACs(all));
  EXPECT_EQ(0u, ps().moveDynamicToStatic(ETH2));
  EXPECT_TRUE(single.empty());
  EXPECT_TRUE(all.empty());
  EXPECT_TRUE(commandsWith(PSIOC_GET_TABLE_ENTRY).empty());
  Entries remembered = {macEntry(VLAN20, 9)};
  EXPECT_EQ(0u, ps().getStaticMACs(ETH2, remembered));
  EXPECT_TRUE(remembered.empty());
}

TEST_F(DynamicEntriesTest, FailuresGiveOneAndLeaveOutputUntouched) {
  learn(ETH2, macEntry(VLAN10, 1));
  Entries single = {macEntry(VLAN20, 9)};
  driver().refuseNext(PSIOC_GET_TABLE_INFO, 1);
  EXPECT_EQ(1u, ps().getDynamicMACs(ETH1, single));
  driver().failNextOpens(1);
  EXPECT_EQ(1u, ps().getDynamicMACs(ETH1, single));
  lock().failNextAttempts(1, sim::LockKind::shared);
  EXPECT_EQ(1u, ps().getDynamicMACs(ETH1, single));
  EXPECT_EQ(1u, ps().getDynamicMACs(UNKNOWN_ID, single));
  EXPECT_EQ(1u, single.size());
  PortSecurity::macEntryMap_t all;
  all[ETH3].reset(new Entries);
  driver().refuseNext(PSIOC_GET_TABLE_INFO, 1);
  EXPECT_EQ(1u, ps().getDynamicMACs(all));
  EXPECT_EQ(1u, all.size());
}

TEST_F(DynamicEntriesTest, LastViolationTellsNoneFromFailure) {
  ASSERT_EQ(0u, ps().setState(true));
  ASSERT_EQ(0u, ps().setState(ETH1, true));
  ASSERT_EQ(0u, ps().setLimitDynamicMACs(ETH1, 0u));
  const PortSecurity::macEntry_t untouched = macEntry(VLAN20, 9);
  PortSecurity::macEntry_t out = untouched;
  driver().clearCommands();
  EXPECT_EQ(3u, ps().getLastViolation(ETH1, out));  // nothing recorded yet
  EXPECT_EQ(bytesOf(recordFor<psViolationArg_t>(ETH1)), commands().at(0).bytes);

  // An all-zero MAC means no violation, whatever the VLAN that comes with it.
  driver().learn(ETH1 - 1, sim::MacAddress{}, VLAN10);
  EXPECT_EQ(3u, ps().getLastViolation(ETH1, out));
  EXPECT_TRUE(out == untouched);

  const PortSecurity::macEntry_t offender = macEntry(VLAN10, 7);
  ASSERT_EQ(sim::LearnResult::violation, driver().learn(ETH1 - 1, simMac(offender), VLAN10));
  EXPECT_EQ(0u, ps().getLastViolation(ETH1, out));
  EXPECT_TRUE(out == offender);

  out = untouched;
  driver().refuseNext(PSIOC_GET_VIOLATION, 1);
  EXPECT_EQ(1u, ps().getLastViolation(ETH1, out));
  EXPECT_EQ(1u, ps().getLastViolation(UNKNOWN_ID, out));
  EXPECT_TRUE(out == untouched);
}

TEST_F(DynamicEntriesTest, MoveRemembersExactlyTheDriverStaticEntriesInTableOrder) {
  ASSERT_EQ(0u, ps().addStaticEntry(ETH2, macEntry(VLAN10, 1)));
  learn(ETH2, macEntry(VLAN10, 2));
  learn(ETH2, macEntry(VLAN20, 3));
  learn(ETH3, macEntry(VLAN10, 4));
  addDriverStatic(ETH2, macEntry(VLAN20, 5));
  driver().clearCommands();

  ASSERT_EQ(0u, ps().moveDynamicToStatic(ETH2));
  EXPECT_EQ(bytesOf(recordFor<psMoveArg_t>(ETH2)), commands().at(0).bytes);
  Entries remembered;
  ASSERT_EQ(0u, ps().getStaticMACs(ETH2, remembered));
  EXPECT_EQ(4u, remembered.size());
  EXPECT_EQ(driverStaticEntries(ETH2), remembered);
  Entries other;  // ETH3's learned entry stays dynamic
  ASSERT_EQ(0u, ps().getDynamicMACs(ETH3 - 1, other));
  EXPECT_EQ(1u, other.size());
}

TEST_F(DynamicEntriesTest, FailedMoveLeavesRememberedEntries) {
  ASSERT_EQ(0u, ps().addStaticEntry(ETH2, macEntry(VLAN10, 1)));
  learn(ETH2, macEntry(VLAN10, 2));
  const Entries before = {macEntry(VLAN10, 1)};
  driver().refuseNext(PSIOC_MOVE_TO_STATIC, 1);
  EXPECT_EQ(1u, ps().moveDynamicToStatic(ETH2));
  // The driver moved the entries, but the table could not be read.
  driver().refuseNext(PSIOC_GET_TABLE_INFO, 1);
  EXPECT_EQ(1u, ps().moveDynamicToStatic(ETH2));
  driver().clearCommands();
  lock().failNextAttempts(1, sim::LockKind::exclusive);
  EXPECT_EQ(1u, ps().moveDynamicToStatic(ETH2));
  EXPECT_EQ(1u, ps().moveDynamicToStatic(UNKNOWN_ID));
  EXPECT_TRUE(commands().empty());
  Entries remembered;
  ASSERT_EQ(0u, ps().getStaticMACs(ETH2, remembered));
  EXPECT_EQ(before, remembered);
}

TEST_F(DynamicEntriesTest, StaticReportsShareTheRememberedLists) {
  Entries out = {macEntry(VLAN20, 9)};
  EXPECT_EQ(0u, ps().getStaticMACs(ETH1, out));
  EXPECT_TRUE(out.empty());
  EXPECT_EQ(1u, ps().getStaticMACs(UNKNOWN_ID, out));

  ASSERT_EQ(0u, ps().addStaticEntry(ETH1, macEntry(VLAN10, 1)));
  PortSecurity::macEntryMap_t all;
  ASSERT_EQ(0u, ps().getStaticMACs(all));
  ASSERT_EQ(1u, all.size());
  ASSERT_EQ(0u, ps().addStaticEntry(ETH1, macEntry(VLAN10, 2)));
  EXPECT_EQ(2u, all[ETH1]->size());  // the caller holds the module's own list
  lock().failNextAttempts(1, sim::LockKind::shared);
  EXPECT_EQ(1u, ps().getStaticMACs(all));
}

}  // namespace
}  // namespace entitytest
