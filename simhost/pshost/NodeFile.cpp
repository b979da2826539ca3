// Reading a node file: JSON in, a checked NodeConfig out. Every complaint
// names the key it is about.
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <initializer_list>
#include <set>
#include <sstream>
#include <utility>

#include <nlohmann/json.hpp>

#include "MacText.h"
#include "NodeConfig.h"
#include "SimDriver.h"

namespace pshost {
namespace {

using nlohmann::json;

// Keys and names come from the file: their control characters are written as
// \xHH, so that a message stays one line.
std::string printable(const std::string& text) {
  std::string shown;
  for (unsigned char c : text) {
    if (c >= 0x20 && c != 0x7f) {
      shown += static_cast<char>(c);
      continue;
    }
    char escape[8];
    std::snprintf(escape, sizeof escape, "\\x%02x", c);
    shown += escape;
  }
  return shown;
}

// A JSON value and the key path that leads to it, for the messages.
class Field {
 public:
  Field(const json& value, std::string path) : value(value), path(std::move(path)) {}

  [[noreturn]] void fail(const std::string& what) const {
    throw NodeFileError(printable((path.empty() ? "top level" : path) + ": " + what));
  }

  const json& object(std::initializer_list<const char*> keys) const {
    if (!value.is_object()) fail("expected an object");
    for (auto it = value.begin(); it != value.end(); ++it) {
      bool known = false;
      for (const char* key : keys) known = known || it.key() == key;
      if (!known) child(it.key()).fail("unknown key");
    }
    return value;
  }

  bool has(const char* key) const { return value.contains(key); }

  Field child(const std::string& key) const {
    static const json missing;
    auto it = value.find(key);
    return Field(it != value.end() ? *it : missing, path.empty() ? key : path + "." + key);
  }

  Field required(const char* key) const {
    if (!has(key)) child(key).fail("missing");
    return child(key);
  }

  std::vector<Field> list() const {
    if (!value.is_array()) fail("expected a list");
    std::vector<Field> items;
    for (size_t i = 0; i < value.size(); ++i)
      items.emplace_back(value[i], path + "[" + std::to_string(i) + "]");
    return items;
  }

  unsigned long number(unsigned long low, unsigned long high) const {
    if (!value.is_number_unsigned()) fail("expected an unsigned number");
    unsigned long n = value.get<unsigned long>();
    if (n < low || n > high)
      fail("out of range (" + std::to_string(low) + " to " + std::to_string(high) + ")");
    return n;
  }

  bool boolean() const {
    if (!value.is_boolean()) fail("expected true or false");
    return value.get<bool>();
  }

  std::string text(size_t longest) const {
    if (!value.is_string()) fail("expected a string");
    std::string s = value.get<std::string>();
    if (s.empty()) fail("expected 1 to " + std::to_string(longest) + " characters");
    if (s.size() > longest)
      fail("'" + s + "' is longer than " + std::to_string(longest) + " characters");
    return s;
  }

