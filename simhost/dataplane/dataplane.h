/* The records that the data plane's kernel program and pshost's user side
 * share: map keys and values, the requests of the control programs, and the
 * probe frames that `sim learn` sends. Plain C, for both sides. */
#ifndef PS_DATAPLANE_H
#define PS_DATAPLANE_H

#include <linux/types.h>

/* An entry's owner word: its driver port shifted left by one, the low bit
 * set for a static entry. One word, so that a move or a change to static is
 * one compare-and-exchange that a frame on another CPU cannot half see. */
#define PS_OWNER_STATIC 1ULL
#define PS_OWNER(port, is_static) (((__u64)(port) << 1) | ((is_static) ? PS_OWNER_STATIC : 0))
#define PS_OWNER_PORT(owner) ((__u32)((owner) >> 1))

/* Probe frames: EtherType 0x88b5 (IEEE local experimental) with this magic
 * and a nonce at the start of the payload. The program records its decision
 * on each one in probe_results[nonce % PS_PROBE_SLOTS]. */
#define PS_PROBE_ETHERTYPE 0x88b5
#define PS_PROBE_MAGIC 0x70736c6eU /* "psln" */
#define PS_PROBE_SLOTS 64

struct ps_mac_key {
  __u8 mac[6];
  __u16 vlan;
};

struct ps_mac_entry {
  __u64 seq; /* the order the table learned entries in, for the walk */
  __u64 owner;
};

/* A guarded network device: the driver port it stands for, and the VLAN of
 * its untagged frames. */
struct ps_port {
  __u32 port;
  __u16 pvid;
  __u16 reserved;
};

struct ps_intf_settings {
  __u32 enabled;
  __u32 has_dynamic_limit;
  __u32 dynamic_limit;
  __u32 reserved;
};

struct ps_port_vlan {
  __u32 port;
  __u16 vlan;
  __u16 reserved;
};

struct ps_violation {
  __u8 mac[6];
  __u16 vlan;
};

enum ps_verdict {
  PS_KNOWN = 0,
  PS_LEARNED = 1,
  PS_VIOLATION = 2,
  PS_TABLE_FULL = 3,
  PS_UNLEARNABLE = 4, /* runt, double tag, VLAN 4095, group or zero source */
};

/* Per-CPU frame counters: one per verdict, then the frames dropped. */
enum ps_counter {
  PS_COUNT_DROPPED = 5,
  PS_COUNTERS = 6,
};

struct ps_probe_result {
  __u64 nonce;
  __u32 verdict;
  __u32 reserved;
};

/* The context of the control programs that pshost runs with
 * BPF_PROG_TEST_RUN: the entry to make static, or the port whose dynamic
 * entries all become static. */
struct ps_static_request {
  __u32 port;
  __u16 vlan;
  __u8 mac[6];
};

struct ps_move_request {
  __u32 port;
  __u32 moved; /* out: entries made static */
};

#endif
