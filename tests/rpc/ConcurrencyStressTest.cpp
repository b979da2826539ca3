// Clients on UDP and TCP change settings and static entries and read lists
// while the host's events create and delete a VLAN and bind, rebind and
// withdraw GEM ports, for a fixed number of rounds. Afterwards the cache, the
// remembered static entries and the driver agree and no limit is exceeded.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "PortSecurity.h"
#include "RpcTestSupport.h"
#include "SimHost.h"

namespace {

using namespace rpctest;

const unsigned int kRounds = 60, kClients = 4, kEventRounds = 5000, kLateBindRound = 10;
const unsigned int kGpon = 4, kGem1 = 40, kGem2 = 41, kLateGem = 42, kLateVport = 3;
const unsigned short kToggledVlan = 100, kFirstVlan = 100, kVlanCount = 10;
const unsigned int kStaticLimit = 20, kVlanLimitsPerInterface = 8;

rpcPSMacEntry mac(unsigned char group, unsigned char last, unsigned short vlan) {
  return {{0x02, 0, 0, 0, group, last}, vlan};
}

struct NoArgument {};
bool_t xdr_NoArgument(XDR*, NoArgument*) { return TRUE; }

// One call of a client, its reply released; the rpcgen stubs keep replies in
// static storage, so concurrent clients cannot use them. A call without a
// reply counts as lost.
template <class Argument, class Result>
void send(CLIENT* client, std::atomic<unsigned int>& lost, rpcproc_t procedure,
          bool_t (*encode)(XDR*, Argument*), Argument argument, bool_t (*decode)(XDR*, Result*)) {
  Result result = {};
  if (call(client, procedure, encode, &argument, decode, &result) != RPC_SUCCESS) ++lost;
  clnt_freeres(client, xdrRoutine(decode), reinterpret_cast<char*>(&result));
}

// The library's client creation shares static data between threads (its
// port-mapper lookup), so clients are made one at a time.
CLIENT* connectAlone(const char* transport) {
  static std::mutex creating;
  std::lock_guard<std::mutex> guard(creating);
  return connect(transport);
}

// One client's rounds on its own connection.
void clientRounds(const char* transport, unsigned int client, std::atomic<unsigned int>& lost) {
  CLIENT* rpc = connectAlone(transport);
  if (rpc == nullptr) {
    lost += kRounds;
    return;
  }
  for (unsigned int round = 0; round < kRounds; ++round) {
    const unsigned int eth = 1 + (round + client) % 3, vport = 1 + (round + client) % 3;
    // MACs shared by all clients, so that entries move between interfaces.
    const unsigned char last = static_cast<unsigned char>(round % 25);
    const unsigned short vlan = kFirstVlan + round % 2;
    const u_short limitedVlan = kFirstVlan + (round + client) % (kVlanCount + 2);
    send(rpc, lost, RPC_PS_SET_INTERFACE_STATE, xdr_rpc_ps_set_interface_state_1_argument,
         {eth, round % 2 == 0}, xdr_rpcPortSecurityResult);
    send(rpc, lost, RPC_PS_SET_MAC_LIMIT_DYNAMIC, xdr_rpc_ps_set_mac_limit_dynamic_1_argument,
         {eth, 100 + round}, xdr_rpcPortSecurityResult);
    send(rpc, lost, RPC_PS_ADD_VLAN_MAC_LIMIT_DYNAMIC,
         xdr_rpc_ps_add_vlan_mac_limit_dynamic_1_argument, {eth, limitedVlan, 10},
         xdr_rpcPortSecurityResult);
    send(rpc, lost, RPC_PS_ADD_MAC_STATIC, xdr_rpc_ps_add_mac_static_1_argument,
         {eth, mac(0, last, vlan)}, xdr_rpcPortSecurityResult);
    send(rpc, lost, RPC_PS_ADD_MAC_STATIC_VIRTUAL_PORT,
         xdr_rpc_ps_add_mac_static_virtual_port_1_argument,
         {kGpon, mac(1, last, kToggledVlan), vport}, xdr_rpcPortSecurityResult);
    if (round % 3 == 2) {
      send(rpc, lost, RPC_PS_DEL_MAC_STATIC, xdr_rpc_ps_del_mac_static_1_argument,
           {eth, mac(0, last - 2, vlan)}, xdr_rpcPortSecurityResult);
      send(rpc, lost, RPC_PS_DEL_MAC_STATIC_VIRTUAL_PORT,
           xdr_rpc_ps_del_mac_static_virtual_port_1_argument,
           {kGpon, mac(1, last - 1, kToggledVlan), 1}, xdr_rpcPortSecurityResult);
    }
    send(rpc, lost, RPC_PS_GET_MACS_STATIC, xdr_u_int, u_int{eth}, xdr_rpcResultPSMacEntryList);
    send(rpc, lost, RPC_PS_GET_INTERFACE_SETTINGS_ALL, xdr_NoArgument, NoArgument{},
         xdr_rpcResultPSIntfSettingsList);
  }
  clnt_destroy(rpc);
}

// The host's side: the VLAN goes and comes back, GEM ports are withdrawn
// and applied again, and a virtual port without a GEM port gets one. Each
// port is rebound to its own GEM interface only: rebinding to another one
// deliberately leaves applied entries where they were.
void eventRounds(const std::atomic<bool>& clientsDone) {
  PortSecurity& entity = PortSecurity::instance();
  sim::Node& node = sim::Node::instance();
  const auto gem = [&](unsigned int gemIntf, unsigned int vport, int kind) {
    node.bindGem({kGpon, vport, gemIntf});
    entity.GPONGemEvent(gemIntf, kGpon, vport, Interfaces::interfaceGPONEvent_t(kind));
  };
  // Until the clients are done, at most kEventRounds rounds.
  for (unsigned int round = 0; round < kEventRounds && !clientsDone; ++round) {
    entity.vlanDelEvent("br0", kToggledVlan);
    node.deleteVlan(kToggledVlan);
    gem(kGem1, 1, 2);
    node.createVlan(kToggledVlan);
    entity.vlanAddEvent("br0", kToggledVlan);
    gem(kGem2, 2, round % 2 == 0 ? 0 : 2);
    if (round == kLateBindRound) gem(kLateGem, kLateVport, 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(1));  // lets the clients in
  }
}

bool inDriverTable(unsigned int id, const PortSecurity::macEntry_t& entry) {
  for (const auto& chain : sim::Driver::instance().table())
    for (const sim::MacTableEntry& e : chain)
      if (e.isStatic && e.port + 1 == id && e.vlan == entry.vlan &&
          std::equal(e.mac.begin(), e.mac.end(), entry.mac))
        return true;
  return false;
}

TEST(ConcurrencyStressTest, ClientsAndHostEventsLeaveCacheEntriesAndDriverInStep) {
  sim::reset();
  sim::LogRecorder::instance().setEcho(false);
  sim::Node& node = sim::Node::instance();
  for (unsigned int id : {1u, 2u, 3u})
    node.addInterface({id, Interfaces::IF_TYPE_ETHERNET, "eth" + std::to_string(id)});
  node.addInterface({kGpon, Interfaces::IF_TYPE_GPON, "gpon4"});
  for (unsigned int id : {kGem1, kGem2, kLateGem})
    node.addInterface({id, Interfaces::IF_TYPE_GEM, "gem" + std::to_string(id)});
  node.bindGem({kGpon, 1, kGem1});
  node.bindGem({kGpon, 2, kGem2});
  for (unsigned short vlan = kFirstVlan; vlan < kFirstVlan + kVlanCount; ++vlan)
    node.addVlanQuietly(vlan);
  PortSecurity& entity = PortSecurity::instance();
  ASSERT_TRUE(entity.applyDefaultSettings());

  std::atomic<unsigned int> lost{0};
  {
    ServingLoop loop;
    std::atomic<bool> clientsDone{false};
    std::thread events(eventRounds, std::cref(clientsDone));
    std::vector<std::thread> clients;
    for (unsigned int client = 0; client < kClients; ++client)
      clients.emplace_back(clientRounds, client % 2 == 0 ? "udp" : "tcp", client, std::ref(lost));
    for (std::thread& thread : clients) thread.join();
    clientsDone = true;
    events.join();
    EXPECT_EQ(0u, lost.load()) << "calls without a reply";

    for (const char* transport : {"udp", "tcp"}) {
      CLIENT* client = connect(transport);
      ASSERT_NE(nullptr, client);
      EXPECT_TRUE(ping(client)) << transport;
      clnt_destroy(client);
    }
  }

  PortSecurity::macEntriesCache_t cache;
  ASSERT_EQ(0u, entity.getMacEntriesCache(cache));
  size_t configured = 0;
  for (const auto& perIntf : cache)
    for (const auto& perVPort : perIntf.second) {
      EXPECT_LE(perVPort.second.entries.size(), kStaticLimit);
      const unsigned int carrier = perVPort.second.intfId;
      for (const auto& e : perVPort.second.entries) {
        if (!e.configured) continue;
        ++configured;
        PortSecurity::macEntry_t entry = {e.vlan, {}};
        std::copy(e.mac, e.mac + 6, entry.mac);
        std::list<PortSecurity::macEntry_t> remembered;
        ASSERT_EQ(0u, entity.getStaticMACs(carrier, remembered));
        EXPECT_NE(remembered.end(), std::find(remembered.begin(), remembered.end(), entry))
            << "remembered on " << carrier;
        EXPECT_TRUE(inDriverTable(carrier, entry)) << "in the driver on " << carrier;
      }
    }
  EXPECT_LT(0u, configured) << "the rounds left nothing applied to check";

  PortSecurity::macEntryMap_t remembered;
  ASSERT_EQ(0u, entity.getStaticMACs(remembered));
  for (const auto& item : remembered) EXPECT_LE(item.second->size(), kStaticLimit);
  PortSecurity::interfaceSettingsMap_t settings;
  ASSERT_EQ(0u, entity.getInterfaceSettings(settings));
  for (const auto& item : settings)
    EXPECT_LE(item.second.vlanLimitDynamicMACs.size(), kVlanLimitsPerInterface);
  sim::reset();
}

}  // namespace
