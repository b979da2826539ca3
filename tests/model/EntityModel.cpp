#include "EntityModel.h"

#include <algorithm>
#include <cstdio>
#include <sstream>

namespace entitymodel {
namespace {

// The driver's request codes, as the driver documents them.
const unsigned long kTableInfo = 0x80047a02, kAddStatic = 0x40047a07, kDelStatic = 0x40047a09,
                    kMove = 0x40047a0d, kSetState = 0x40047a28, kSetIntfState = 0x40047a2a,
                    kSetIntfLimit = 0x40047a2c, kSetVlanLimit = 0x40047a2e,
                    kDelVlanLimit = 0x40047a2f, kGetViolation = 0xc0047a31;

const unsigned long kTableEntry = 0xc0047a0c;
const int kInternal = 3, kGpon = 4, kGem = 5;

typedef std::vector<uint8_t> Record;

// `record` with 32-bit words set at their offsets, little-endian as on both
// our targets, in the order given (a later word may overwrite an earlier one's top).
Record withWords(Record record, const std::vector<std::pair<size_t, uint32_t>>& words) {
  for (const auto& word : words)
    for (size_t i = 0; i < 4 && word.first + i < record.size(); ++i)
      record[word.first + i] = (word.second >> (8 * i)) & 0xff;
  return record;
}

// A zeroed record of `size` bytes that starts with the interface id as text.
Record intfRecord(size_t size, uint32_t id,
                  const std::vector<std::pair<size_t, uint32_t>>& words = {}) {
  Record record(size, 0);
  const std::string text = std::to_string(id);
  std::copy(text.begin(), text.end(), record.begin());
  return withWords(record, words);
}

Record macRecord(uint32_t id, const Entry& entry) {
  Record record = intfRecord(28, id, {{24, entry.vlan | 1u << 16}});  // isStatic is always 1
  std::copy(entry.mac.begin(), entry.mac.end(), record.begin() + 17);
  return record;
}

std::string macText(const Mac& mac) {
  char text[18];
  std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3],
                mac[4], mac[5]);
  return text;
}

}  // namespace

uint32_t bucketOf(const Entry& e, uint32_t buckets) {
  uint32_t hash = e.vlan;
  for (uint8_t byte : e.mac) hash = hash * 31 + byte;
  return buckets == 0 ? 0 : hash % buckets;
}

std::string describeCommand(unsigned long code, unsigned long argument, const Record& record,
                            bool refused) {
  std::ostringstream out;
  out << std::hex << code << ' ';
  if (record.empty()) out << argument;
  for (uint8_t byte : record) out << (byte >> 4) << (byte & 15);
  return out.str() + (refused ? " refused" : "");
}

std::vector<std::pair<Entry, TableEntry>> Observable::walk() const {
  std::vector<std::pair<Entry, TableEntry>> entries;
  if (buckets == 0) return entries;
  entries.assign(table.begin(), table.end());
  std::sort(entries.begin(), entries.end(), [this](const auto& a, const auto& b) {
    return std::make_pair(bucketOf(a.first, buckets), a.second.inserted) <
           std::make_pair(bucketOf(b.first, buckets), b.second.inserted);
  });
  return entries;
}

const std::vector<HostInterface>& Model::hostInterfaces() {
  // In the test node's order, which is not the ids' order.
  static const std::vector<HostInterface> list = {
      {10, kGem, "gem2"},  {1, 1, "eth1"},    {2, 1, "eth2"},
      {3, 1, "eth3"},      {4, 2, "mng0"},    {5, kInternal, "cpu0"},
      {8, kGpon, "gpon0"}, {9, kGem, "gem1"}, {4294967295u, 1, "last"}};
  return list;
}

bool Model::known(uint32_t id) {
  for (const HostInterface& i : hostInterfaces())
    if (i.id == id) return true;
  return false;
}

std::string describe(const Entry& e) {
  char text[24];
  std::snprintf(text, sizeof text, "v%u/%02x%02x%02x%02x%02x%02x", e.vlan, e.mac[0], e.mac[1],
                e.mac[2], e.mac[3], e.mac[4], e.mac[5]);
  return text;
}

std::string describe(const std::vector<Entry>& entries) {
  std::string text;
  for (const Entry& e : entries) text += " " + describe(e);
  return text;
}

