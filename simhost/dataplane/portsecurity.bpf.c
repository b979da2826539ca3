/* The port-security data plane: at the traffic-control ingress of every
 * guarded network device it decides each frame as the element's bridge
 * driver does (known, learned, moved, or dropped as a violation) and keeps
 * the MAC table, the dynamic counts and the last violations in maps. pshost's
 * user side owns the switches and limits and runs the control programs below
 * for the commands that change learned entries. */
#include <linux/bpf.h>
#include <linux/if_ether.h>
#include <linux/pkt_cls.h>
#include <bpf/bpf_endian.h>
#include <bpf/bpf_helpers.h>

#include "dataplane.h"

struct bpf_map;

char LICENSE[] SEC("license") = "Proprietary";

/* Sizes are placeholders: the user side sets them from the node before it
 * loads the program. */
struct {
	__uint(type, BPF_MAP_TYPE_HASH);
	__uint(map_flags, BPF_F_NO_PREALLOC); /* freed after a grace period */
	__uint(max_entries, 65536);
	__type(key, struct ps_mac_key);
	__type(value, struct ps_mac_entry);
} mac_table SEC(".maps");

struct {
	__uint(type, BPF_MAP_TYPE_HASH);
	__uint(max_entries, 64);
	__type(key, __u32); /* ifindex */
	__type(value, struct ps_port);
} guarded_ports SEC(".maps");

struct {
	__uint(type, BPF_MAP_TYPE_HASH);
	__uint(max_entries, 64);
	__type(key, __u32); /* driver port */
	__type(value, struct ps_intf_settings);
} intf_settings SEC(".maps");

struct {
	__uint(type, BPF_MAP_TYPE_HASH);
	__uint(max_entries, 64);
	__type(key, struct ps_port_vlan);
	__type(value, __u32);
} vlan_limits SEC(".maps");

struct {
	__uint(type, BPF_MAP_TYPE_HASH);
	__uint(max_entries, 64);
	__type(key, __u32); /* driver port */
	__type(value, __u32);
} dynamic_counts SEC(".maps");

struct {
	__uint(type, BPF_MAP_TYPE_HASH);
	__uint(map_flags, BPF_F_NO_PREALLOC);
	__uint(max_entries, 65536);
	__type(key, struct ps_port_vlan);
	__type(value, __u32);
} vlan_counts SEC(".maps");

struct {
	__uint(type, BPF_MAP_TYPE_HASH);
	__uint(max_entries, 64);
	__type(key, __u32); /* driver port */
	__type(value, struct ps_violation);
} violations SEC(".maps");

struct {
	__uint(type, BPF_MAP_TYPE_PERCPU_ARRAY);
	__uint(max_entries, PS_COUNTERS);
	__type(key, __u32);
	__type(value, __u64);
} frame_counts SEC(".maps");

struct {
	__uint(type, BPF_MAP_TYPE_ARRAY);
	__uint(max_entries, PS_PROBE_SLOTS);
	__type(key, __u32);
	__type(value, struct ps_probe_result);
} probe_results SEC(".maps");

/* The global switch, written by the user side through the mapped .bss. */
__u32 ps_enabled = 0;
/* The next entry's place in learning order. */
__u64 next_seq = 0;

struct vlan_tag {
	__be16 tci;
	__be16 proto;
};

struct frame {
	struct ps_mac_key key;
	__u16 payload_proto; /* EtherType after the tag, network order */
	__u16 payload_offset;
};

static __always_inline int is_tag(__be16 proto)
{
	return proto == bpf_htons(ETH_P_8021Q) || proto == bpf_htons(ETH_P_8021AD) ||
	       proto == bpf_htons(0x9100);
}

/* The frame's source and VLAN; false for a frame that must never be learned:
 * too short for its headers, tagged twice, in VLAN 4095, or from a group or
 * all-zero address. A tag may sit in the packet or in the skb's metadata
 * when the device took it off. Headers are read in place, pulled into the
 * linear part first when a device left them outside. */
