// Random sequences of the entity's operations, the host's events, frames on
// the wire and injected faults, run on the real entity and on the reference
// model side by side: after every step the result and everything observable
// (memory through the getters, the driver's state and table) must agree.
// RC_PARAMS sets the run (see docs/testing.md); a failure shrinks to a short
// sequence and prints it with the seed that replays it.
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>
#include <rapidcheck/state.h>

#include <boost/make_shared.hpp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "EntityModel.h"
#include "unit/EntityTest.h"

namespace {

using entitymodel::Entry;
using entitymodel::Model;

// Every step, with the name a shrunk sequence shows it by.
// clang-format off
#define PS_MODEL_STEPS(X) \
  X(SetGlobal, "setState") \
  X(SetIntfState, "setState(id)") \
  X(SetAll, "setStateAll") \
  X(SetDynamic, "setLimitDynamicMACs") \
  X(SetVlanLimit, "setLimitDynamicMACs(vlan)") \
  X(SetStatic, "setLimitStaticMACs") \
  X(AddStatic, "addStaticEntry") \
  X(DelStatic, "delStaticEntry") \
  X(Clear, "clearStaticEntries") \
  X(AddVPort, "addStaticEntryVirtualPort") \
  X(DelVPort, "delStaticEntryVirtualPort") \
  X(Move, "moveDynamicToStatic") \
  X(Defaults, "applyDefaultSettings") \
  X(QueryMemory, "query memory") \
  X(QueryDriver, "query driver") \
  X(Learn, "learn") \
  X(CreateVlan, "create VLAN") \
  X(DeleteVlan, "delete VLAN") \
  X(Gem, "GEM event") \
  X(ArmOpenFailure, "fail next open") \
  X(ArmRefusal, "refuse a coming command") \
  X(Dump, "dump") \
  X(Management, "set management") \
  X(GemActive, "set GEM active") \
  X(Buckets, "set bucket count") \
  X(DriverStatic, "driver static behind the entity")
// clang-format on

#define PS_STEP_ENUM(op, name) op,
#define PS_STEP_NAME(op, name) name,
enum class Op { PS_MODEL_STEPS(PS_STEP_ENUM) };
const char* const kOpNames[] = {PS_MODEL_STEPS(PS_STEP_NAME)};

struct Action {
  Op op = Op::SetGlobal;
  uint32_t id = 0;
  uint16_t vlan = 0;
  uint32_t value = 0;  // a state, a limit, a GEM event's kind or a request code
  uint32_t vport = 0;  // for a refusal: how many commands of its code go through first
  uint32_t gem = 0;
  Entry entry;
  bool lockRefused = false;   // a query: the lock of each of its getters is refused
  int lockSkip = -1;          // any other step: its locks granted before one is refused
  bool otherBridge = false;   // a VLAN event names a bridge not the entity's
  uint32_t nameFailsFor = 0;  // the host's name lookup fails for this interface
  bool typeFails = false;     // the host's type lookups fail
};

bool takesLocks(Op op) {
  return op != Op::Learn && op != Op::ArmOpenFailure && op != Op::ArmRefusal &&
         op != Op::Management && op != Op::GemActive && op != Op::Buckets && op != Op::DriverStatic;
}

bool isQuery(Op op) { return op == Op::QueryMemory || op == Op::QueryDriver; }

rc::Gen<Entry> genEntry() {
  return rc::gen::map(
      rc::gen::pair(rc::gen::element<uint16_t>(10, 20, 30), rc::gen::element<uint8_t>(1, 2, 3, 0)),
      [](const std::pair<uint16_t, uint8_t>& p) {
        // 0 stands for the management entry's MAC.
        Entry e;
        e.vlan = p.first;
        e.mac = p.second == 0 ? entitymodel::Mac{0x02, 0, 0, 0, 0, 0x01}
                              : entitymodel::Mac{0x00, 0x11, 0x22, 0x33, 0x44, p.second};
        return e;
      });
}

Action genAction() {
  Action a;
  a.op = *rc::gen::weightedElement<Op>(
      {{2, Op::SetGlobal},    {3, Op::SetIntfState}, {1, Op::SetAll},      {2, Op::SetDynamic},
       {4, Op::SetVlanLimit}, {4, Op::SetStatic},    {4, Op::AddStatic},   {3, Op::DelStatic},
       {1, Op::Clear},        {8, Op::AddVPort},     {4, Op::DelVPort},    {2, Op::Move},
       {1, Op::Defaults},     {2, Op::QueryMemory},  {2, Op::QueryDriver}, {5, Op::Learn},
       {3, Op::CreateVlan},   {3, Op::DeleteVlan},   {4, Op::Gem},         {1, Op::ArmOpenFailure},
       {2, Op::ArmRefusal},   {2, Op::Dump},         {1, Op::Management},  {1, Op::GemActive},
       {1, Op::Buckets},      {1, Op::DriverStatic}});
  a.id = *rc::gen::element<uint32_t>(1, 2, 4, 8, 9, 10, 77, 4294967295u);
  a.vlan = *rc::gen::element<uint16_t>(10, 20, 30);
  a.entry = *genEntry();
  a.vport = *rc::gen::element<uint32_t>(0, 1, 2, 3);
  switch (a.op) {
    case Op::SetGlobal:
    case Op::SetIntfState:
    case Op::SetAll:
      a.value = *rc::gen::element<uint32_t>(0, 1);
      break;
    case Op::SetDynamic:
      a.value = *rc::gen::element<uint32_t>(0, 1, 2, 300);
      break;
    case Op::SetVlanLimit:
      a.value = *rc::gen::element<uint32_t>(0, 1, 2, 64, 65);
      break;
    case Op::AddVPort:
      // Mostly the GPON interface's virtual ports, whose carriers are GEM interfaces.
      a.id = *rc::gen::element<uint32_t>(1, 2, 8, 8, 8, 9, 77);
      a.vport = a.id == 8 ? *rc::gen::element<uint32_t>(1, 2, 3, 0)
                          : *rc::gen::element<uint32_t>(0, 0, 0, 1);
      a.typeFails = *rc::gen::inRange(0, 12) == 0;
      break;
    case Op::SetStatic:
    case Op::Clear:
      if (a.op == Op::SetStatic) a.id = *rc::gen::element<uint32_t>(1, 2, 8, 9, 9, 10, 77);
      a.value = *rc::gen::element<uint32_t>(0, 1, 2, 3, 20);
      if (a.op == Op::Clear && a.value > 2) a.id = 0;  // all interfaces
      break;
    case Op::Learn:
    case Op::DriverStatic:
    case Op::QueryDriver:
      // Where frames arrive; and an unknown interface, for the queries.
      a.id = *rc::gen::element<uint32_t>(1, 2, 3, 9, a.op == Op::QueryDriver ? 77 : 1);
      // An all-zero source too, which is how the driver says "no violation".
      if (a.op == Op::Learn && *rc::gen::inRange(0, 5) == 0) a.entry.mac = {};
      break;
    case Op::QueryMemory:
      a.nameFailsFor = *rc::gen::element<uint32_t>(0, 0, 0, 0, 0, a.id, 9);
      a.typeFails = *rc::gen::inRange(0, 8) == 0;
      break;
    case Op::Dump:
      a.value = *rc::gen::element<uint32_t>(0, 0, 0, 1, 2);
      break;
    case Op::Management:
      a.id = *rc::gen::element<uint32_t>(4, 4, 1, 0);
      a.value = *rc::gen::element<uint32_t>(0, 0, 1, 2, 3, 3);
      break;
    case Op::GemActive:
      a.id = *rc::gen::element<uint32_t>(9, 10);
      a.value = *rc::gen::element<uint32_t>(0, 1);
      break;
    case Op::Buckets:
      a.value = *rc::gen::element<uint32_t>(16, 16, 3, 0);
      break;
    case Op::Gem:
      a.id = *rc::gen::element<uint32_t>(8, 8, 1);
      a.vport = *rc::gen::element<uint32_t>(1, 2, 3);
      a.gem = *rc::gen::element<uint32_t>(9, 10, 11);
      a.value = *rc::gen::inRange<uint32_t>(0, 4);
      break;
    case Op::ArmRefusal:
      a.value =
          *rc::gen::element<uint32_t>(0x80047a02, 0x40047a07, 0x40047a09, 0x40047a0d, 0x40047a28,
                                      0x40047a2a, 0x40047a2c, 0x40047a2e, 0x40047a2f, 0xc0047a31);
      a.vport = *rc::gen::element<uint32_t>(0, 0, 1, 2, 5);
      break;
    default:
      break;
  }
  if (isQuery(a.op))
    a.lockRefused = *rc::gen::inRange(0, 10) == 0;
  else if (takesLocks(a.op) && *rc::gen::inRange(0, 8) == 0)
    a.lockSkip = *rc::gen::element(0, 0, 0, 1, 2, 3, 4, 6, 9, 12);
  a.otherBridge =
      (a.op == Op::CreateVlan || a.op == Op::DeleteVlan) && *rc::gen::inRange(0, 3) == 0;
  return a;
}

// The dump's module and command: the one it answers, then two it must not.
std::string dumpModule(uint32_t value) { return value == 1 ? "portsecurity" : "portSecurity"; }
std::string dumpCommand(uint32_t value) { return value == 2 ? "MacEntries" : "macEntries"; }
int managementFault(const Action& a) { return static_cast<int>(a.vport) + 1; }

// The entity's own operations, on the model or on the entity: both take the
// same calls, with the action's entry in the target's own type.
template <class Target, class TargetEntry>
std::string operate(Target& t, const Action& a, const TargetEntry& e) {
  switch (a.op) {
    case Op::SetGlobal:
      return std::to_string(t.setState(a.value != 0));
    case Op::SetIntfState:
      return std::to_string(t.setState(a.id, a.value != 0));
    case Op::SetAll:
      return std::to_string(t.setStateAll(a.value != 0));
    case Op::SetDynamic:
      return std::to_string(t.setLimitDynamicMACs(a.id, a.value));
    case Op::SetVlanLimit:
      return std::to_string(t.setLimitDynamicMACs(a.id, a.vlan, a.value));
    case Op::SetStatic:
      return std::to_string(t.setLimitStaticMACs(a.id, a.value));
    case Op::AddStatic:
      return std::to_string(t.addStaticEntry(a.id, e));
    case Op::DelStatic:
      return std::to_string(t.delStaticEntry(a.id, e));
    case Op::Clear:
      return std::to_string(t.clearStaticEntries(a.id));
    case Op::AddVPort:
      return std::to_string(t.addStaticEntryVirtualPort(a.id, e, a.vport));
    case Op::DelVPort:
      return std::to_string(t.delStaticEntryVirtualPort(a.id, e, a.vport));
    case Op::Move:
      return std::to_string(t.moveDynamicToStatic(a.id));
    case Op::Defaults:
      return t.applyDefaultSettings() ? "true" : "false";
    default:
      return "";
  }
}

// What an action answers on the model, as text, with its faults armed.
std::string performFaulted(Model& m, const Action& a) {
  switch (a.op) {
    case Op::QueryMemory:
      return m.queryMemory(a.id, a.vlan, a.lockRefused);
    case Op::QueryDriver:
      return m.queryDriver(a.id, a.lockRefused);
    case Op::Learn:
      m.learn(a.id, a.entry);
      return "";
    case Op::CreateVlan:
      m.createVlan(a.vlan);
      return "";
    case Op::DeleteVlan:
      return m.deleteVlan(a.vlan) ? "true" : "false";
    case Op::Gem:
      m.gemEvent(a.gem, a.id, a.vport, a.value);
      return "";
    case Op::ArmOpenFailure:
      m.armOpenFailure();
      return "";
    case Op::ArmRefusal:
      m.armRefusal(a.value, a.vport);
      return "";
    case Op::Dump:
      return "before|" + m.dump(dumpModule(a.value), dumpCommand(a.value));
    case Op::Management:
      if (a.value == 0) m.setManagement(a.id, a.entry);
      if (a.value == 1) m.failNetworkInfo(managementFault(a));
      if (a.value == 2) m.failMngIdGet(managementFault(a));
      if (a.value == 3) m.failNetworkInfo(0), m.failMngIdGet(0);
      return "";
    case Op::GemActive:
      m.setGemActive(a.id, a.value != 0);
      return "";
    case Op::Buckets:
      m.setBucketCount(a.value);
      return "";
    case Op::DriverStatic:
      m.addDriverStatic(a.id, a.entry);
      return "";
    default:
      return operate(m, a, a.entry);
  }
}

std::string perform(Model& m, const Action& a) {
  m.logged.clear();
  m.sent.clear();
  m.refuseLock(a.lockSkip);
  m.failLookups(a.nameFailsFor, a.typeFails);
  const std::string result = performFaulted(m, a);
  m.refuseLock(-1);
  m.failLookups(0, false);
  return result;
}

using namespace entitytest;

// Leaves a non-zero pattern in the stack below the caller, where the next
// step's driver records will lie, so that a byte the entity does not clear shows.
__attribute__((noinline)) void poisonStack() {
  volatile unsigned char area[16 * 1024];
  for (size_t i = 0; i < sizeof area; ++i) area[i] = 0xa5;
}

PortSecurity::macEntry_t toEntry(const Entry& e) {
  PortSecurity::macEntry_t out;
  out.vlan = e.vlan;
  std::copy(e.mac.begin(), e.mac.end(), out.mac);
  return out;
}

Entry fromEntry(uint16_t vlan, const unsigned char* mac) {
  Entry e;
  e.vlan = vlan;
  std::copy(mac, mac + 6, e.mac.begin());
  return e;
}

std::vector<Entry> fromList(const PortSecurity::macEntryList_t& list) {
  std::vector<Entry> entries;
  for (const PortSecurity::macEntry_t& e : list) entries.push_back(fromEntry(e.vlan, e.mac));
  return entries;
}

entitymodel::Settings fromSettings(const PortSecurity::interfaceSettings_t& s) {
  entitymodel::Settings out;
  out.state = s.state;
  out.dynamicLimit = s.limitDynamicMACs;
  out.staticLimit = s.limitStaticMACs;
  out.vlanLimits.insert(s.vlanLimitDynamicMACs.begin(), s.vlanLimitDynamicMACs.end());
  return out;
}

// The entity on a freshly built test node, as EntityTest makes it.
class Sut {
 public:
  Sut() : entity(buildTestEntity(storage)) {}
  ~Sut() {
    forwardHostEventsTo(nullptr);
    entity->~PortSecurity();
    sim::reset();
  }

