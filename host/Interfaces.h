// The host's interface registry: ids, names, kinds, the management interface
// and the GEM interfaces that stand for GPON virtual ports.
// Every query is safe from any thread.
#pragma once

#include <list>
#include <string>
#include <vector>

#include "HostEntity.h"
#include "Notification.h"
#include "singleton.h"

class Interfaces : public HostEntity, public singleton<Interfaces> {
 public:
  enum interfaceType {
    IF_TYPE_UNKNOWN = 0,
    IF_TYPE_ETHERNET = 1,
    IF_TYPE_MANAGEMENT = 2,
    IF_TYPE_INTERNAL = 3,
    IF_TYPE_GPON = 4,
    IF_TYPE_GEM = 5,
    IF_TYPE_LAG = 6,
  };

  enum interfaceGPONEvent_t {
    GPON_GEM_BOUND = 0,
    GPON_GEM_UNBOUND = 1,
    GPON_GEM_REBOUND = 2,
    GPON_GEM_STATE_CHANGED = 3,
  };

  struct Interface {
    unsigned int id;
    interfaceType type;
    std::string name;
    std::string shortName;
    std::string description;
  };

  Interfaces();
  // Defined by the host, out of line: the class's vtable and typeinfo are
  // the host's, and a module that builds the singleton only refers to them.
  void getDependencies(std::list<std::string>& dependencies) override;
  ~Interfaces() override {}

  // Result codes: 0 success, non-zero failure.
  int interfaceListGet(std::vector<Interface>& list);
  bool checkId(unsigned int id);
  int interfaceGetNameById(unsigned int id, std::string& name) const;
  int interfaceGetTypeById(unsigned int id, interfaceType* type) const;
  int interfaceMngIdGet(unsigned int& id);
  bool isInterfaceActive(unsigned int id) const;
  int interfaceGPONGemInterfaceFind(unsigned int intf, unsigned int vport, unsigned int& gemIntf);

  // GEM interface, GPON interface, virtual port, kind.
  typedef Notification::Event<bool(int, int, int, interfaceGPONEvent_t),
                              void(int, int, int, interfaceGPONEvent_t)>
      gponGemEvent_t;
  gponGemEvent_t gponGemEvent;
};
