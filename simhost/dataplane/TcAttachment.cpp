#include "TcAttachment.h"

#include <bpf/libbpf.h>

#include <cerrno>
#include <cstring>

namespace sim {
namespace {

bpf_tc_hook ingressHook(int ifindex) {
  LIBBPF_OPTS(bpf_tc_hook, hook, .ifindex = ifindex, .attach_point = BPF_TC_INGRESS);
  return hook;
}

bpf_tc_opts pshostFilter(int programFd, unsigned int flags) {
  LIBBPF_OPTS(bpf_tc_opts, filter, .prog_fd = programFd, .flags = flags,
              .handle = TcAttachment::kHandle, .priority = TcAttachment::kPriority);
  return filter;
}

}  // namespace

TcAttachment::TcAttachment(std::shared_ptr<DataplaneProgram> program,
                           const std::vector<GuardedDevice>& devices)
    : program(std::move(program)) {
  try {
    for (const GuardedDevice& device : devices) attach(device);
  } catch (...) {
    for (const Hook& hook : hooks) detach(hook);
    throw;
  }
}

TcAttachment::~TcAttachment() {
  if (keep) return;
  for (const Hook& hook : hooks) detach(hook);
}

void TcAttachment::attach(const GuardedDevice& device) {
  bpf_tc_hook hook = ingressHook(device.ifindex);
  int error = bpf_tc_hook_create(&hook);
  bool ownsQdisc = error == 0;
  if (error != 0 && error != -EEXIST)
    throw DataplaneError("cannot add a clsact qdisc to " + device.netdev + ": " +
                         std::strerror(-error));
  // A filter of ours already there was left by a pshost that was killed:
  // its qdisc is ours to remove as well.
  bpf_tc_opts left = pshostFilter(0, 0);
  if (!ownsQdisc && bpf_tc_query(&hook, &left) == 0) ownsQdisc = true;
  bpf_tc_opts filter = pshostFilter(program->ingressProgram(), BPF_TC_F_REPLACE);
  error = bpf_tc_attach(&hook, &filter);
  if (error != 0) {
    if (ownsQdisc) {
      hook.attach_point = static_cast<bpf_tc_attach_point>(BPF_TC_INGRESS | BPF_TC_EGRESS);
      bpf_tc_hook_destroy(&hook);
    }
    throw DataplaneError("cannot attach the data plane to the ingress of " + device.netdev + ": " +
                         std::strerror(-error));
  }
  hooks.push_back(Hook{device.ifindex, ownsQdisc});
}

void TcAttachment::detach(const Hook& attached) const {
  bpf_tc_hook hook = ingressHook(attached.ifindex);
  bpf_tc_opts filter = pshostFilter(0, 0);
  bpf_tc_detach(&hook, &filter);
  if (!attached.ownsQdisc) return;
  hook.attach_point = static_cast<bpf_tc_attach_point>(BPF_TC_INGRESS | BPF_TC_EGRESS);
  bpf_tc_hook_destroy(&hook);
}

}  // namespace sim
