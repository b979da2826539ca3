// The description of a node that pshost runs: interfaces, GEM bindings,
// VLANs, management address, profile mode, and the driver: its size, and
// whether it is simulated or an eBPF data plane on Linux devices. Read
// from a JSON node file or taken from the built-in default node. Plain data;
// parsing is pure and safe from any thread.
#pragma once

#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace pshost {

struct NodeInterface {
  unsigned int id = 0;
  std::string name;
  unsigned int type = 0;  // the host's interface-type number
  bool active = true;
  bool uplink = false;
  std::string netdev;  // the Linux device on the data plane; empty: the name
  uint16_t pvid = 1;   // the VLAN of untagged frames on the data plane
};

struct NodeGem {
  unsigned int interface = 0;  // the GPON interface
  unsigned int vport = 0;
  unsigned int gem = 0;  // the GEM interface that stands for the virtual port
};

struct NodeConfig {
  std::string bridge = "br0";
  unsigned int managementInterface = 0;
  std::array<uint8_t, 6> managementMac{};
  uint16_t managementVlan = 0;
  std::vector<NodeInterface> interfaces;
  std::vector<NodeGem> gem;
  std::vector<uint16_t> vlans;
  bool profileMode = false;
  unsigned int driverBuckets = 0;      // 0 keeps the driver's own size
  unsigned int driverEntries = 0;      // 0 keeps the driver's own capacity
  unsigned int driverLogCapacity = 0;  // 0 keeps the command log's own capacity
  bool dataplane = false;              // the eBPF data plane instead of the simulated table
  bool keepAttached = false;           // the data plane stays attached after pshost
};

// A node file that cannot be used. what() is the one line to print, naming
// the key and what is wrong: "node file: interfaces[2].type: expected an
// unsigned number".
class NodeFileError : public std::runtime_error {
 public:
  explicit NodeFileError(const std::string& what) : std::runtime_error("node file: " + what) {}
};

// Reads and checks a node file; throws NodeFileError.
NodeConfig readNodeFile(const std::string& path);
// The same, from the file's text.
NodeConfig parseNodeText(const std::string& text);

// The built-in node: a small optical line terminal.
NodeConfig defaultNode();

// Interface-type numbers of the host that the node files use.
constexpr unsigned int kTypeGpon = 4;
constexpr unsigned int kTypeGem = 5;
constexpr unsigned int kLastType = 6;

}  // namespace pshost
