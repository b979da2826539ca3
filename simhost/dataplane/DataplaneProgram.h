// The eBPF data plane's kernel side as loaded into this process: the
// ingress program, the control programs and the maps, sized for a node.
// Loading checks what the machine offers and says in one line what is
// missing. The loaded object is immutable; its maps are safe from any
// thread, as the kernel makes them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

struct portsecurity_bpf;

namespace sim {

// A data plane that cannot be had; what() is the one line to print, naming
// what is wrong and what to do.
class DataplaneError : public std::runtime_error {
 public:
  explicit DataplaneError(const std::string& what) : std::runtime_error(what) {}
};

struct DataplaneMaps {
  int macTable = -1;
  int guardedPorts = -1;
  int interfaceSettings = -1;
  int vlanLimits = -1;
  int dynamicCounts = -1;
  int vlanCounts = -1;
  int violations = -1;
  int frameCounts = -1;
  int probeResults = -1;
};

class DataplaneProgram {
 public:
  // Loads the programs with a MAC table of `entries` entries and room for
  // `ports` guarded ports. Throws DataplaneError.
  DataplaneProgram(uint32_t entries, uint32_t ports);
  ~DataplaneProgram();
  DataplaneProgram(const DataplaneProgram&) = delete;
  DataplaneProgram& operator=(const DataplaneProgram&) = delete;

  int ingressProgram() const;
  const DataplaneMaps& maps() const { return mapFds; }
  uint32_t entryCapacity() const { return entries; }

  // The global switch, read by the ingress program on every frame.
  void setEnabled(bool enabled);
  bool enabled() const;

  // Runs a control program on `request`, which it may write back into.
  // Returns its answer (0 or an errno), or the errno of the run itself.
  int runAddStatic(void* request, size_t size) const;
  int runMoveToStatic(void* request, size_t size) const;

 private:
  portsecurity_bpf* skeleton = nullptr;
  DataplaneMaps mapFds;
  uint32_t entries;
};

}  // namespace sim
