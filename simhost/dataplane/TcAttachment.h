// The data plane's ingress program attached to the traffic-control ingress
// hook (clsact, direct action) of each guarded device, through libbpf's TC
// API. Attaching replaces what an earlier pshost left on a device; the
// destructor detaches everything, and removes the clsact qdiscs this or an
// earlier pshost made, unless asked to keep the program attached.
// Not thread-safe.
#pragma once

#include <memory>
#include <vector>

#include "DataplaneProgram.h"
#include "GuardedDevice.h"

namespace sim {

class TcAttachment {
 public:
  // Attaches to every device, or to none: throws DataplaneError naming the
  // device that refused, with everything attached so far detached again.
  TcAttachment(std::shared_ptr<DataplaneProgram> program,
               const std::vector<GuardedDevice>& devices);
  ~TcAttachment();
  TcAttachment(const TcAttachment&) = delete;
  TcAttachment& operator=(const TcAttachment&) = delete;

  // Leave the program attached, with its maps, when this object goes.
  void keepAttached() { keep = true; }

  // The filter handle and priority that mark pshost's program on a hook.
  static const unsigned int kHandle = 0x5053;
  static const unsigned int kPriority = 0x5053;

 private:
  struct Hook {
    int ifindex;
    bool ownsQdisc;  // made by pshost: removed with the filter
  };
  void attach(const GuardedDevice& device);
  void detach(const Hook& hook) const;

  std::shared_ptr<DataplaneProgram> program;
  std::vector<Hook> hooks;
  bool keep = false;
};

}  // namespace sim