  std::string perform(const Action& a) {
    sim::BusinessLock& lock = sim::BusinessLock::instance();
    sim::Node& node = sim::Node::instance();
    refuseEachLock = a.lockRefused;
    if (a.lockSkip >= 0) lock.failNextAttempts(1, sim::LockKind::any, a.lockSkip);
    node.failTypeLookup(a.typeFails);
    if (a.nameFailsFor != 0) node.failNameLookup(a.nameFailsFor, true);
    poisonStack();
    driver().clearCommands();
    const std::string result = run(a);
    lock.clearFaults();
    node.failTypeLookup(false);
    if (a.nameFailsFor != 0) node.failNameLookup(a.nameFailsFor, false);
    return result;
  }

  // A step that walks the cache or the static lists keeps its own lock for
  // the whole walk: each command it sends comes under two, its own and the
  // inner operation's.
  bool walkHeldItsLock(const Action& a) const {
    if (a.op != Op::Clear && a.op != Op::CreateVlan && a.op != Op::DeleteVlan && a.op != Op::Gem)
      return true;
    for (const sim::DriverCommand& command : driver().commands())
      if (command.held.exclusive < 2) return false;
    return true;
  }

  std::string snapshot() {
    PortSecurity& ps = *entity;
    entitymodel::Observable seen;
    ps.getState(seen.state);
    seen.driverState = driver().globalState();
    PortSecurity::interfaceSettingsMap_t settings;
    ps.getInterfaceSettings(settings);
    for (const entitymodel::HostInterface& i : Model::hostInterfaces()) {
      bool state = false;
      if (ps.getState(i.id, state) == 0) seen.settings[i.id] = fromSettings(settings[i.id]);
      const sim::DriverInterfaceState d = driver().interfaceState(i.id);
      seen.driverInterfaces[i.id] = {d.enabled,      d.hasDynamicLimit,
                                     d.dynamicLimit, d.hasStaticLimit,
                                     d.staticLimit,  {d.vlanLimits.begin(), d.vlanLimits.end()}};
      sim::DriverViolation violation;
      if (driver().lastViolation(i.id, violation))
        seen.violations[i.id] = fromEntry(violation.vlan, violation.mac.data());
    }
    PortSecurity::macEntryMap_t statics;
    ps.getStaticMACs(statics);
    for (const auto& list : statics) seen.statics[list.first] = fromList(*list.second);
    PortSecurity::macEntriesCache_t cache;
    ps.getMacEntriesCache(cache);
    for (const auto& perIntf : cache)
      for (const auto& perVPort : perIntf.second) {
        entitymodel::VirtualPort& record = seen.cache[perIntf.first][perVPort.first];
        record.carrier = perVPort.second.intfId;
        for (const auto& c : perVPort.second.entries)
          record.entries.push_back({fromEntry(c.vlan, c.mac), c.configured});
      }
    seen.buckets = driver().bucketCount();
    uint64_t walked = 0;
    for (const auto& chain : driver().table())
      for (const sim::MacTableEntry& e : chain)
        seen.table[fromEntry(e.vlan, e.mac.data())] = {e.port + 1, e.isStatic, ++walked};
    for (const sim::LogLine& line : sim::LogRecorder::instance().lines())
      seen.logged.push_back(std::to_string(static_cast<int>(line.level)) + "|" + line.text);
    sim::LogRecorder::instance().clear();
    for (const sim::DriverCommand& c : driver().commands())
      seen.sent.push_back(entitymodel::describeCommand(c.code, c.argument, c.bytes, c.refused));
    return seen.text();
  }