std::string describe(const Settings& s) {
  std::ostringstream out;
  out << s.state << ',' << s.dynamicLimit << ',' << s.staticLimit << ",{";
  for (const auto& v : s.vlanLimits) out << v.first << '=' << v.second << ';';
  out << '}';
  return out.str();
}

void Model::put(const Entry& entry, uint32_t id, bool isStatic) {
  TableEntry& slot = table[entry];
  if (slot.inserted == 0) slot.inserted = ++insertions;
  slot.interface = id;
  slot.isStatic = isStatic;
}

bool Model::lock() {
  if (locksBeforeRefusal < 0) return true;
  return locksBeforeRefusal-- != 0;
}

bool Model::open() {
  if (openFailures == 0) return true;
  --openFailures;
  return false;
}

bool Model::issue(unsigned long code, const Record& record, unsigned long argument, bool feasible) {
  bool accepted = feasible;
  auto armed = refusedCodes.find(code);
  if (armed != refusedCodes.end() && armed->second-- == 0) {
    refusedCodes.erase(armed);
    accepted = false;
  }
  sent.push_back(describeCommand(code, argument, record, !accepted));
  return accepted;
}

void Model::sendWalk(bool writesPortBack) {
  // One record for the whole walk: each read passes back what the last entry
  // read left in it, its port plus one where the walker writes that back.
  Record record(48, 0);
  const auto entries = walk();
  size_t next = 0;
  for (uint32_t bucket = 0; bucket < buckets; ++bucket)
    for (uint32_t position = 0;; ++position) {
      record = withWords(record, {{0, bucket}, {4, position}});
      const bool found = next < entries.size() && bucketOf(entries[next].first, buckets) == bucket;
      if (!issue(kTableEntry, record, 0, found)) break;
      const auto& e = entries[next++];
      std::copy(e.first.mac.begin(), e.first.mac.end(), record.begin() + 8);
      const uint32_t port = e.second.interface - (writesPortBack ? 0 : 1);
      record = withWords(record, {{14, e.first.vlan}, {40, port}, {44, e.second.isStatic}});
    }
}

uint32_t Model::setState(bool value) {
  if (!lock() || !command(kSetState, {}, value)) return 1;
  driverState = value;
  state = value;
  return 0;
}

uint32_t Model::setState(uint32_t id, bool value) {
  if (!lock() || !known(id) || !command(kSetIntfState, intfRecord(24, id, {{20, value}}))) return 1;
  driverInterfaces[id].enabled = value;
  settings[id].state = value;
  return 0;
}

uint32_t Model::setStateAll(bool value) {
  for (const HostInterface& i : hostInterfaces())
    if (setState(i.id, value) != 0) return 1;
  return 0;
}

uint32_t Model::setLimitDynamicMACs(uint32_t id, uint32_t limit) {
  if (!lock() || !known(id) || !command(kSetIntfLimit, intfRecord(32, id, {{20, 0}, {24, limit}})))
    return 1;
  driverInterfaces[id].hasDynamicLimit = true;
  driverInterfaces[id].dynamicLimit = limit;
  settings[id].dynamicLimit = limit;
  return 0;
}

uint32_t Model::setLimitDynamicMACs(uint32_t id, uint16_t vlan, uint32_t limit) {
  if (!lock() || !known(id) || vlans.count(vlan) == 0) return 1;
  if (limit != 0) {
    if (limit < 1 || limit > 64) return 7;
    if (settings[id].vlanLimits.size() > 7) return 6;
  }
  if (!command(limit != 0 ? kSetVlanLimit : kDelVlanLimit,
               intfRecord(24, id, {{18, vlan}, {20, limit}})))
    return 1;
  if (limit != 0) {
    driverInterfaces[id].vlanLimits[vlan] = limit;
    settings[id].vlanLimits[vlan] = limit;
  } else {
    driverInterfaces[id].vlanLimits.erase(vlan);
    settings[id].vlanLimits.erase(vlan);
  }
  return 0;
}

VirtualPort* Model::carriedBy(uint32_t carrier) {
  if (!lock()) return nullptr;
  for (auto& perIntf : cache)
    for (auto& perVPort : perIntf.second)
      if (perVPort.second.carrier == carrier) return &perVPort.second;
  return nullptr;
}

