// The operator's dump of the entries cache and the static entries, answered
// to the host's external message "portSecurity" / "macEntries". Takes no
// lock: it reads the maps as they stand.

#include "CVqUtil.h"
#include "PortSecurity.h"

void PortSecurity::externalMessage(const std::string& module, const std::string& command,
                                   std::ostringstream* out) {
  if (module != "portSecurity" || command != "macEntries") return;
  std::ostringstream& text = *out;

  text << "\n"
       << "MAC Entries Cache:\n"
       << "-----------------\n";
  for (macEntriesCache_t::iterator intfIt = macEntriesCache.begin();
       intfIt != macEntriesCache.end(); ++intfIt) {
    text << " Interface: " << intfIt->first << "\n";
    for (vportCache_t::iterator vportIt = intfIt->second.begin(); vportIt != intfIt->second.end();
         ++vportIt) {
      macEntriesCacheVPortData_t& record = vportIt->second;
      // The limit shown is the carrier's; looking it up must not create it.
      interfaceSettingsMap_t::const_iterator settings = interfaces.find(record.intfId);
      unsigned int maxStatic = settings == interfaces.end() ? 0 : settings->second.limitStaticMACs;
      text << " \tVPort: " << vportIt->first << ", intfId: " << record.intfId
           << ", max-static: " << maxStatic << "\n";
      for (macEntriesCacheData_t& cached : record.entries) {
        text << " \t\tMAC: " << CVqUtil::macToString(cached.mac).c_str()
             << ", VLAN: " << cached.vlan << ", configured: " << cached.configured << "\n";
      }
    }
  }

  text << "\n"
       << "MAC Entries:\n"
       << "-----------\n";
  for (macEntryMap_t::iterator it = staticEntries.begin(); it != staticEntries.end(); ++it) {
    text << " Interface: " << it->first << "\n";
    for (macEntryList_t::iterator entry = it->second->begin(); entry != it->second->end();
         ++entry) {
      text << " \tMAC: " << CVqUtil::macToString(entry->mac).c_str() << ", VLAN: " << entry->vlan
           << "\n";
    }
  }
  text << "\n";
}