static __always_inline int parse_frame(struct __sk_buff *skb, __u16 pvid, struct frame *frame)
{
	const __u32 headers = sizeof(struct ethhdr) + sizeof(struct vlan_tag);
	void *data = (void *)(long)skb->data;
	void *data_end = (void *)(long)skb->data_end;
	struct ethhdr *eth;
	struct vlan_tag *tag;
	__u16 vid = 0;
	int tagged = 0;

	if (data + headers > data_end && skb->len > data_end - data) {
		bpf_skb_pull_data(skb, skb->len < headers ? skb->len : headers);
		data = (void *)(long)skb->data;
		data_end = (void *)(long)skb->data_end;
	}
	eth = data;
	if ((void *)(eth + 1) > data_end)
		return 0;
	frame->payload_proto = eth->h_proto;
	frame->payload_offset = sizeof *eth;
	if (skb->vlan_present) {
		vid = skb->vlan_tci & 0x0fff;
		tagged = 1;
	}
	if (is_tag(eth->h_proto)) {
		tag = (void *)(eth + 1);
		if (tagged || (void *)(tag + 1) > data_end || is_tag(tag->proto))
			return 0;
		vid = bpf_ntohs(tag->tci) & 0x0fff;
		tagged = 1;
		frame->payload_proto = tag->proto;
		frame->payload_offset += sizeof *tag;
	}
	if (!tagged || vid == 0)
		vid = pvid;
	if (vid == 0x0fff)
		return 0;
	if (eth->h_source[0] & 1)
		return 0;
	if ((eth->h_source[0] | eth->h_source[1] | eth->h_source[2] | eth->h_source[3] |
	     eth->h_source[4] | eth->h_source[5]) == 0)
		return 0;
	__builtin_memcpy(frame->key.mac, eth->h_source, sizeof frame->key.mac);
	frame->key.vlan = vid;
	return 1;
}

static __always_inline __u32 *vlan_count(__u32 port, __u16 vlan, int create)
{
	struct ps_port_vlan key = {.port = port, .vlan = vlan, .reserved = 0};
	__u32 zero = 0;
	__u32 *count = bpf_map_lookup_elem(&vlan_counts, &key);

	if (count || !create)
		return count;
	bpf_map_update_elem(&vlan_counts, &key, &zero, BPF_NOEXIST);
	return bpf_map_lookup_elem(&vlan_counts, &key);
}

/* Gives back what take_slot took. */
static __always_inline void give_slot(__u32 port, __u16 vlan)
{
	__u32 *count = bpf_map_lookup_elem(&dynamic_counts, &port);

	if (count)
		__sync_fetch_and_sub(count, 1);
	count = vlan_count(port, vlan, 0);
	if (count)
		__sync_fetch_and_sub(count, 1);
}

/* Counts one more dynamic entry on the port and in its VLAN, unless a limit
 * in force is reached. Taking before checking keeps every count within its
 * limit however many CPUs learn at once. */
static __always_inline enum ps_verdict take_slot(__u32 port, __u16 vlan, int guarded)
{
	struct ps_intf_settings *settings = bpf_map_lookup_elem(&intf_settings, &port);
	struct ps_port_vlan key = {.port = port, .vlan = vlan, .reserved = 0};
	__u32 *count = bpf_map_lookup_elem(&dynamic_counts, &port);
	__u32 *in_vlan = vlan_count(port, vlan, 1);
	__u32 *limit;
	__u32 before;

	if (!settings || !count || !in_vlan)
		return PS_TABLE_FULL;
	before = __sync_fetch_and_add(count, 1);
	if (guarded && settings->has_dynamic_limit && before >= settings->dynamic_limit) {
		__sync_fetch_and_sub(count, 1);
		return PS_VIOLATION;
	}
	before = __sync_fetch_and_add(in_vlan, 1);
	limit = bpf_map_lookup_elem(&vlan_limits, &key);
	if (guarded && limit && before >= *limit) {
		__sync_fetch_and_sub(in_vlan, 1);
		__sync_fetch_and_sub(count, 1);
		return PS_VIOLATION;
	}
	return PS_LEARNED;
}

static __always_inline int is_guarded(__u32 port)
{
	struct ps_intf_settings *settings = bpf_map_lookup_elem(&intf_settings, &port);

	return ps_enabled && settings && settings->enabled;
}

static __always_inline enum ps_verdict learn(__u32 port, const struct ps_mac_key *key)
{
	int guarded = is_guarded(port);
	struct ps_mac_entry *existing = bpf_map_lookup_elem(&mac_table, key);
	struct ps_mac_entry fresh = {};
	enum ps_verdict verdict;
	__u64 owner = 0;
	long error;

	if (existing) {
		owner = existing->owner;
		if ((owner & PS_OWNER_STATIC) || PS_OWNER_PORT(owner) == port)
			return PS_KNOWN;
	}
	verdict = take_slot(port, key->vlan, guarded);
	if (verdict != PS_LEARNED) {
		if (verdict == PS_VIOLATION) {
			struct ps_violation seen = {};

			__builtin_memcpy(seen.mac, key->mac, sizeof seen.mac);
			seen.vlan = key->vlan;
			bpf_map_update_elem(&violations, &port, &seen, BPF_ANY);
		}
		return verdict;
	}
	if (existing) {
		/* A station that moved here: the entry keeps its place. Lost to
		 * another CPU or to the user side, the frame finds it known. */
		if (__sync_val_compare_and_swap(&existing->owner, owner, PS_OWNER(port, 0)) == owner) {
			give_slot(PS_OWNER_PORT(owner), key->vlan);
			return PS_LEARNED;
		}
		give_slot(port, key->vlan);
		return PS_KNOWN;
	}
	fresh.seq = __sync_fetch_and_add(&next_seq, 1);
	fresh.owner = PS_OWNER(port, 0);
	error = bpf_map_update_elem(&mac_table, key, &fresh, BPF_NOEXIST);
	if (error == 0)
		return PS_LEARNED;
	give_slot(port, key->vlan);
	return error == -17 /* EEXIST: learned on another CPU meanwhile */ ? PS_KNOWN : PS_TABLE_FULL;
}

