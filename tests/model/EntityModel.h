// A reference model of what the port-security entity lets an observer see:
// its remembered settings, static entries and entries cache, and the bridge
// driver's state that its commands leave behind, on the test node of
// EntityTest.h. Written from the entity's documented behaviour, step by
// step, without looking at how the module does it. Plain value type; no
// threads.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace entitymodel {

typedef std::array<uint8_t, 6> Mac;

struct Entry {
  uint16_t vlan = 0;
  Mac mac = {};
  bool operator<(const Entry& o) const { return std::tie(vlan, mac) < std::tie(o.vlan, o.mac); }
  bool operator==(const Entry& o) const { return vlan == o.vlan && mac == o.mac; }
};

struct Settings {
  bool state = false;
  uint32_t dynamicLimit = 300;
  uint32_t staticLimit = 20;
  std::map<uint16_t, uint32_t> vlanLimits;
};

struct CachedEntry {
  Entry entry;
  bool configured = false;
};

struct VirtualPort {
  uint32_t carrier = 0;
  std::vector<CachedEntry> entries;
};

typedef std::map<uint32_t, std::map<uint32_t, VirtualPort>> Cache;

// What the driver holds for one interface.
struct DriverInterface {
  bool enabled = false;
  bool hasDynamicLimit = false;
  uint32_t dynamicLimit = 0;
  bool hasStaticLimit = false;
  uint32_t staticLimit = 0;
  std::map<uint16_t, uint32_t> vlanLimits;
};

struct TableEntry {
  uint32_t interface = 0;  // driver port + 1
  bool isStatic = false;
  uint64_t inserted = 0;  // orders the entries of a bucket, as the driver keeps them
};

// The simulated driver's hash over the VLAN and the MAC; 0 buckets hold nothing a walk sees.
uint32_t bucketOf(const Entry& entry, uint32_t buckets);
// One driver command as the driver saw it arrive: the code, then the plain
// argument when it passes no record, else the record's bytes.
std::string describeCommand(unsigned long code, unsigned long argument,
                            const std::vector<uint8_t>& record, bool refused);

struct HostInterface {
  uint32_t id;
  int type;
  const char* name;
};

// What an observer sees of the entity and the driver; the model and the
// system under test each fill one, and compare their texts.
struct Observable {
  bool state = false;
  std::map<uint32_t, Settings> settings;
  std::map<uint32_t, std::vector<Entry>> statics;
  Cache cache;
  bool driverState = false;
  std::map<uint32_t, DriverInterface> driverInterfaces;
  uint32_t buckets = 16;
  std::map<Entry, TableEntry> table;
  std::map<uint32_t, Entry> violations;
  // What the step logged, "<level>|<text>" a message.
  std::vector<std::string> logged;
  // The driver commands the step sent, as describeCommand writes them.
  std::vector<std::string> sent;

  // The table as a walk meets it: bucket by bucket, each in insertion order.
  std::vector<std::pair<Entry, TableEntry>> walk() const;

  std::string text() const;
};

std::string describe(const Entry& entry);
std::string describe(const std::vector<Entry>& entries);  // in their order
std::string describe(const Settings& settings);

class Model : public Observable {
 public:
  static const std::vector<HostInterface>& hostInterfaces();
  static bool known(uint32_t id);

  // The entity's public operations; each answers its result code.
  uint32_t setState(bool value);
  uint32_t setState(uint32_t id, bool value);
  uint32_t setStateAll(bool value);
  uint32_t setLimitDynamicMACs(uint32_t id, uint32_t limit);
  uint32_t setLimitDynamicMACs(uint32_t id, uint16_t vlan, uint32_t limit);
  uint32_t setLimitStaticMACs(uint32_t id, uint32_t limit);
  uint32_t addStaticEntry(uint32_t id, const Entry& entry);
  uint32_t delStaticEntry(uint32_t id, const Entry& entry);
  uint32_t clearStaticEntries(uint32_t id);
  uint32_t addStaticEntryVirtualPort(uint32_t id, const Entry& entry, uint32_t vport);
  // Wherever the entry is cached: the virtual port does not narrow the search.
  uint32_t delStaticEntryVirtualPort(uint32_t id, const Entry& entry, uint32_t vport);
  uint32_t moveDynamicToStatic(uint32_t id);
  bool applyDefaultSettings();
  // The readers, as text: what each getter answers and leaves in its output.
  // With `lockRefused`, every getter's lock is refused.
  std::string queryMemory(uint32_t id, uint16_t vlan, bool lockRefused) const;
  std::string queryDriver(uint32_t id, bool lockRefused);
  std::string dump(const std::string& module, const std::string& command) const;

