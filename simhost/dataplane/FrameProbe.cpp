#include "FrameProbe.h"

#include <arpa/inet.h>
#include <bpf/bpf.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

#include "DataplaneProgram.h"
#include "dataplane.h"

namespace sim {
namespace {

std::vector<uint8_t> probeFrame(const MacAddress& source, uint16_t vlan, bool tagged,
                                uint64_t nonce) {
  std::vector<uint8_t> frame(6, 0xff);  // broadcast: the bridge floods it as any frame
  frame.insert(frame.end(), source.begin(), source.end());
  auto put16 = [&frame](uint16_t value) {
    frame.push_back(static_cast<uint8_t>(value >> 8));
    frame.push_back(static_cast<uint8_t>(value));
  };
  if (tagged) {
    put16(ETH_P_8021Q);
    put16(vlan);
  }
  put16(PS_PROBE_ETHERTYPE);
  const uint32_t magic = PS_PROBE_MAGIC;  // in the program's byte order
  const uint8_t* bytes = reinterpret_cast<const uint8_t*>(&magic);
  frame.insert(frame.end(), bytes, bytes + sizeof magic);
  bytes = reinterpret_cast<const uint8_t*>(&nonce);
  frame.insert(frame.end(), bytes, bytes + sizeof nonce);
  frame.resize(std::max<size_t>(frame.size(), ETH_ZLEN), 0);
  return frame;
}

LearnResult resultOf(uint32_t verdict) {
  switch (verdict) {
    case PS_KNOWN:
      return LearnResult::known;
    case PS_LEARNED:
      return LearnResult::learned;
    case PS_VIOLATION:
      return LearnResult::violation;
    case PS_TABLE_FULL:
      return LearnResult::tableFull;
    default:
      return LearnResult::unlearnable;
  }
}

}  // namespace

FrameProbe::FrameProbe(int probeResultsFd)
    : results(probeResultsFd), nextNonce(std::random_device()() | 1ULL << 40) {}

FrameProbe::~FrameProbe() {
  if (socketFd >= 0) ::close(socketFd);
}

LearnResult FrameProbe::send(const GuardedDevice& device, const MacAddress& source, uint16_t vlan) {
  if (device.peerIfindex == 0)
    throw DataplaneError(device.netdev +
                         " has no veth peer to send a frame from: only the simulated driver "
                         "plays frames on it; send real traffic instead");
  if (socketFd < 0) socketFd = ::socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, 0);
  if (socketFd < 0)
    throw DataplaneError(std::string("cannot open a packet socket: ") + std::strerror(errno));
  const uint64_t nonce = nextNonce++;
  const std::vector<uint8_t> frame = probeFrame(source, vlan, vlan != device.pvid, nonce);
  sockaddr_ll to = {};
  to.sll_family = AF_PACKET;
  to.sll_ifindex = device.peerIfindex;
  to.sll_halen = ETH_ALEN;
  if (::sendto(socketFd, frame.data(), frame.size(), 0, reinterpret_cast<sockaddr*>(&to),
               sizeof to) != static_cast<ssize_t>(frame.size()))
    throw DataplaneError("cannot send a frame into " + device.netdev + ": " + std::strerror(errno));
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
  uint32_t verdict = 0;
  while (!readDecision(nonce, verdict)) {
    if (std::chrono::steady_clock::now() > deadline)
      throw DataplaneError("no decision on the frame sent into " + device.netdev +
                           " within 2 s: are it and its peer up?");
    std::this_thread::sleep_for(std::chrono::microseconds(50));
  }
  return resultOf(verdict);
}

bool FrameProbe::readDecision(uint64_t nonce, uint32_t& verdict) const {
  const uint32_t slot = static_cast<uint32_t>(nonce % PS_PROBE_SLOTS);
  ps_probe_result result = {};
  if (bpf_map_lookup_elem(results, &slot, &result) != 0 || result.nonce != nonce) return false;
  verdict = result.verdict;
  return true;
}

}  // namespace sim
