#!/usr/bin/env bash
# Port security on real interfaces: in a private network namespace, a bridge
# with three veth ports guarded by pshost's eBPF data plane. Frames are sent
# through the ports' peers; what the kernel decided, and whether the bridge
# forwarded them, is printed. Run as root, after a build (build/, or
# BUILD_DIR). Leaves nothing behind: the namespace goes with its processes.
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(realpath "${BUILD_DIR:-build}")

if [ "${1:-}" != --inside ]; then
  if [ "$(id -u)" -ne 0 ]; then
    echo "dataplane-demo.sh: run as root: it makes a network namespace and attaches an eBPF program" >&2
    exit 1
  fi
  for f in pshost psctl; do
    [ -x "$build/$f" ] || { echo "dataplane-demo.sh: no $build/$f: build first (scripts/build.sh)" >&2; exit 1; }
  done
  for tool in unshare ip rpcbind; do
    command -v "$tool" >/dev/null ||
      { echo "dataplane-demo.sh: $tool is missing (util-linux, iproute2, rpcbind)" >&2; exit 1; }
  done
  # A private mount namespace too, for a /run of its own: the namespace's
  # port mapper must not meet the machine's.
  exec unshare -mn "$0" --inside
fi

work=$(mktemp -d)
ctl=$work/pshost.ctl
host='' portmapper=''
stop() {
  # By process id: nothing else of the machine is touched.
  [ -n "$host" ] && kill "$host" 2>/dev/null && wait "$host" 2>/dev/null
  [ -n "$portmapper" ] && kill "$portmapper" 2>/dev/null && wait "$portmapper" 2>/dev/null
  rm -rf "$work"
}
trap stop EXIT

psctl() { "$build/psctl" --control "$ctl" "$@"; }
# Prints the command as an operator types it, then what it answers.
show() {
  printf '$ %s\n' "$*"
  "$@" || true
}
# Frames the bridge sent out of a port: what its peer received.
received() { ip -s link show dev "$1-peer" | awk '/RX:/ { getline; print $2; exit }'; }
counts() {
  printf '  frames out of the bridge: mgmt0 %s, ge1 %s, ge2 %s\n' \
    "$(received mgmt0)" "$(received ge1)" "$(received ge2)"
}

mount -t tmpfs none /run
mkdir -p /run/rpcbind
# A peer with IPv6 on sends neighbour discovery and MLD frames as it comes
# up, from its own MAC: under a limit they would take a slot.
sysctl -qw net.ipv6.conf.all.disable_ipv6=1 net.ipv6.conf.default.disable_ipv6=1
# The bridge's own IGMP report as it comes up would show in the counts.
sysctl -qw net.ipv4.igmp_link_local_mcast_reports=0
ip link set lo up
rpcbind -w -f &
portmapper=$!

ip link add br0 type bridge
ip link set br0 up
for port in mgmt0 ge1 ge2; do
  ip link add "$port" type veth peer name "$port-peer"
  ip link set "$port" master br0
  ip link set "$port" up
  ip link set "$port-peer" up
done

# ge2's untagged frames belong to VLAN 100; the others' to VLAN 1.
cat >"$work/node.json" <<'EOF'
{
  "management": { "interface": 1, "mac": "02:00:00:00:00:01", "vlan": 10 },
  "interfaces": [
    { "id": 1, "name": "mgmt0", "type": 2 },
    { "id": 2, "name": "ge1", "type": 1 },
    { "id": 3, "name": "ge2", "type": 1, "pvid": 100 }
  ],
  "vlans": [10, 100],
  "driver": { "dataplane": "ebpf", "buckets": 8 }
}
EOF
for _ in $(seq 50); do rpcinfo -p >/dev/null 2>&1 && break; sleep 0.1; done

echo "# pshost on a bridge with three veth ports: mgmt0, ge1, ge2"
"$build/pshost" --node "$work/node.json" --control "$ctl" 2>"$work/pshost.err" &
host=$!
for _ in $(seq 100); do
  grep -q '^pshost: running' "$work/pshost.err" && break
  kill -0 "$host" 2>/dev/null || { cat "$work/pshost.err"; host=; exit 1; }
  sleep 0.1
done
grep '^pshost: eBPF' "$work/pshost.err"
show tc filter show dev ge1 ingress

echo
echo "# Port security on ge1 (interface 2, driver port 1): two learned addresses"
show psctl state on
show psctl state 2 on
show psctl limit 2 dynamic 2

echo
echo "# Each learn sends a broadcast frame from the MAC through ge1's peer;"
echo "# the bridge floods what the data plane passes to mgmt0 and ge2"
counts
show psctl sim learn 1 02:aa:00:00:00:01 100
counts
show psctl sim learn 1 02:aa:00:00:00:01 100
echo "# VLAN 1 is ge1's pvid: this frame goes untagged"
show psctl sim learn 1 02:aa:00:00:00:02 1
counts
echo "# A third address is over the limit: the frame is dropped at ge1's ingress"
show psctl sim learn 1 02:aa:00:00:00:03 100
counts
show psctl violation 2
show psctl learned 1

echo
echo "# ge2 has port security off: its frames are learned and passed without limit"
echo "# (VLAN 100 is its pvid: untagged)"
show psctl sim learn 2 02:bb:00:00:00:01 100
show psctl sim learn 2 02:bb:00:00:00:02 100
show psctl sim learn 2 02:bb:00:00:00:03 200
counts
echo "# A station that moves from ge2 to ge1 still needs a free slot there"
show psctl sim learn 1 02:bb:00:00:00:01 100

echo
echo "# Made static, the learned addresses free their slots"
show psctl move-to-static 2
show psctl sim learn 1 02:aa:00:00:00:03 100
counts
show psctl sim driver table

echo
echo "# Stopping pshost detaches the program and removes its qdisc"
printf '$ kill %s\n' "$host"
kill "$host"
wait "$host" || true
host=
sed -n '/stopping/p' "$work/pshost.err"
show tc qdisc show dev ge1