 private:
  static sim::Driver& driver() { return sim::Driver::instance(); }

  std::string run(const Action& a) {
    PortSecurity& ps = *entity;
    const PortSecurity::macEntry_t e = toEntry(a.entry);
    sim::Node& node = sim::Node::instance();
    switch (a.op) {
      case Op::QueryMemory:
        return queryMemory(a.id, a.vlan);
      case Op::QueryDriver:
        return queryDriver(a.id);
      case Op::Learn:
        driver().learn(a.id - 1,
                       sim::MacAddress{e.mac[0], e.mac[1], e.mac[2], e.mac[3], e.mac[4], e.mac[5]},
                       e.vlan);
        return "";
      case Op::CreateVlan:
        node.createVlan(a.vlan, a.otherBridge ? "br1" : nullptr);
        return "";
      case Op::DeleteVlan: {
        bool agreed = true;
        node.deleteVlan(a.vlan, &agreed, a.otherBridge ? "br1" : nullptr);
        return agreed ? "true" : "false";
      }
      case Op::Gem:
        node.raiseGemEvent(a.gem, a.id, a.vport, static_cast<int>(a.value));
        return "";
      case Op::ArmOpenFailure:
        driver().failNextOpens(1);
        return "";
      case Op::ArmRefusal:
        driver().refuseNext(a.value, 1, a.vport);
        return "";
      case Op::Dump: {
        // The dump only appends to what the stream holds.
        std::ostringstream out("before|", std::ios::ate);
        ps.externalMessage(dumpModule(a.value), dumpCommand(a.value), &out);
        return out.str();
      }
      case Op::Management:
        if (a.value == 0)
          node.setManagement(
              {a.id, {e.mac[0], e.mac[1], e.mac[2], e.mac[3], e.mac[4], e.mac[5]}, a.entry.vlan});
        if (a.value == 1) node.failNetworkInfo(managementFault(a));
        if (a.value == 2) node.failMngIdGet(managementFault(a));
        if (a.value == 3) node.failNetworkInfo(0), node.failMngIdGet(0);
        return "";
      case Op::GemActive:
        node.setActive(a.id, a.value != 0);
        return "";
      case Op::Buckets:
        driver().setBucketCount(a.value);
        return "";
      case Op::DriverStatic: {
        psMacArg_t record = {};
        std::snprintf(record.intf, sizeof record.intf, "%u", a.id);
        std::memcpy(record.mac, e.mac, sizeof record.mac);
        record.vlan = e.vlan;
        record.isStatic = 1;
        driver().command(PSIOC_ADD_STATIC, reinterpret_cast<unsigned long>(&record));
        return "";
      }
      default:
        return operate(ps, a, e);
    }
  }

