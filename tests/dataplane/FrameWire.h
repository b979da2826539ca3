// Frames as stations send them into a bridge port's veth peer, and what
// arrives at another port's peer. Every test frame carries EtherType 0x88b6
// and a 32-bit id that tells it apart on the wire.
#pragma once

#include <array>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace dataplane {

typedef std::array<uint8_t, 6> Mac;

// A station's MAC, 02:00:00:00:HI:LO.
Mac station(unsigned int number);

// A broadcast frame from `source`: untagged for vlan 0, else with an
// 802.1Q tag; `tags` may ask for a second tag inside the first.
std::vector<uint8_t> testFrame(const Mac& source, uint16_t vlan, uint32_t id, int tags = 1);

// Sends one frame into `device`; false when the kernel refused it.
bool sendFrame(const std::string& device, const std::vector<uint8_t>& frame);

// The ids of the test frames that arrive at one device from now on.
class Capture {
 public:
  explicit Capture(const std::string& device);
  ~Capture();
  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;

  // Reads what arrived until `id` is among it or two seconds passed.
  bool waitFor(uint32_t id);
  bool saw(uint32_t id) const { return ids.count(id) != 0; }

 private:
  void readAll(int timeoutMs);
  int fd;
  std::set<uint32_t> ids;
};

// Whether a frame sent into `from` is forwarded to `to`. A marker frame
// follows it from `markerFrom`, whose station is always let through; frames
// sent from one CPU are decided in order, so once the marker arrived, so
// has the frame if it was forwarded.
bool forwarded(const std::vector<uint8_t>& frame, uint32_t id, const std::string& from,
               const std::string& to, const std::string& markerFrom);

}  // namespace dataplane
