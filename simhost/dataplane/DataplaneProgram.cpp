#include "DataplaneProgram.h"

#include <bpf/bpf.h>
#include <bpf/libbpf.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "portsecurity.skel.h"

namespace sim {
namespace {

// libbpf's own messages would be many lines for one failure: pshost says
// what went wrong in one.
int quietLibbpf(enum libbpf_print_level, const char*, va_list) { return 0; }

// The data plane's control programs need BPF_PROG_TYPE_SYSCALL.
const int kOldestMajor = 5, kOldestMinor = 14;

std::string kernelRelease() {
  utsname name;
  return ::uname(&name) == 0 ? name.release : "unknown";
}

bool kernelTooOld() {
  int major = 0, minor = 0;
  if (std::sscanf(kernelRelease().c_str(), "%d.%d", &major, &minor) != 2) return false;
  return major < kOldestMajor || (major == kOldestMajor && minor < kOldestMinor);
}

[[noreturn]] void failLoad(int error) {
  const std::string tail = " (or run pshost without \"dataplane\" for the simulated driver)";
  if (error == EPERM || error == EACCES)
    throw DataplaneError(
        "the eBPF data plane needs root (CAP_BPF and CAP_NET_ADMIN): run pshost as root" + tail);
  if (error == ENOSYS)
    throw DataplaneError("this kernel has no BPF system call (CONFIG_BPF_SYSCALL)" + tail);
  if (kernelTooOld())
    throw DataplaneError(
        "kernel " + kernelRelease() + " is too old for the eBPF data plane: it needs " +
        std::to_string(kOldestMajor) + "." + std::to_string(kOldestMinor) + " or later" + tail);
  throw DataplaneError(
      "the kernel refused the data plane's program: " + std::string(std::strerror(error)) + tail);
}

int runControl(const bpf_program* program, void* request, size_t size) {
  LIBBPF_OPTS(bpf_test_run_opts, options, .ctx_in = request,
              .ctx_size_in = static_cast<__u32>(size));
  // The kernel writes the context back where it read it.
  if (bpf_prog_test_run_opts(bpf_program__fd(program), &options) != 0) return errno;
  return static_cast<int>(options.retval);
}

}  // namespace

DataplaneProgram::DataplaneProgram(uint32_t entries, uint32_t ports) : entries(entries) {
  libbpf_set_print(quietLibbpf);
  if (kernelTooOld()) failLoad(EINVAL);
  skeleton = portsecurity_bpf__open();
  if (skeleton == nullptr) failLoad(errno);
  const uint32_t portSlots = std::max<uint32_t>(ports, 1);
  bpf_map__set_max_entries(skeleton->maps.mac_table, entries);
  bpf_map__set_max_entries(skeleton->maps.guarded_ports, portSlots);
  bpf_map__set_max_entries(skeleton->maps.intf_settings, portSlots);
  bpf_map__set_max_entries(skeleton->maps.dynamic_counts, portSlots);
  bpf_map__set_max_entries(skeleton->maps.violations, portSlots);
  // As many per-VLAN limits as the module keeps per interface, twice over.
  bpf_map__set_max_entries(skeleton->maps.vlan_limits, 16 * portSlots);
  // Every dynamic entry may be the first of its port and VLAN.
  bpf_map__set_max_entries(skeleton->maps.vlan_counts,
                           std::min<uint64_t>(entries, 4094ULL * portSlots));
  const int error = portsecurity_bpf__load(skeleton);
  if (error != 0) {
    portsecurity_bpf__destroy(skeleton);
    skeleton = nullptr;
    failLoad(-error);
  }
  mapFds.macTable = bpf_map__fd(skeleton->maps.mac_table);
  mapFds.guardedPorts = bpf_map__fd(skeleton->maps.guarded_ports);
  mapFds.interfaceSettings = bpf_map__fd(skeleton->maps.intf_settings);
  mapFds.vlanLimits = bpf_map__fd(skeleton->maps.vlan_limits);
  mapFds.dynamicCounts = bpf_map__fd(skeleton->maps.dynamic_counts);
  mapFds.vlanCounts = bpf_map__fd(skeleton->maps.vlan_counts);
  mapFds.violations = bpf_map__fd(skeleton->maps.violations);
  mapFds.frameCounts = bpf_map__fd(skeleton->maps.frame_counts);
  mapFds.probeResults = bpf_map__fd(skeleton->maps.probe_results);
}

DataplaneProgram::~DataplaneProgram() { portsecurity_bpf__destroy(skeleton); }

int DataplaneProgram::ingressProgram() const { return bpf_program__fd(skeleton->progs.ps_ingress); }

void DataplaneProgram::setEnabled(bool enabled) {
  __atomic_store_n(&skeleton->bss->ps_enabled, enabled ? 1U : 0U, __ATOMIC_RELEASE);
}

bool DataplaneProgram::enabled() const {
  return __atomic_load_n(&skeleton->bss->ps_enabled, __ATOMIC_ACQUIRE) != 0;
}

int DataplaneProgram::runAddStatic(void* request, size_t size) const {
  return runControl(skeleton->progs.ps_add_static, request, size);
}

int DataplaneProgram::runMoveToStatic(void* request, size_t size) const {
  return runControl(skeleton->progs.ps_move_to_static, request, size);
}

}  // namespace sim
