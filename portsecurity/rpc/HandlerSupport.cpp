#include "HandlerSupport.h"

#include <string.h>

#include "CliConfig.h"
#include "bridge.h"
#include "singleton.h"

namespace rpcHandlers {

bool refusedInProfileMode() { return singleton<CliConfig>::instance().checkProfileMode(); }

bool refusedInProfileMode(unsigned int intf) {
  // Uplinks stay configurable whatever the command line's mode.
  if (servProfileCheckIfInterfaceUplink(intf) != 0) return false;
  return refusedInProfileMode();
}

PortSecurity::macEntry_t toMacEntry(const rpcPSMacEntry& wire) {
  PortSecurity::macEntry_t entry;
  entry.vlan = wire.vlan;
  memcpy(entry.mac, wire.mac, sizeof entry.mac);
  return entry;
}

void toWire(const PortSecurity::macEntry_t& entry, rpcPSMacEntry& wire) {
  memcpy(wire.mac, entry.mac, sizeof wire.mac);
  wire.vlan = entry.vlan;
}

void toWire(const PortSecurity::interfaceInfo_t& info, rpcPSIntfSettings& wire) {
  const size_t room = sizeof wire.name - 1;
  const size_t length = info.name.size() < room ? info.name.size() : room;
  memcpy(wire.name, info.name.data(), length);
  wire.name[length] = '\0';
  wire.type = static_cast<rpcIfcType>(info.type);
  wire.state = info.settings.state ? 1 : 0;
  wire.limitDynamic = info.settings.limitDynamicMACs;
  wire.limitStatic = info.settings.limitStaticMACs;
}

}  // namespace rpcHandlers
