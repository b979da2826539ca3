// The port-security entity: per-interface MAC limits and static entries,
// pushed into the kernel bridge driver (driver first, memory second).
// Every public operation takes the host's business-logic lock itself
// (exclusive for changes, shared for reads) and returns 1 when it cannot;
// the lock is re-entrant, so operations call one another while locked.
// The exceptions are named at each operation.
#pragma once

#include <cstring>
#include <list>
#include <map>
#include <sstream>
#include <string>

#include <boost/shared_ptr.hpp>

#include "BLEntity.h"
#include "Interfaces.h"
#include "rte/BLL/core/rpcProxy.h"
#include "singleton.h"

class PortSecurity : public BLEntity, public singleton<PortSecurity> {
 public:
  struct macEntry_t {
    unsigned short vlan;
    unsigned char mac[6];
  };

  struct interfaceSettings_t {
    bool state = false;
    unsigned int limitDynamicMACs = 300;
    unsigned int limitStaticMACs = 20;
    std::map<unsigned short, unsigned int> vlanLimitDynamicMACs;
  };

  typedef std::list<macEntry_t> macEntryList_t;
  typedef std::map<unsigned int, boost::shared_ptr<macEntryList_t>> macEntryMap_t;
  typedef std::map<unsigned int, interfaceSettings_t> interfaceSettingsMap_t;

  // A whole default configuration: one default settings record per host
  // interface, no static entries.
  struct settings_t {
    settings_t();
    bool state;
    interfaceSettingsMap_t interfaces;
    macEntryMap_t staticEntries;
  };

  struct interfaceInfo_t {
    std::string name;
    Interfaces::interfaceType type = Interfaces::IF_TYPE_UNKNOWN;
    interfaceSettings_t settings;
  };

  // One cached static entry; `configured` is true while it is applied in the
  // driver (and in staticEntries) on its virtual port's intfId.
  struct macEntriesCacheData_t {
    unsigned char mac[6];
    unsigned short vlan;
    bool configured;
  };

  // The cached entries of one (interface, virtual port) and the driver
  // interface that carries them (0 while no GEM interface is known).
  struct macEntriesCacheVPortData_t {
    unsigned int intfId = 0;
    std::list<macEntriesCacheData_t> entries;
  };

  typedef std::map<unsigned int, macEntriesCacheVPortData_t> vportCache_t;
  typedef std::map<unsigned int, vportCache_t> macEntriesCache_t;
  typedef macEntriesCache_t::iterator cacheIntfIterator_t;
  typedef vportCache_t::iterator cacheVPortIterator_t;
  typedef std::list<macEntriesCacheData_t>::iterator cacheEntryIterator_t;

  PortSecurity();
  ~PortSecurity() noexcept override;
  PortSecurity(const PortSecurity&) = delete;
  PortSecurity& operator=(const PortSecurity&) = delete;

  // BLEntity operations.
  void applyConfiguration(boost::shared_ptr<Storage::Setting> setting) override;
  void saveConfiguration(boost::shared_ptr<Storage::Setting> setting) const override;
  bool start() override;
  // Takes no lock of its own; true on success.
  bool applyDefaultSettings() override;
  // Always true. The event subscriptions stay in place.
  bool stop() override;
  void getDependencies(std::list<std::string>& dependencies) override;

  // State and limits. Results: 0 success, 1 failure, and where noted
  // 5 not reportable in this state, 6 per-VLAN limits full,
  // 7 limit out of range, 8 no per-VLAN limit.
  unsigned int setState(bool value);
  unsigned int setState(unsigned int id, bool value);
  // No lock of its own; stops at the first failure without rollback.
  unsigned int setStateAll(bool value);
  unsigned int setLimitDynamicMACs(unsigned int id, unsigned int limit);
  unsigned int setLimitDynamicMACs(unsigned int id, unsigned short vlan, unsigned int limit);
  unsigned int setLimitStaticMACs(unsigned int id, unsigned int limit);
  unsigned int getState(bool& out) const;
  unsigned int getState(unsigned int id, bool& out) const;
  unsigned int getLimitDynamicMACs(unsigned int id, unsigned int& out) const;
  unsigned int getLimitDynamicMACs(unsigned int id, unsigned short vlan, unsigned int& out) const;
  unsigned int getLimitStaticMACs(unsigned int id, unsigned int& out) const;
  unsigned int getStaticMacLimit(unsigned int id, unsigned int& out) const;

