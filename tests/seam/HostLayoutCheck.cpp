// The sizes and offsets at which the module meets the host's classes, as
// docs/host-contracts.md states them. The module reads these fields, builds
// these objects on its own stack and instantiates these templates, so a
// change in host/ that moves one would break a real host silently; here it
// stops the build instead.
#include <cstddef>

#include "BLLManager.h"
#include "Interfaces.h"
#include "Log.h"
#include "Network.h"
#include "vqbridge.h"

#pragma GCC diagnostic ignored "-Winvalid-offsetof"

static_assert(sizeof(BLEntity) == 8 + sizeof(std::string), "BLEntity: vtable pointer, then name");

static_assert(sizeof(Interfaces::interfaceType) == 4, "interface type is a 4-byte enum");
static_assert(offsetof(Interfaces::Interface, id) == 0 &&
                  offsetof(Interfaces::Interface, type) == 4 &&
                  offsetof(Interfaces::Interface, name) == 8 &&
                  sizeof(Interfaces::Interface) == 8 + 3 * sizeof(std::string),
              "Interface: id, type, then three strings");

static_assert(sizeof(Notification::Event<bool(), void()>) ==
                  2 * sizeof(std::vector<boost::function<void()>>),
              "Event: the pre-subscriber vector, then the post-subscriber vector");
static_assert(offsetof(Interfaces, gponGemEvent) == sizeof(BLEntity), "GEM event after BLEntity");
static_assert(offsetof(vqbridge, vlanCreatedEvent) == sizeof(BLEntity) &&
                  offsetof(vqbridge, vlanDeletedEvent) ==
                      sizeof(BLEntity) + sizeof(vqbridge::vlanEvent_t),
              "VLAN events after BLEntity, created first");
static_assert(offsetof(BLLManager, externalMessage) == 0, "external-message event first");

static_assert(sizeof(BLLManager::exclusiveLock_t) == 1 && sizeof(BLLManager::sharedLock_t) == 1,
              "lock objects are their locked flag");

static_assert(offsetof(Network::NetworkInfo, mngMac) == 0 &&
                  offsetof(Network::NetworkInfo, mngVlan) == 6 &&
                  sizeof(Network::NetworkInfo) == 20,
              "NetworkInfo: MAC, VLAN, then three addresses");

static_assert(sizeof(Log) == sizeof(std::map<std::string, LogImpl::logLevel_t>) + 8,
              "Log: module-level map, then the level");