uint32_t Model::setLimitStaticMACs(uint32_t id, uint32_t limit) {
  if (!lock() || !known(id)) return 1;
  const VirtualPort* carried = carriedBy(id);
  if (carried != nullptr && carried->entries.size() > limit) return 7;
  if (!command(kSetIntfLimit, intfRecord(32, id, {{20, 1}, {24, limit}}))) return 1;
  driverInterfaces[id].hasStaticLimit = true;
  driverInterfaces[id].staticLimit = limit;
  settings[id].staticLimit = limit;
  return 0;
}

uint32_t Model::staticLimitOf(uint32_t id) const {
  auto found = settings.find(id);
  return found == settings.end() ? 20 : found->second.staticLimit;
}

uint32_t Model::addStaticEntry(uint32_t id, const Entry& entry) {
  if (!lock() || !known(id)) return 1;
  for (auto& other : statics) {
    if (other.first == id) continue;
    if (std::find(other.second.begin(), other.second.end(), entry) == other.second.end()) continue;
    const uint32_t result = delStaticEntry(other.first, entry);
    if (result != 0) return result;
    break;
  }
  const uint32_t limit = settings[id].staticLimit;
  const bool hadList = statics.count(id) != 0;
  std::vector<Entry>& list = statics[id];
  if (hadList && list.size() == limit) return 2;
  if (std::find(list.begin(), list.end(), entry) != list.end()) return 0;
  if (!command(kAddStatic, macRecord(id, entry))) return 1;
  put(entry, id, true);
  list.push_back(entry);
  return 0;
}

bool Model::holdsStatic(uint32_t id, const Entry& entry) const {
  auto found = table.find(entry);
  return found != table.end() && found->second.isStatic && found->second.interface == id;
}

uint32_t Model::delStaticEntry(uint32_t id, const Entry& entry) {
  if (!lock() || !known(id)) return 1;
  auto list = statics.find(id);
  if (list == statics.end()) return 3;
  auto at = std::find(list->second.begin(), list->second.end(), entry);
  if (at == list->second.end()) return 3;
  if (!command(kDelStatic, macRecord(id, entry), 0, holdsStatic(id, entry))) return 1;
  table.erase(entry);
  list->second.erase(at);
  return 0;
}

uint32_t Model::clearStaticEntries(uint32_t id) {
  if (!lock()) return 1;
  for (auto& perIntf : statics) {
    if (id != 0 && perIntf.first != id) continue;
    while (!perIntf.second.empty())
      if (delStaticEntry(perIntf.first, perIntf.second.front()) != 0) {
        log(0, "PortSecurity::clearStaticEntries error at  delStaticEntry intfid: " +
                   std::to_string(perIntf.first) + ". Break the loop and return.");
        return 1;
      }
  }
  return 0;
}

void Model::unlink(const Entry& entry) {
  for (auto intf = cache.begin(); intf != cache.end(); ++intf)
    for (auto vport = intf->second.begin(); vport != intf->second.end(); ++vport) {
      std::vector<CachedEntry>& entries = vport->second.entries;
      for (auto e = entries.begin(); e != entries.end(); ++e) {
        if (!(e->entry == entry)) continue;
        entries.erase(e);
        if (entries.empty()) intf->second.erase(vport);
        if (intf->second.empty()) cache.erase(intf);
        return;
      }
    }
}

