// Puts the entity into its factory state by replaying a default
// configuration through its own operations, so driver and memory stay in
// step. Takes no lock of its own: each operation it calls locks itself.

#include "PortSecurity.h"

bool PortSecurity::applyDefaultSettings() {
  settings_t defaults;
  if (setState(defaults.state) != 0) return false;

  // One interface's failure does not stop the others.
  for (interfaceSettingsMap_t::const_iterator it = defaults.interfaces.begin();
       it != defaults.interfaces.end(); ++it) {
    const unsigned int id = it->first;
    setState(id, it->second.state);
    setLimitDynamicMACs(id, it->second.limitDynamicMACs);
    setLimitStaticMACs(id, it->second.limitStaticMACs);

    // Each removal erases the visited element: step past it first, and look
    // the settings up again before each test for the end.
    std::map<unsigned short, unsigned int>::iterator limitIt =
        interfaces[id].vlanLimitDynamicMACs.begin();
    while (limitIt != interfaces[id].vlanLimitDynamicMACs.end()) {
      const unsigned short vlan = limitIt->first;
      ++limitIt;
      setLimitDynamicMACs(id, vlan, 0);
    }
  }

  clearStaticEntries();

  for (macEntryMap_t::const_iterator it = defaults.staticEntries.begin();
       it != defaults.staticEntries.end(); ++it) {
    for (macEntryList_t::const_iterator entry = it->second->begin(); entry != it->second->end();
         ++entry) {
      if (addStaticEntry(it->first, *entry) != 0) return false;
    }
  }

  updateMngStaticEntry();
  macEntriesCache.clear();
  return true;
}
