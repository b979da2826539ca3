// The host's bridge service: which VLANs exist on which bridge, and the events
// raised when a VLAN is created (post) or is about to be deleted (pre).
#pragma once

#include <list>
#include <string>

#include "HostEntity.h"
#include "Notification.h"
#include "singleton.h"

class vqbridge : public HostEntity, public singleton<vqbridge> {
 public:
  vqbridge();
  // Defined by the host, out of line: the class's vtable and typeinfo are
  // the host's, and a module that builds the singleton only refers to them.
  void getDependencies(std::list<std::string>& dependencies) override;

  bool vlanCreated(const char* bridge, unsigned short vlan);

  // Bridge name, VLAN id.
  typedef Notification::Event<bool(const char*, unsigned short), void(const char*, unsigned short)>
      vlanEvent_t;
  vlanEvent_t vlanCreatedEvent;
  vlanEvent_t vlanDeletedEvent;
};