 private:
  const json& value;
  std::string path;
};

const unsigned long kMaxId = 0xffffffffUL;
// Longer than the 15 characters the management protocol carries, as a real
// host's names may be: the module cuts them on the wire.
const size_t kMaxNameLength = 63;
const size_t kMaxBridgeNameLength = 15;  // a Linux network device name
const size_t kMaxDeviceNameLength = 15;

uint16_t readVlan(const Field& field) { return static_cast<uint16_t>(field.number(1, 4094)); }

NodeInterface readInterface(const Field& field) {
  field.object({"id", "name", "type", "active", "uplink", "netdev", "pvid"});
  NodeInterface intf;
  intf.id = static_cast<unsigned int>(field.required("id").number(1, kMaxId));
  intf.name = field.required("name").text(kMaxNameLength);
  intf.type = static_cast<unsigned int>(field.required("type").number(0, kLastType));
  if (field.has("active")) intf.active = field.child("active").boolean();
  if (field.has("uplink")) intf.uplink = field.child("uplink").boolean();
  if (field.has("netdev")) intf.netdev = field.child("netdev").text(kMaxDeviceNameLength);
  if (field.has("pvid")) intf.pvid = readVlan(field.child("pvid"));
  return intf;
}

void readInterfaces(const Field& field, NodeConfig& node) {
  std::set<unsigned int> ids;
  std::set<std::string> names;
  for (const Field& item : field.list()) {
    NodeInterface intf = readInterface(item);
    if (!ids.insert(intf.id).second)
      item.child("id").fail("duplicate id " + std::to_string(intf.id));
    if (!names.insert(intf.name).second) item.child("name").fail("duplicate name " + intf.name);
    node.interfaces.push_back(intf);
  }
}

const NodeInterface* findInterface(const NodeConfig& node, unsigned int id) {
  for (const NodeInterface& intf : node.interfaces)
    if (intf.id == id) return &intf;
  return nullptr;
}

// An id that must name a listed interface, of `type` unless it is negative.
unsigned int readInterfaceRef(const NodeConfig& node, const Field& field, int type,
                              const char* kind) {
  unsigned int id = static_cast<unsigned int>(field.number(1, kMaxId));
  const NodeInterface* intf = findInterface(node, id);
  if (intf == nullptr) field.fail("no interface " + std::to_string(id) + " in interfaces");
  if (type >= 0 && intf->type != static_cast<unsigned int>(type))
    field.fail("interface " + std::to_string(id) + " is not a " + kind + " interface (type " +
               std::to_string(type) + ")");
  return id;
}

void readManagement(const Field& field, NodeConfig& node) {
  field.object({"interface", "mac", "vlan"});
  node.managementInterface = readInterfaceRef(node, field.required("interface"), -1, "");
  Field mac = field.required("mac");
  if (!pstext::parseMac(mac.text(17), node.managementMac))
    mac.fail("expected a MAC address like 02:00:00:00:00:01");
  node.managementVlan = readVlan(field.required("vlan"));
}

void readGem(const Field& field, NodeConfig& node) {
  std::set<std::pair<unsigned int, unsigned int>> ports;
  for (const Field& item : field.list()) {
    item.object({"interface", "vport", "gem"});
    NodeGem gem;
    gem.interface = readInterfaceRef(node, item.required("interface"), kTypeGpon, "GPON");
    gem.vport = static_cast<unsigned int>(item.required("vport").number(0, kMaxId));
    gem.gem = readInterfaceRef(node, item.required("gem"), kTypeGem, "GEM");
    if (!ports.insert({gem.interface, gem.vport}).second)
      item.child("vport").fail("virtual port " + std::to_string(gem.vport) + " of interface " +
                               std::to_string(gem.interface) + " is bound twice");
    node.gem.push_back(gem);
  }
}

void readVlans(const Field& field, NodeConfig& node) {
  std::set<uint16_t> seen;
  for (const Field& item : field.list()) {
    uint16_t vlan = readVlan(item);
    if (!seen.insert(vlan).second) item.fail("duplicate VLAN " + std::to_string(vlan));
    node.vlans.push_back(vlan);
  }
}

}  // namespace

NodeConfig parseNodeText(const std::string& text) {
  json document;
  try {
    document = json::parse(text);
  } catch (const json::exception& error) {
    // Syntax errors, and numbers too large for any type (out of range).
    std::string what = error.what();
    size_t start = what.find("] ");
    throw NodeFileError(start == std::string::npos ? what : what.substr(start + 2));
  }
  Field root(document, "");
  root.object({"bridge", "management", "interfaces", "gem", "vlans", "profileMode", "driver"});
  NodeConfig node;
  if (root.has("bridge")) node.bridge = root.child("bridge").text(kMaxBridgeNameLength);
  readInterfaces(root.required("interfaces"), node);
  readManagement(root.required("management"), node);
  if (root.has("gem")) readGem(root.child("gem"), node);
  if (root.has("vlans")) readVlans(root.child("vlans"), node);
  if (root.has("profileMode")) node.profileMode = root.child("profileMode").boolean();
  if (root.has("driver")) {
    Field driver = root.child("driver");
    driver.object({"buckets", "entries", "logCapacity", "dataplane", "keepAttached"});
    if (driver.has("dataplane")) {
      Field dataplane = driver.child("dataplane");
      const std::string kind = dataplane.text(16);
      if (kind != "ebpf" && kind != "simulated")
        dataplane.fail("expected \"ebpf\" or \"simulated\"");
      node.dataplane = kind == "ebpf";
    }
    if (driver.has("keepAttached")) node.keepAttached = driver.child("keepAttached").boolean();
    if (driver.has("buckets"))
      node.driverBuckets = static_cast<unsigned int>(driver.child("buckets").number(1, 65536));
    if (driver.has("entries"))
      node.driverEntries = static_cast<unsigned int>(
          driver.child("entries").number(1, sim::DriverModel::kMaxEntries));
    if (driver.has("logCapacity"))
      node.driverLogCapacity = static_cast<unsigned int>(
          driver.child("logCapacity").number(1, sim::DriverCommandLog::kMaxCapacity));
  }
  return node;
}

NodeConfig readNodeFile(const std::string& path) {
  struct stat status;
  if (::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode))
    throw NodeFileError(path + ": is a directory");
  std::ifstream file(path);
  if (!file) throw NodeFileError(path + ": cannot open (" + std::strerror(errno) + ")");
  std::ostringstream text;
  text << file.rdbuf();
  if (file.bad()) throw NodeFileError(path + ": cannot read");
  return parseNodeText(text.str());
}

}  // namespace pshost