  std::string queryMemory(uint32_t id, uint16_t vlan) {
    const PortSecurity& ps = *entity;
    std::ostringstream out;
    bool state = true;
    out << "state " << (arm(), ps.getState(id, state)) << ' ' << state << '\n';
    unsigned int limit = 12345;
    out << "dynamic " << (arm(), ps.getLimitDynamicMACs(id, limit)) << ' ' << limit << '\n';
    limit = 12345;
    const unsigned int vlanResult = (arm(), ps.getLimitDynamicMACs(id, vlan, limit));
    out << "vlan " << vlan << ' ' << vlanResult << ' ' << limit << '\n';
    limit = 12345;
    out << "static " << (arm(), ps.getLimitStaticMACs(id, limit)) << ' ' << limit << '\n';
    limit = 12345;
    const unsigned int internalResult = (arm(), ps.getStaticMacLimit(id, limit));
    out << "internal " << internalResult << ' ' << limit << '\n';
    PortSecurity::interfaceInfo_t info;
    info.name = "?";
    info.type = Interfaces::interfaceType(0);
    const unsigned int infoResult = (arm(), ps.getInterfaceInfo(id, info));
    out << "info " << infoResult << ' ' << info.name << ' ' << info.type << ' '
        << entitymodel::describe(fromSettings(info.settings)) << '\n';
    PortSecurity::macEntryList_t statics;
    out << "statics " << (arm(), ps.getStaticMACs(id, statics))
        << entitymodel::describe(fromList(statics)) << '\n';
    std::list<PortSecurity::interfaceInfo_t> all;
    out << "list " << (arm(), ps.getInterfaceInfo(all));
    for (const PortSecurity::interfaceInfo_t& i : all) {
      unsigned int listedId = 0;
      for (const entitymodel::HostInterface& h : Model::hostInterfaces())
        if (i.name == h.name) listedId = h.id;
      out << ' ' << listedId << ':' << entitymodel::describe(fromSettings(i.settings));
    }
    return out.str();
  }

