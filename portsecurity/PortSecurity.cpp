// Construction, lifecycle and the small records of the port-security entity.
// start() and stop() are called by the host in order, from one thread.

#include "PortSecurity.h"

#include <cstring>
#include <utility>

#include <boost/bind/bind.hpp>

#include "BLLManager.h"
#include "InterfaceRegistry.h"
#include "Network.h"
#include "OperationLog.h"
#include "rpc/PortSecurityRpc.h"
#include "vqbridge.h"

namespace {

// The entity keeps nothing in the host's configuration tree: its
// configuration lives in the driver and in memory.
void ignoreConfiguration(const boost::shared_ptr<Storage::Setting>&) {}

// Reporting allocates too: when memory has run out, the result alone says
// that start() failed, since nothing may be thrown to the host.
void logStartFailure(const char* why) noexcept {
  try {
    operationLog(LogImpl::logLevel_t(0), "PortSecurity::start", 1)
        .write("RPC thread not started: ")
        .write(why)
        .write("\n");
  } catch (...) {
  }
}

}  // namespace

// `state` is not initialised here: the one object lives in zero-filled
// static storage, so it starts out false.
PortSecurity::PortSecurity()
    : BLEntity("portsecurity"),
      rpcProxy(rpcPortsecurityStart, "PortSecurity_mng"),
      staticEntries(),
      interfaces(),
      macEntriesCache(),
      bridgeName("br0"),
      tableName("mac_table") {}

// Neither unsubscribes nor touches the driver.
PortSecurity::~PortSecurity() noexcept {}

void PortSecurity::applyConfiguration(boost::shared_ptr<Storage::Setting> setting) {
  ignoreConfiguration(setting);
}

void PortSecurity::saveConfiguration(boost::shared_ptr<Storage::Setting> setting) const {
  ignoreConfiguration(setting);
}

// The host calls start() through its own vtable and cannot take an
// exception from a module: a thread that cannot be made is a failed start.
bool PortSecurity::start() {
  try {
    using boost::placeholders::_1;
    using boost::placeholders::_2;
    using boost::placeholders::_3;
    using boost::placeholders::_4;

    vqbridge& bridge = singleton<vqbridge>::instance();
    bridge.vlanDeletedEvent.subscribePre(boost::bind(&PortSecurity::vlanDelEvent, this, _1, _2));
    bridge.vlanCreatedEvent.subscribePost(boost::bind(&PortSecurity::vlanAddEvent, this, _1, _2));
    // The handler's truth value is dropped: GEM events have no veto.
    singleton<Interfaces>::instance().gponGemEvent.subscribePost(
        boost::bind(&PortSecurity::GPONGemEvent, this, _1, _2, _3, _4));
    // The event's trailing string is not forwarded.
    singleton<BLLManager>::instance().externalMessage.subscribePost(
        boost::bind(&PortSecurity::externalMessage, this, _1, _2, _3));
    return rpcProxy.start();
  } catch (const std::exception& error) {
    logStartFailure(error.what());
  } catch (...) {
    logStartFailure("unknown error");
  }
  return false;
}

// The lookups below are by the bare member pointer while start() stored bound
// objects, so they remove nothing; the GEM subscription is not even looked
// for. The handlers therefore stay subscribed after stop().
bool PortSecurity::stop() {
  vqbridge& bridge = singleton<vqbridge>::instance();
  bridge.vlanDeletedEvent.unsubscribePre(&PortSecurity::vlanDelEvent);
  bridge.vlanCreatedEvent.unsubscribePost(&PortSecurity::vlanAddEvent);
  singleton<BLLManager>::instance().externalMessage.unsubscribePost(&PortSecurity::externalMessage);
  rpcProxy.stop(false);
  return true;
}

void PortSecurity::getDependencies(std::list<std::string>& dependencies) {
  dependencies.clear();
  dependencies.push_back(singleton<Interfaces>::instance().getName());
  dependencies.push_back(singleton<vqbridge>::instance().getName());
  dependencies.push_back(singleton<Network>::instance().getName());
}

PortSecurity::settings_t::settings_t() : state(false) {
  for (const Interfaces::Interface& interface : registryInterfaces())
    interfaces.insert(std::make_pair(interface.id, interfaceSettings_t()));
  staticEntries.clear();
}
