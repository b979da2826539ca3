#include "FrameWire.h"

#include <arpa/inet.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstring>

namespace dataplane {
namespace {

const uint16_t kTestEtherType = 0x88b6;

void put16(std::vector<uint8_t>& frame, uint16_t value) {
  frame.push_back(static_cast<uint8_t>(value >> 8));
  frame.push_back(static_cast<uint8_t>(value));
}

int packetSocket(const std::string& device, bool bind) {
  const int fd = ::socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, bind ? htons(ETH_P_ALL) : 0);
  if (fd < 0 || !bind) return fd;
  sockaddr_ll at = {};
  at.sll_family = AF_PACKET;
  at.sll_protocol = htons(ETH_P_ALL);
  at.sll_ifindex = static_cast<int>(::if_nametoindex(device.c_str()));
  ::bind(fd, reinterpret_cast<sockaddr*>(&at), sizeof at);
  return fd;
}

// The id of a test frame, its tag in the packet or taken off by the device.
bool frameId(const uint8_t* data, size_t size, uint32_t& id) {
  size_t at = 12;
  while (at + 2 <= size && data[at] == 0x81 && data[at + 1] == 0x00) at += 4;
  if (at + 6 > size || data[at] != kTestEtherType >> 8 || data[at + 1] != (kTestEtherType & 0xff))
    return false;
  std::memcpy(&id, data + at + 2, sizeof id);
  return true;
}

}  // namespace

Mac station(unsigned int number) {
  return {0x02, 0x00, 0x00, 0x00, static_cast<uint8_t>(number >> 8), static_cast<uint8_t>(number)};
}

std::vector<uint8_t> testFrame(const Mac& source, uint16_t vlan, uint32_t id, int tags) {
  std::vector<uint8_t> frame(6, 0xff);
  frame.insert(frame.end(), source.begin(), source.end());
  for (int tag = 0; vlan != 0 && tag < tags; ++tag) {
    put16(frame, ETH_P_8021Q);
    put16(frame, vlan);
  }
  put16(frame, kTestEtherType);
  const uint8_t* bytes = reinterpret_cast<const uint8_t*>(&id);
  frame.insert(frame.end(), bytes, bytes + sizeof id);
  frame.resize(60, 0);
  return frame;
}

bool sendFrame(const std::string& device, const std::vector<uint8_t>& frame) {
  static const int fd = packetSocket(device, false);
  sockaddr_ll to = {};
  to.sll_family = AF_PACKET;
  to.sll_ifindex = static_cast<int>(::if_nametoindex(device.c_str()));
  to.sll_halen = ETH_ALEN;
  return ::sendto(fd, frame.data(), frame.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof to) ==
         static_cast<ssize_t>(frame.size());
}

Capture::Capture(const std::string& device) : fd(packetSocket(device, true)) {}

Capture::~Capture() { ::close(fd); }

void Capture::readAll(int timeoutMs) {
  pollfd ready = {fd, POLLIN, 0};
  uint8_t buffer[2048];
  while (::poll(&ready, 1, timeoutMs) > 0) {
    sockaddr_ll from = {};
    socklen_t length = sizeof from;
    const ssize_t n = ::recvfrom(fd, buffer, sizeof buffer, MSG_DONTWAIT,
                                 reinterpret_cast<sockaddr*>(&from), &length);
    uint32_t id = 0;
    if (n > 0 && from.sll_pkttype != PACKET_OUTGOING && frameId(buffer, n, id)) ids.insert(id);
    timeoutMs = 0;
  }
}

bool Capture::waitFor(uint32_t id) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
  while (!saw(id) && std::chrono::steady_clock::now() < deadline) readAll(50);
  return saw(id);
}

bool forwarded(const std::vector<uint8_t>& frame, uint32_t id, const std::string& from,
               const std::string& to, const std::string& markerFrom) {
  static uint32_t nextMarker = 0x80000000;
  const uint32_t marker = nextMarker++;
  Capture capture(to);
  sendFrame(from, frame);
  sendFrame(markerFrom, testFrame(station(0xfffe), 0, marker));
  capture.waitFor(marker);
  return capture.saw(id);
}

}  // namespace dataplane