  // Static entries, interface layer. 2 static limit reached, 3 not found.
  unsigned int addStaticEntry(unsigned int intf, macEntry_t const& entry);
  unsigned int delStaticEntry(unsigned int intf, macEntry_t const& entry);
  // 0 clears every interface.
  unsigned int clearStaticEntries(unsigned int intf);
  unsigned int clearStaticEntries();

  // Static entries, virtual-port layer (cached, applied where possible).
  unsigned int addStaticEntryVirtualPort(unsigned int intf, macEntry_t const& entry,
                                         unsigned int vport);
  unsigned int delStaticEntryVirtualPort(unsigned int intf, macEntry_t const& entry,
                                         unsigned int vport);
  unsigned int addStaticEntryApi(unsigned int intf, macEntry_t const& entry);
  unsigned int delStaticEntryApi(unsigned int intf, macEntry_t const& entry);

  // Dynamic entries, violations, move to static. 3 no violation recorded.
  unsigned int getStaticMACs(unsigned int id, std::list<macEntry_t>& out) const;
  unsigned int getStaticMACs(macEntryMap_t& out) const;
  unsigned int getDynamicMACs(unsigned int id, std::list<macEntry_t>& out) const;
  unsigned int getDynamicMACs(macEntryMap_t& out) const;
  unsigned int getLastViolation(unsigned int id, macEntry_t& out) const;
  unsigned int moveDynamicToStatic(unsigned int id);

  // Host event handlers.
  void vlanAddEvent(char const* bridge, unsigned short vlan);
  bool vlanDelEvent(char const* bridge, unsigned short vlan);
  bool GPONGemEvent(int gemIntf, int intf, int vport, Interfaces::interfaceGPONEvent_t kind);
  // No lock of its own.
  unsigned int updateMngStaticEntry();

  // Reports.
  unsigned int getInterfaceInfo(unsigned int id, interfaceInfo_t& out) const;
  unsigned int getInterfaceInfo(std::list<interfaceInfo_t>& out) const;
  unsigned int getInterfaceSettings(interfaceSettingsMap_t& out) const;

  // Diagnostic dump for module "portSecurity", command "macEntries".
  // Takes no lock.
  void externalMessage(const std::string& module, const std::string& command,
                       std::ostringstream* out);

  // Entries cache lookups. The iterators point into the live cache: use them
  // only while holding the exclusive lock across lookup and use.
  bool findMacEntriesCacheByEntry(macEntriesCacheData_t data, cacheIntfIterator_t* intfIt,
                                  cacheVPortIterator_t* vportIt, cacheEntryIterator_t* entryIt);
  bool findMacEntriesCacheByIntfId(unsigned int intfId, cacheIntfIterator_t* intfIt,
                                   cacheVPortIterator_t* vportIt);
  bool findMacEntriesCacheByIntfVPort(unsigned int intf, unsigned int vport,
                                      cacheIntfIterator_t* intfIt, cacheVPortIterator_t* vportIt);
  // False only when the lock failed; an unknown pair counts 0.
  bool getMacEntriesCacheNum(unsigned int intf, unsigned int vport, unsigned int& num);
  unsigned int getMacEntriesCache(macEntriesCache_t& out) const;

 private:
  RPCProxy rpcProxy;
  bool state;  // left to zero-filled static storage; see the constructor
  macEntryMap_t staticEntries;
  interfaceSettingsMap_t interfaces;
  macEntriesCache_t macEntriesCache;
  std::string bridgeName;
  std::string tableName;
};

// Inline, so that the module exports no operator of its own.
inline bool operator==(PortSecurity::macEntry_t const& a, PortSecurity::macEntry_t const& b) {
  return a.vlan == b.vlan && std::memcmp(a.mac, b.mac, sizeof a.mac) == 0;
}
