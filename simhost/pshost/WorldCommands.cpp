// Control commands that play the world around the host: VLANs, GEM ports,
// frames arriving on the driver, profile mode, uplinks, external messages,
// and views of the node. Events reach the module on the control thread, as
// they would on a host thread.
#include <sstream>

#include "BLLManager.h"
#include "ControlSupport.h"
#include "DataplaneProgram.h"
#include "SimHost.h"
#include "TextTable.h"

namespace pshost {
namespace {

const unsigned long kMaxEventId = 0x7fffffffUL;  // the GEM event passes ids as int

const char* typeName(unsigned int type) {
  static const char* const names[] = {"unknown", "ethernet", "management", "internal",
                                      "gpon",    "gem",      "lag"};
  return type < sizeof names / sizeof names[0] ? names[type] : "other";
}

// Requires interface `id` of `type` on the node.
void expectInterface(unsigned int id, Interfaces::interfaceType type, const char* kind) {
  sim::InterfaceConfig config;
  if (!sim::Node::instance().findInterface(id, config))
    throw CommandError("no interface " + std::to_string(id));
  if (config.type != type)
    throw CommandError("interface " + std::to_string(id) + " is not a " + kind + " interface");
}

}  // namespace

void vlanCommand(const Words& args, ControlOutput&) {
  expectArgs(args, 2, 2, "vlan add|del VID");
  if (args[0] != "add" && args[0] != "del")
    throw CommandError("expected add or del, not '" + args[0] + "'");
  uint16_t vlan = vlanArg(args[1]);
  sim::Node& node = sim::Node::instance();
  if (args[0] == "add") {
    if (!node.createVlan(vlan)) throw CommandError("VLAN " + args[1] + " exists already");
  } else if (!node.deleteVlan(vlan)) {
    throw CommandError("no VLAN " + args[1] + " on the bridge");
  }
}

void gemCommand(const Words& args, ControlOutput&) {
  expectArgs(args, 4, 4, "gem GEM INTF VPORT KIND");
  unsigned int gem = numberArg(args[0], "GEM interface", 1, kMaxEventId);
  unsigned int intf = numberArg(args[1], "interface", 1, kMaxEventId);
  unsigned int vport = numberArg(args[2], "virtual port", 0, kMaxEventId);
  unsigned int kind = numberArg(args[3], "kind", 0, 3);
  expectInterface(intf, Interfaces::IF_TYPE_GPON, "GPON");
  expectInterface(gem, Interfaces::IF_TYPE_GEM, "GEM");
  sim::Node::instance().raiseGemEvent(gem, intf, vport, static_cast<int>(kind));
}

void learnCommand(const Words& args, ControlOutput& out) {
  expectArgs(args, 3, 3, "learn PORT MAC VID");
  unsigned int port = numberArg(args[0], "driver port");
  std::array<uint8_t, 6> mac = macArg(args[1]);
  uint16_t vlan = vlanArg(args[2]);
  sim::LearnResult result;
  try {
    result = sim::Driver::instance().learn(port, mac, vlan);
  } catch (const sim::DataplaneError& error) {
    throw CommandError(error.what());
  }
  switch (result) {
    case sim::LearnResult::learned:
      out.line("learned");
      break;
    case sim::LearnResult::known:
      out.line("known");
      break;
    case sim::LearnResult::violation:
      out.line("violation");
      break;
    case sim::LearnResult::tableFull:
      out.line("table full");
      break;
    case sim::LearnResult::unlearnable:
      out.line("not learned (a group or all-zero source)");
      break;
    case sim::LearnResult::unknownPort:
      throw CommandError("driver port " + args[0] + " stands for no interface");
  }
}

void profileCommand(const Words& args, ControlOutput&) {
  expectArgs(args, 1, 1, "profile on|off");
  sim::Node::instance().setProfileMode(onOffArg(args[0]));
}

void uplinkCommand(const Words& args, ControlOutput&) {
  expectArgs(args, 2, 2, "uplink ID on|off");
  unsigned int id = numberArg(args[0], "interface");
  bool on = onOffArg(args[1]);
  if (!sim::Node::instance().setUplink(id, on)) throw CommandError("no interface " + args[0]);
}

void messageCommand(const Words& args, ControlOutput& out) {
  expectArgs(args, 2, 2, "message MODULE COMMAND");
  // Subscribers such as the diagnostic dump take no lock of their own: the
  // host delivers external messages while holding the business-logic lock.
  BLLManager::exclusiveLock_t lock;
  if (!lock.isLocked()) throw CommandError("the host's business-logic lock was not obtained");
  std::istringstream text(sim::sendExternalMessage(args[0], args[1]));
  std::string line;
  while (std::getline(text, line)) out.line(line);
}

void interfacesCommand(const Words& args, ControlOutput& out) {
  expectArgs(args, 0, 0, "interfaces");
  sim::Node& node = sim::Node::instance();
  unsigned int management = node.management().interfaceId;
  std::vector<Words> rows = {{"ID", "NAME", "TYPE", "STATE", "ROLE"}};
  for (const sim::InterfaceConfig& intf : node.interfaces()) {
    std::string role = intf.id == management ? "management" : "";
    if (intf.uplink) role += role.empty() ? "uplink" : ",uplink";
    rows.push_back({std::to_string(intf.id), intf.name,
                    std::to_string(intf.type) + " " + typeName(intf.type),
                    intf.active ? "active" : "inactive", role.empty() ? "-" : role});
  }
  for (const std::string& text : pstext::formatTable(rows)) out.line(text);
  std::vector<Words> gems = {{"GPON", "VPORT", "GEM"}};
  for (const sim::GemBinding& binding : node.gemBindings())
    gems.push_back({std::to_string(binding.interface), std::to_string(binding.vport),
                    std::to_string(binding.gem)});
  if (gems.size() == 1) return;
  out.line("");
  for (const std::string& text : pstext::formatTable(gems)) out.line(text);
}

void vlansCommand(const Words& args, ControlOutput& out) {
  expectArgs(args, 0, 0, "vlans");
  std::string text;
  for (uint16_t vlan : sim::Node::instance().vlans())
    text += (text.empty() ? "" : " ") + std::to_string(vlan);
  out.line(text.empty() ? "none" : text);
}

}  // namespace pshost