  std::string queryDriver(uint32_t id) {
    const PortSecurity& ps = *entity;
    const PortSecurity::macEntry_t sentinel = {7, {7, 7, 7, 7, 7, 7}};
    std::ostringstream out;
    PortSecurity::macEntryList_t dynamic{sentinel};
    const unsigned int result = (arm(), ps.getDynamicMACs(id, dynamic));
    out << "dynamic " << result
        << (result != 0 ? " sentinel" : entitymodel::describe(fromList(dynamic))) << '\n';
    PortSecurity::macEntryMap_t all{{999, boost::make_shared<PortSecurity::macEntryList_t>()}};
    out << "all " << (arm(), ps.getDynamicMACs(all));
    for (const auto& perIntf : all)
      out << ' ' << perIntf.first << ':' << entitymodel::describe(fromList(*perIntf.second));
    PortSecurity::macEntry_t violation = sentinel;
    out << "\nviolation " << (arm(), ps.getLastViolation(id, violation)) << ' ';
    const std::string seen = entitymodel::describe(fromEntry(violation.vlan, violation.mac));
    out << (seen == entitymodel::describe(fromEntry(sentinel.vlan, sentinel.mac)) ? "sentinel"
                                                                                  : seen);
    return out.str();
  }

  void arm() const {
    if (refuseEachLock) sim::BusinessLock::instance().failNextAttempts(1);
  }

