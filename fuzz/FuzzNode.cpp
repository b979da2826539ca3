#include "FuzzNode.h"

#include <boost/bind/bind.hpp>
#include <cstdio>
#include <cstdlib>

#include "BLLManager.h"
#include "NodeConfig.h"
#include "NodeSetup.h"
#include "PortSecurity.h"
#include "SimHost.h"
#include "vqbridge.h"

namespace fuzznode {
namespace {

// The subscriptions PortSecurity::start() makes, without starting its thread.
void subscribe(PortSecurity& entity) {
  using boost::placeholders::_1;
  using boost::placeholders::_2;
  using boost::placeholders::_3;
  using boost::placeholders::_4;
  vqbridge& bridge = singleton<vqbridge>::instance();
  bridge.vlanDeletedEvent.subscribePre(boost::bind(&PortSecurity::vlanDelEvent, &entity, _1, _2));
  bridge.vlanCreatedEvent.subscribePost(boost::bind(&PortSecurity::vlanAddEvent, &entity, _1, _2));
  singleton<Interfaces>::instance().gponGemEvent.subscribePost(
      boost::bind(&PortSecurity::GPONGemEvent, &entity, _1, _2, _3, _4));
  singleton<BLLManager>::instance().externalMessage.subscribePost(
      boost::bind(&PortSecurity::externalMessage, &entity, _1, _2, _3));
}

}  // namespace

void resetWorld() {
  static const pshost::NodeConfig node = pshost::defaultNode();
  static bool subscribed = false;
  if (!subscribed) {
    sim::LogRecorder::instance().setEcho(false);
    subscribe(PortSecurity::instance());
    subscribed = true;
  }
  pshost::applyNode(node);
  // A world that cannot be reset would make every later finding meaningless.
  if (!PortSecurity::instance().applyDefaultSettings()) {
    std::fputs("fuzz: default settings were not applied\n", stderr);
    std::abort();
  }
  sim::Driver::instance().clearCommands();
  sim::LogRecorder::instance().clear();
}

}  // namespace fuzznode
