// The host's entity manager: entity and thread registry, the business-logic
// lock and the external-message event.
// The lock is re-entrant for the thread that holds it: exclusive inside
// exclusive, shared inside exclusive and shared inside shared are granted at
// once. Asking for exclusive while holding only shared is refused (the lock
// object reports not locked) rather than deadlocking.
#pragma once

#include <sstream>
#include <string>

#include "BLEntity.h"
#include "Notification.h"
#include "singleton.h"

class BLLManager : public singleton<BLLManager> {
 public:
  BLLManager();
  ~BLLManager();
  BLLManager(const BLLManager&) = delete;
  BLLManager& operator=(const BLLManager&) = delete;

  void registerEntity(BLEntity& entity);
  void registerThread(const std::string& name);

  // Scoped writer lock. isLocked() tells whether it was obtained.
  class exclusiveLock_t {
   public:
    exclusiveLock_t();
    ~exclusiveLock_t();
    exclusiveLock_t(const exclusiveLock_t&) = delete;
    exclusiveLock_t& operator=(const exclusiveLock_t&) = delete;
    bool isLocked() const { return locked; }

   private:
    bool locked;
  };

  // Scoped reader lock. isLocked() tells whether it was obtained.
  class sharedLock_t {
   public:
    sharedLock_t();
    ~sharedLock_t();
    sharedLock_t(const sharedLock_t&) = delete;
    sharedLock_t& operator=(const sharedLock_t&) = delete;
    bool isLocked() const { return locked; }

   private:
    bool locked;
  };

  // Module name, command, output stream, and a trailing argument string.
  typedef Notification::Event<bool(), void(const std::string&, const std::string&,
                                           std::ostringstream*, const std::string&)>
      externalMessageEvent_t;
  externalMessageEvent_t externalMessage;
};