uint32_t Model::addStaticEntryVirtualPort(uint32_t id, const Entry& entry, uint32_t vport) {
  if (!lock() || !known(id)) return 1;
  if (typeLookupFails) {
    logFailure("addStaticEntryVirtualPort", 892, "interfaceGetTypeById failed for intf: ", id);
    return 1;
  }
  int type = 0;
  for (const HostInterface& i : hostInterfaces())
    if (i.id == id) type = i.type;
  if ((vport != 0) != (type == kGpon)) {
    log(1, "addStaticEntryVirtualPort:" + std::string(vport != 0 ? "920" : "906") +
               ":Invalid interface type: " + std::to_string(type) +
               " for interface: " + std::to_string(id) + "\n");
    return 1;
  }
  uint32_t carrier = id;
  if (vport != 0) {
    auto gem = gems.find({id, vport});
    carrier = gem == gems.end() ? 0 : gem->second;
  }
  if (!lock()) {
    logFailure("addStaticEntryVirtualPort", 936, "getStaticMacLimit failed for intf: ", carrier);
    return 1;
  }
  if (!lock()) {
    log(0, "addStaticEntryVirtualPort:945:getMacEntriesCacheNum failed for intf: " +
               std::to_string(id) + ", virtualPort: " + std::to_string(vport) + "\n");
    return 1;
  }
  const auto intf = cache.find(id);
  size_t count = 0;
  // The count's own lookup of the virtual port finds nothing when its lock is refused.
  if (lock() && intf != cache.end() && intf->second.count(vport) != 0)
    count = intf->second[vport].entries.size();
  if (count >= staticLimitOf(carrier)) {
    log(0, "addStaticEntryVirtualPort:955:macLimit failed for intf: " + std::to_string(id) +
               ", virtualPort: " + std::to_string(vport) + "\n");
    return 2;
  }

  uint32_t heldBy = 0, heldAt = 0;
  if (const CachedEntry* cached = findCached(entry, heldBy, heldAt)) {
    if (heldBy == id && heldAt == vport) return 0;
    const uint32_t oldCarrier = cache[heldBy][heldAt].carrier;
    if (cached->configured && delStaticEntry(oldCarrier, entry) != 0) {
      logFailure("addStaticEntryVirtualPort", 986, "delStaticEntry failed for intf: ", oldCarrier);
      return 1;
    }
    unlink(entry);
  }
  bool configured = false;
  if (carrier != 0 && vlans.count(entry.vlan) != 0) {
    if (addStaticEntry(carrier, entry) != 0) {
      logFailure("addStaticEntryVirtualPort", 1011, "addStaticEntry failed for intf: ", carrier);
      return 1;
    }
    configured = true;
  }
  VirtualPort& record = cache[id][vport];
  record.carrier = carrier;
  record.entries.push_back(CachedEntry{entry, configured});
  return 0;
}

const CachedEntry* Model::findCached(const Entry& entry, uint32_t& intf, uint32_t& vport) {
  if (!lock()) return nullptr;
  for (const auto& perIntf : cache)
    for (const auto& perVPort : perIntf.second)
      for (const CachedEntry& cached : perVPort.second.entries)
        if (cached.entry == entry) {
          intf = perIntf.first;
          vport = perVPort.first;
          return &cached;
        }
  return nullptr;
}

uint32_t Model::delStaticEntryVirtualPort(uint32_t id, const Entry& entry, uint32_t) {
  if (!lock() || !known(id)) return 1;
  uint32_t heldBy = 0, heldAt = 0;
  const CachedEntry* cached = findCached(entry, heldBy, heldAt);
  if (cached == nullptr) return 0;
  const uint32_t carrier = cache[heldBy][heldAt].carrier;
  if (cached->configured && delStaticEntry(carrier, entry) != 0) {
    logFailure("delStaticEntryVirtualPort", 1074, "delStaticEntry failed for intf: ", carrier);
    return 1;
  }
  unlink(entry);
  return 0;
}

uint32_t Model::moveDynamicToStatic(uint32_t id) {
  if (!lock() || !known(id) || !command(kMove, intfRecord(152, id))) return 1;
  for (auto& e : table)
    if (e.second.interface == id) e.second.isStatic = true;
  if (!issue(kTableInfo, Record(16, 0))) return 1;
  sendWalk(true);
  // Remembered in the order of the driver's walk.
  std::vector<Entry>& list = statics[id];
  list.clear();
  for (const auto& e : walk())
    if (e.second.interface == id && e.second.isStatic) list.push_back(e.first);
  return 0;
}

bool Model::applyDefaultSettings() {
  if (setState(false) != 0) return false;
  std::set<uint32_t> ascending;
  for (const HostInterface& i : hostInterfaces()) ascending.insert(i.id);
  for (uint32_t id : ascending) {
    setState(id, false);
    setLimitDynamicMACs(id, 300);
    setLimitStaticMACs(id, 20);
    const std::map<uint16_t, uint32_t> limits = settings[id].vlanLimits;
    for (const auto& limit : limits) setLimitDynamicMACs(id, limit.first, 0);
  }
  clearStaticEntries(0);
  updateMngStaticEntry();
  cache.clear();
  return true;
}

