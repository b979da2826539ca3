// The host's bridge service: which VLANs exist on which bridge, and the events
// raised when a VLAN is created (post) or is about to be deleted (pre).
#pragma once

#include "BLEntity.h"
#include "Notification.h"
#include "singleton.h"

class vqbridge : public BLEntity, public singleton<vqbridge> {
 public:
  vqbridge();

  void applyConfiguration(boost::shared_ptr<Storage::Setting> setting) override;
  void saveConfiguration(boost::shared_ptr<Storage::Setting> setting) const override;
  bool start() override;
  bool applyDefaultSettings() override;
  bool stop() override;
  void getDependencies(std::list<std::string>& dependencies) override;

  bool vlanCreated(const char* bridge, unsigned short vlan);

  // Bridge name, VLAN id.
  typedef Notification::Event<bool(const char*, unsigned short), void(const char*, unsigned short)>
      vlanEvent_t;
  vlanEvent_t vlanCreatedEvent;
  vlanEvent_t vlanDeletedEvent;
};