static __always_inline void count_frame(__u32 counter)
{
	__u64 *count = bpf_map_lookup_elem(&frame_counts, &counter);

	if (count)
		*count += 1;
}

static __always_inline void record_probe(struct __sk_buff *skb, const struct frame *frame,
					 enum ps_verdict verdict)
{
	struct {
		__u32 magic;
		__u64 nonce;
	} __attribute__((packed)) probe;
	struct ps_probe_result *slot;
	__u32 index;

	if (frame->payload_proto != bpf_htons(PS_PROBE_ETHERTYPE) ||
	    bpf_skb_load_bytes(skb, frame->payload_offset, &probe, sizeof probe) < 0 ||
	    probe.magic != PS_PROBE_MAGIC)
		return;
	index = probe.nonce % PS_PROBE_SLOTS;
	slot = bpf_map_lookup_elem(&probe_results, &index);
	if (!slot)
		return;
	slot->verdict = verdict;
	__sync_lock_test_and_set(&slot->nonce, probe.nonce); /* published last */
}

SEC("tc")
int ps_ingress(struct __sk_buff *skb)
{
	__u32 ifindex = skb->ifindex;
	struct ps_port *port = bpf_map_lookup_elem(&guarded_ports, &ifindex);
	struct frame frame = {};
	enum ps_verdict verdict = PS_UNLEARNABLE;
	int pass;

	if (!port)
		return TC_ACT_OK;
	if (parse_frame(skb, port->pvid, &frame))
		verdict = learn(port->port, &frame.key);
	pass = verdict == PS_KNOWN || verdict == PS_LEARNED || !is_guarded(port->port);
	record_probe(skb, &frame, verdict);
	count_frame(verdict);
	if (pass)
		return TC_ACT_OK;
	count_frame(PS_COUNT_DROPPED);
	return TC_ACT_SHOT;
}

/* Makes (mac, vlan) a static entry of the port: a new entry, or an existing
 * one that keeps its place and gives back its dynamic slot. Returns 0, or
 * ENOSPC when the table is full. */
SEC("syscall")
int ps_add_static(struct ps_static_request *request)
{
	struct ps_mac_key key = {};
	struct ps_mac_entry fresh = {};
	__u64 owner = PS_OWNER(request->port, 1);
	int attempt;

	__builtin_memcpy(key.mac, request->mac, sizeof key.mac);
	key.vlan = request->vlan;
	for (attempt = 0; attempt < 8; attempt++) {
		struct ps_mac_entry *existing = bpf_map_lookup_elem(&mac_table, &key);

		if (existing) {
			__u64 before = existing->owner;

			if (__sync_val_compare_and_swap(&existing->owner, before, owner) != before)
				continue;
			if (!(before & PS_OWNER_STATIC))
				give_slot(PS_OWNER_PORT(before), key.vlan);
			return 0;
		}
		fresh.seq = __sync_fetch_and_add(&next_seq, 1);
		fresh.owner = owner;
		long error = bpf_map_update_elem(&mac_table, &key, &fresh, BPF_NOEXIST);
		if (error == 0)
			return 0;
		if (error != -17 /* EEXIST: learned meanwhile, take it over */)
			return 28; /* ENOSPC */
	}
	return 11; /* EAGAIN */
}

static long make_static(struct bpf_map *map, const struct ps_mac_key *key,
			struct ps_mac_entry *entry, struct ps_move_request *request)
{
	__u64 dynamic = PS_OWNER(request->port, 0);

	if (entry->owner == dynamic &&
	    __sync_val_compare_and_swap(&entry->owner, dynamic, PS_OWNER(request->port, 1)) ==
		    dynamic) {
		give_slot(request->port, key->vlan);
		request->moved++;
	}
	return 0;
}

/* Turns every dynamic entry of the port into a static one. */
SEC("syscall")
int ps_move_to_static(struct ps_move_request *request)
{
	struct ps_move_request walk = {.port = request->port, .moved = 0};

	bpf_for_each_map_elem(&mac_table, make_static, &walk, 0);
	request->moved = walk.moved;
	return 0;
}