uint32_t Model::updateMngStaticEntry() {
  const std::string prefix = "Error in PortSecurity::updateMngStaticEntry: ";
  if (networkInfoFault != 0) {
    log(0, prefix + "NetworkInfo read failed. Error " + std::to_string(networkInfoFault) + "\n");
    return 1;
  }
  if (mngIdFault != 0) {
    log(0, prefix + "interfaceMngIdGet read failed. Error " + std::to_string(mngIdFault) + "\n");
    return 1;
  }
  if (clearStaticEntries(mngId) != 0) {
    log(0, prefix + "clearStaticEntries failed.\n");
    return 1;
  }
  if (addStaticEntry(mngId, mngEntry) != 0) {
    log(0, prefix + "addStaticEntry for vlan " + std::to_string(mngEntry.vlan) + " failed.\n");
    return 1;
  }
  return 0;
}

void Model::createVlan(uint16_t vlan) {
  if (!vlans.insert(vlan).second) return;
  if (!lock()) return logFailure("vlanAddEvent", 1706, "lock failed for vid: ", vlan);
  for (auto& perIntf : cache)
    for (auto& perVPort : perIntf.second)
      for (CachedEntry& cached : perVPort.second.entries) {
        const uint32_t carrier = perVPort.second.carrier;
        if (cached.entry.vlan != vlan || carrier == 0 || cached.configured) continue;
        if (addStaticEntry(carrier, cached.entry) == 0)
          cached.configured = true;
        else
          logFailure("vlanAddEvent", 1731, "addStaticEntry failed for intf: ", carrier);
      }
}

bool Model::deleteVlan(uint16_t vlan) {
  if (vlans.count(vlan) == 0) return true;
  bool agreed = true;
  if (!lock()) {
    logFailure("vlanDelEvent", 1754, "lock failed for vid: ", vlan);
  } else {
    for (auto& perIntf : cache)
      for (auto& perVPort : perIntf.second)
        for (CachedEntry& cached : perVPort.second.entries) {
          if (cached.entry.vlan != vlan || !cached.configured) continue;
          if (delStaticEntry(perVPort.second.carrier, cached.entry) == 0)
            cached.configured = false;
          else
            logFailure("vlanDelEvent", 1780,
                       "addStaticEntry failed for intf: ", perVPort.second.carrier);
        }
    std::vector<uint32_t> limited;
    for (const auto& s : settings)
      if (s.second.vlanLimits.count(vlan) != 0) limited.push_back(s.first);
    for (uint32_t id : limited)
      if (setLimitDynamicMACs(id, vlan, 0) != 0) {
        agreed = false;
        break;
      }
  }
  vlans.erase(vlan);
  return agreed;
}

void Model::gemEvent(uint32_t gem, uint32_t id, uint32_t vport, int kind) {
  if (kind != 0 && kind != 2) return;
  gems[{id, vport}] = gem;
  if (!lock()) return logFailure("GPONGemEvent", 1818, "lock failed for intfid: ", gem);
  VirtualPort* withdrawn = kind == 2 ? carriedBy(gem) : nullptr;
  if (withdrawn != nullptr)
    for (CachedEntry& cached : withdrawn->entries) {
      if (!cached.configured) continue;
      if (delStaticEntry(gem, cached.entry) == 0)
        cached.configured = false;
      else
        logFailure("GPONGemEvent", 1881, "delStaticEntry failed for intf: ", gem);
    }
  auto intf = cache.find(id);
  if (!lock() || intf == cache.end() || intf->second.count(vport) == 0) return;
  VirtualPort& record = intf->second[vport];
  record.carrier = gem;
  for (CachedEntry& cached : record.entries) {
    if (cached.configured || vlans.count(cached.entry.vlan) == 0) continue;
    if (addStaticEntry(gem, cached.entry) == 0)
      cached.configured = true;
    else
      logFailure("GPONGemEvent", kind == 2 ? 1912 : 1849, "addStaticEntry failed for intf: ", gem);
  }
}

