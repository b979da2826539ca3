// Installs the management interface's own static entry (its MAC on its VLAN)
// after clearing that interface's static entries. Takes no lock of its own.

#include <cstring>

#include "Interfaces.h"
#include "Log.h"
#include "Network.h"
#include "PortSecurity.h"

namespace {

// Logs a host query that answered `code` instead of 0; the operation fails.
unsigned int hostQueryFailed(Log& log, const char* text, int code) {
  log.setMsgLevel(LogImpl::logLevel_t(0));
  log.write(text).write(code).write("\n");
  return 1;
}

}  // namespace

unsigned int PortSecurity::updateMngStaticEntry() {
  Log& log = singleton<Log>::instance();

  Network::NetworkInfo info;
  std::memset(&info, 0, sizeof info);
  int code = singleton<Network>::instance().getNetworkInfo(&info);
  if (code != 0)
    return hostQueryFailed(
        log, "Error in PortSecurity::updateMngStaticEntry: NetworkInfo read failed. Error ", code);

  unsigned int mngId = 0;
  code = singleton<Interfaces>::instance().interfaceMngIdGet(mngId);
  if (code != 0)
    return hostQueryFailed(
        log, "Error in PortSecurity::updateMngStaticEntry: interfaceMngIdGet read failed. Error ",
        code);

  // An id of 0 clears every interface, as clearStaticEntries(0) always does.
  if (clearStaticEntries(mngId) != 0) {
    log.setMsgLevel(LogImpl::logLevel_t(0));
    log.write("Error in PortSecurity::updateMngStaticEntry: clearStaticEntries failed.\n");
    return 1;
  }

  macEntry_t entry;
  entry.vlan = info.mngVlan;
  std::memcpy(entry.mac, info.mngMac, sizeof entry.mac);
  if (addStaticEntry(mngId, entry) != 0) {
    log.setMsgLevel(LogImpl::logLevel_t(0));
    log.write("Error in PortSecurity::updateMngStaticEntry: addStaticEntry for vlan ")
        .write(entry.vlan)
        .write(" failed.\n");
    return 1;
  }
  return 0;
}