  bool refuseEachLock = false;
  alignas(PortSecurity) unsigned char storage[sizeof(PortSecurity)];
  PortSecurity* entity = nullptr;
};

struct Step : rc::state::Command<Model, Sut> {
  Action action = genAction();

  void apply(Model& model) const override { perform(model, action); }

  void run(const Model& before, Sut& sut) const override {
    Model expected = before;
    const std::string expectedResult = perform(expected, action);
    RC_ASSERT(sut.perform(action) == expectedResult);
    RC_ASSERT(sut.snapshot() == expected.text());
    RC_ASSERT(sut.walkHeldItsLock(action));
    // Whatever happened: no handle left open, every command and interface
    // check made under the lock it needs, and the lock let go.
    RC_ASSERT(sim::Driver::instance().openHandles() == 0u);
    RC_ASSERT(sim::Driver::instance().commandsOutsideTheirLock() == 0u);
    RC_ASSERT(sim::BusinessLock::instance().callsOutsideLock() == 0u);
    RC_ASSERT(sim::BusinessLock::instance().exclusiveDepth() +
                  sim::BusinessLock::instance().sharedDepth() ==
              0u);
  }

  void show(std::ostream& os) const override {
    const Action& a = action;
    os << kOpNames[static_cast<int>(a.op)] << " id=" << a.id << " vlan=" << a.vlan
       << " value=" << a.value << " vport=" << a.vport << " gem=" << a.gem
       << " entry=" << entitymodel::describe(a.entry) << (a.lockRefused ? " (locks refused)" : "")
       << (a.otherBridge ? " (br1)" : "");
    if (a.lockSkip >= 0) os << " (lock refused after " << a.lockSkip << ")";
    if (a.nameFailsFor != 0) os << " (name lookup fails for " << a.nameFailsFor << ")";
    if (a.typeFails) os << " (type lookups fail)";
  }
};

RC_GTEST_PROP(EntityModelTest, EveryStepAgreesWithTheModel, ()) {
  Sut sut;
  rc::state::check(Model(), sut, rc::state::gen::execOneOfWithArgs<Step>());
}

}  // namespace

int main(int argc, char** argv) {
  // 600 sequences of up to 200 steps unless RC_PARAMS says otherwise: the rarest class, a
  // per-VLAN limit that cannot be removed when its VLAN goes, was reached in 100 seeds of 100
  // (79 of 80 at 300). The seed is drawn anew and printed first, so a failure replays.
  setenv("RC_PARAMS", "max_success=600 max_size=200", 0);
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