size_t Model::dynamicCount(uint32_t id, const uint16_t* vlan) const {
  size_t count = 0;
  for (const auto& e : table)
    if (e.second.interface == id && !e.second.isStatic &&
        (vlan == nullptr || e.first.vlan == *vlan))
      ++count;
  return count;
}

bool Model::limitReached(uint32_t id, uint16_t vlan) const {
  auto found = driverInterfaces.find(id);
  if (!driverState || found == driverInterfaces.end() || !found->second.enabled) return false;
  const DriverInterface& d = found->second;
  if (d.hasDynamicLimit && dynamicCount(id, nullptr) >= d.dynamicLimit) return true;
  auto limit = d.vlanLimits.find(vlan);
  return limit != d.vlanLimits.end() && dynamicCount(id, &vlan) >= limit->second;
}

void Model::learn(uint32_t id, const Entry& entry) {
  if (!known(id)) return;
  auto existing = table.find(entry);
  if (existing != table.end() && (existing->second.isStatic || existing->second.interface == id))
    return;
  if (limitReached(id, entry.vlan))
    violations[id] = entry;
  else
    put(entry, id, false);
}

std::string Model::queryMemory(uint32_t id, uint16_t vlan, bool lockRefused) const {
  std::ostringstream out;
  if (lockRefused) {
    out << "state 1 1\ndynamic 1 12345\nvlan " << vlan << " 1 12345\nstatic 1 12345\n"
        << "internal 1 12345\ninfo 1 ? 0 " << describe(Settings()) << "\nstatics 1\nlist 1";
    return out.str();
  }
  const auto found = settings.find(id);
  const bool has = known(id) && found != settings.end();
  const Settings s = has ? found->second : Settings();
  out << "state " << (has ? "0 " + std::to_string(s.state) : "1 1") << '\n';
  out << "dynamic "
      << (!has       ? "1 12345"
          : !s.state ? "5 12345"
                     : "0 " + std::to_string(s.dynamicLimit))
      << '\n';
  const auto vlanLimit = s.vlanLimits.find(static_cast<uint16_t>(id));
  out << "vlan " << vlan << ' '
      << (!has                              ? "1 12345"
          : vlanLimit == s.vlanLimits.end() ? "8 12345"
                                            : "0 " + std::to_string(vlanLimit->second))
      << '\n';
  out << "static "
      << (!has      ? "1 12345"
          : s.state ? "5 12345"
                    : "0 " + std::to_string(s.staticLimit))
      << '\n';
  out << "internal 0 " << staticLimitOf(id) << '\n';
  std::string name = "?";
  int type = 0;
  for (const HostInterface& i : hostInterfaces())
    if (i.id == id && nameLookupFailsFor != id) name = i.name, type = typeLookupFails ? 0 : i.type;
  const bool described = known(id) && nameLookupFailsFor != id && !typeLookupFails;
  out << "info " << !described << ' ' << name << ' ' << type << ' '
      << describe(described ? s : Settings()) << '\n';
  const auto list = statics.find(id);
  out << "statics " << (known(id) ? "0" : "1")
      << (list == statics.end() || !known(id) ? "" : describe(list->second)) << '\n';
  std::ostringstream listed;
  for (const HostInterface& i : hostInterfaces()) {
    if (i.type == kInternal || i.type == kGpon || (i.type == kGem && inactive.count(i.id) != 0))
      continue;
    if (typeLookupFails || nameLookupFailsFor == i.id) return out.str() + "list 1";
    const auto kept = settings.find(i.id);
    listed << ' ' << i.id << ':' << describe(kept == settings.end() ? Settings() : kept->second);
  }
  return out.str() + "list 0" + listed.str();
}