  // The world around the entity: the host's events and frames on the wire.
  void createVlan(uint16_t vlan);
  // What the VLAN-deleted handler answers the host: false only when a
  // per-VLAN limit could not be removed.
  bool deleteVlan(uint16_t vlan);
  void gemEvent(uint32_t gem, uint32_t id, uint32_t vport, int kind);
  void learn(uint32_t id, const Entry& entry);
  // A static entry put into the driver's table behind the entity's back.
  void addDriverStatic(uint32_t id, const Entry& entry);
  void setGemActive(uint32_t id, bool active);
  void setBucketCount(uint32_t count) { buckets = count; }
  // The management interface and entry the host reports; a code other than
  // 0 makes the network-information or management-id read fail with it.
  void setManagement(uint32_t id, const Entry& entry) { mngId = id, mngEntry = entry; }
  void failNetworkInfo(int code) { networkInfoFault = code; }
  void failMngIdGet(int code) { mngIdFault = code; }
  // The host's name lookups fail for interface `nameFailsFor` (0: none), and
  // its type lookups fail for all when `typeFails`.
  void failLookups(uint32_t nameFailsFor, bool typeFails) {
    nameLookupFailsFor = nameFailsFor, typeLookupFails = typeFails;
  }

  // Faults the driver is armed with (arming again does not add up): the
  // next open fails; the next command
  // with `code` is refused.
  void armOpenFailure() { openFailures = 1; }
  // The command of `code` after the next `skip` of them is refused.
  void armRefusal(unsigned long code, unsigned int skip) { refusedCodes[code] = skip; }
  // The business lock grants `skip` attempts, then refuses one; -1 refuses none.
  void refuseLock(int skip) { locksBeforeRefusal = skip; }

 private:
  void log(int level, const std::string& text) {
    logged.push_back(std::to_string(level) + "|" + text);
  }
  // "<operation>:<number>:<text><value>\n" at error level.
  void logFailure(const char* operation, int number, const char* text, long long value) {
    log(0, std::string(operation) + ":" + std::to_string(number) + ":" + text +
               std::to_string(value) + "\n");
  }
  // Into the driver's table; an entry already there keeps its place.
  void put(const Entry& entry, uint32_t id, bool isStatic);
  bool lock();
  bool open();
  // One command on the handle open; false when refused, as the driver
  // refuses what it cannot do (not `feasible`) and what it was armed to.
  bool issue(unsigned long code, const std::vector<uint8_t>& record, unsigned long argument = 0,
             bool feasible = true);
  bool command(unsigned long code, const std::vector<uint8_t>& record, unsigned long argument = 0,
               bool feasible = true) {
    return open() && issue(code, record, argument, feasible);
  }
  // A walk of the table after its info read, reading one past each chain.
  void sendWalk(bool writesPortBack);
  uint32_t updateMngStaticEntry();
  bool holdsStatic(uint32_t id, const Entry& entry) const;
  uint32_t staticLimitOf(uint32_t id) const;
  // The cache lookups, which find nothing when their lock is refused.
  VirtualPort* carriedBy(uint32_t carrier);
  const CachedEntry* findCached(const Entry& entry, uint32_t& intf, uint32_t& vport);
  void unlink(const Entry& entry);
  bool limitReached(uint32_t id, uint16_t vlan) const;
  size_t dynamicCount(uint32_t id, const uint16_t* vlan) const;

  // The host's VLANs, GEM bindings, inactive GEM interfaces and management entry.
  std::set<uint16_t> vlans{10, 20};
  std::map<std::pair<uint32_t, uint32_t>, uint32_t> gems{{{8, 1}, 9}, {{8, 2}, 10}};
  std::set<uint32_t> inactive;
  uint32_t mngId = 4;
  Entry mngEntry = {10, {0x02, 0, 0, 0, 0, 0x01}};
  // The faults armed in the host, the lock and the driver.
  int networkInfoFault = 0, mngIdFault = 0;
  uint32_t nameLookupFailsFor = 0;
  bool typeLookupFails = false;
  int locksBeforeRefusal = -1;
  unsigned int openFailures = 0;
  std::map<unsigned long, unsigned int> refusedCodes;  // code -> commands let through first
  uint64_t insertions = 0;
};

}  // namespace entitymodel