std::string Model::queryDriver(uint32_t id, bool lockRefused) {
  if (lockRefused) return "dynamic 1 sentinel\nall 1 999:\nviolation 1 sentinel";
  std::ostringstream out;
  out << "dynamic ";
  if (!known(id) || !command(kTableInfo, Record(16, 0))) {
    out << "1 sentinel";
  } else {
    sendWalk(false);
    std::vector<Entry> entries;
    for (const auto& e : walk())
      if (e.second.interface == id + 1 && !e.second.isStatic) entries.push_back(e.first);
    out << '0' << describe(entries);
  }
  out << "\nall ";
  if (!command(kTableInfo, Record(16, 0))) {
    out << "1 999:";
  } else {
    sendWalk(true);
    std::map<uint32_t, std::vector<Entry>> byInterface;
    for (const auto& e : walk()) {
      std::vector<Entry>& list = byInterface[e.second.interface];
      if (!e.second.isStatic) list.push_back(e.first);
    }
    out << '0';
    for (const auto& perIntf : byInterface)
      out << ' ' << perIntf.first << ':' << describe(perIntf.second);
  }
  out << "\nviolation ";
  if (!known(id) || !command(kGetViolation, intfRecord(26, id))) return out.str() + "1 sentinel";
  const auto violation = violations.find(id);
  // An all-zero MAC is how the driver says that none was recorded.
  if (violation == violations.end() || violation->second.mac == Mac{})
    return out.str() + "3 sentinel";
  return out.str() + "0 " + describe(violation->second);
}

void Model::addDriverStatic(uint32_t id, const Entry& entry) {
  if (issue(kAddStatic, macRecord(id, entry))) put(entry, id, true);
}

void Model::setGemActive(uint32_t id, bool active) {
  if (active)
    inactive.erase(id);
  else
    inactive.insert(id);
}

std::string Model::dump(const std::string& module, const std::string& command) const {
  if (module != "portSecurity" || command != "macEntries") return "";
  std::ostringstream out;
  out << "\nMAC Entries Cache:\n-----------------\n";
  for (const auto& perIntf : cache) {
    out << " Interface: " << perIntf.first << '\n';
    for (const auto& perVPort : perIntf.second) {
      const auto limit = settings.find(perVPort.second.carrier);
      out << " \tVPort: " << perVPort.first << ", intfId: " << perVPort.second.carrier
          << ", max-static: " << (limit == settings.end() ? 0 : limit->second.staticLimit) << '\n';
      for (const CachedEntry& c : perVPort.second.entries)
        out << " \t\tMAC: " << macText(c.entry.mac) << ", VLAN: " << c.entry.vlan
            << ", configured: " << c.configured << '\n';
    }
  }
  out << "\nMAC Entries:\n-----------\n";
  for (const auto& list : statics) {
    out << " Interface: " << list.first << '\n';
    for (const Entry& e : list.second)
      out << " \tMAC: " << macText(e.mac) << ", VLAN: " << e.vlan << '\n';
  }
  return out.str() + "\n";
}

std::string Observable::text() const {
  std::ostringstream out;
  out << "global " << state << " driver " << driverState << '\n';
  for (const HostInterface& i : Model::hostInterfaces()) {
    const auto s = settings.find(i.id);
    const auto d = driverInterfaces.find(i.id);
    const DriverInterface di = d == driverInterfaces.end() ? DriverInterface() : d->second;
    out << "intf " << i.id << " mem " << (s == settings.end() ? "-" : describe(s->second))
        << " drv " << di.enabled << ','
        << (di.hasDynamicLimit ? std::to_string(di.dynamicLimit) : "-") << ','
        << (di.hasStaticLimit ? std::to_string(di.staticLimit) : "-") << ",{";
    for (const auto& v : di.vlanLimits) out << v.first << '=' << v.second << ';';
    const auto violation = violations.find(i.id);
    out << "} viol " << (violation == violations.end() ? "-" : describe(violation->second)) << '\n';
  }
  for (const auto& list : statics)
    out << "statics " << list.first << ':' << describe(list.second) << '\n';
  for (const auto& perIntf : cache)
    for (const auto& perVPort : perIntf.second) {
      out << "cache " << perIntf.first << '.' << perVPort.first << '@' << perVPort.second.carrier
          << ':';
      for (const CachedEntry& c : perVPort.second.entries)
        out << ' ' << describe(c.entry) << '=' << c.configured;
      out << '\n';
    }
  for (const auto& e : walk())
    out << "table " << describe(e.first) << '@'
        << e.second.interface << (e.second.isStatic ? 's' : 'd') << '\n';
  for (const std::string& line : logged) out << "log " << line << '\n';
  for (const std::string& line : sent) out << "sent " << line << '\n';
  return out.str();
}

}  // namespace entitymodel
