#!/usr/bin/env bash
# Records tests/dissector/psctl-session.pcapng: a psctl session against pshost
# on loopback that calls every procedure, over TCP and over UDP, then the raw
# calls of dissector-raw-calls.py (a GETPORT lookup, refused calls, values out of range,
# trailing bytes, a transaction id used by two clients, TCP calls from a chosen port).
# Runs in a network and mount namespace of its own, with its own port mapper,
# so the capture holds this session only. The server is forced onto PORT
# (default 13400, which Wireshark gives to another protocol; 0 for the
# kernel's choice) and the first TCP client calls from port 639, which
# another protocol owns. Needs root and a built tree:
#   tests/tools/make-dissector-capture.sh [BUILD_DIR [OUTPUT [PORT]]]
set -euo pipefail
cd "$(dirname "$0")/../.."
build=$(realpath "${1:-build}")
out=$(realpath "${2:-tests/dissector/psctl-session.pcapng}")
port=${3:-13400}
if [ "${DISSECTOR_CAPTURE_NAMESPACE:-}" != yes ]; then
  exec env DISSECTOR_CAPTURE_NAMESPACE=yes unshare -mn "$PWD/tests/tools/make-dissector-capture.sh" \
    "$build" "$out" "$port"
fi
work=$(mktemp -d)
trap 'kill $host $capture $mapper 2>/dev/null || true; wait 2>/dev/null || true; rm -rf "$work"' EXIT

# The port mapper keeps its socket and lock in /run: a private one.
mount -t tmpfs tmpfs /run
ip link set lo up
rpcbind -w -f &
mapper=$!
for _ in $(seq 50); do rpcinfo -p 127.0.0.1 >/dev/null 2>&1 && break; sleep 0.1; done

cat >"$work/node.json" <<'NODE'
{"management": {"interface": 1, "mac": "02:00:00:00:00:01", "vlan": 10},
 "interfaces": [{"id": 1, "name": "mng", "type": 2},
                {"id": 2, "name": "ethernet-port-0000021", "type": 1},
                {"id": 4, "name": "pon4", "type": 4}, {"id": 5, "name": "gem5", "type": 5}],
 "gem": [{"interface": 4, "vport": 1, "gem": 5}], "vlans": [10, 100]}
NODE
ctl="$work/ctl"
range=$(sysctl -n net.ipv4.ip_local_port_range)
# pshost binds port 0 on both transports: a range of one port is the port.
[ "$port" = 0 ] || sysctl -qw net.ipv4.ip_local_port_range="$port $port"
"$build/pshost" --node "$work/node.json" --control "$ctl" 2>"$work/pshost.err" &
host=$!
for _ in $(seq 50); do
  rpcinfo -T tcp 127.0.0.1 536870925 1 >/dev/null 2>&1 &&
    rpcinfo -T udp 127.0.0.1 536870925 1 >/dev/null 2>&1 && break
  sleep 0.1
done
sysctl -qw net.ipv4.ip_local_port_range="$range"
rpcinfo -p 127.0.0.1 | grep -q " 536870925 " || { cat "$work/pshost.err"; exit 1; }
dumpcap -q -i lo -w "$work/capture.pcapng" 2>/dev/null &
capture=$!
sleep 1

python3 tests/tools/dissector-raw-calls.py --tcp-from 639
psctl() { "$build/psctl" --control "$ctl" "$@" >/dev/null 2>&1 || true; }
psctl ping
psctl state on
psctl state 2 on
psctl limit 2 dynamic 3
psctl limit 2 dynamic default
psctl limit 2 static 10
psctl limit 2 static default
psctl static add 2 02:00:00:00:aa:01 100
psctl static del 2 02:00:00:00:aa:02 100
psctl vlan-limit add 2 100 2
psctl sim learn 1 02:aa:00:00:00:01 100
psctl sim learn 1 02:aa:00:00:00:02 100
psctl sim learn 1 02:aa:00:00:00:03 100
psctl state
psctl show 2
psctl show
psctl learned 1
psctl static list 2
psctl violation 2
psctl move-to-static 2
psctl vlan-limit del 2 100
psctl static add 4 02:00:00:00:bb:01 100 vport 1
psctl static del 4 02:00:00:00:bb:01 100 vport 1
psctl --udp state
psctl --udp show 2
psctl --udp violation 2
psctl --udp vlan-limit add 2 100 65
python3 tests/tools/dissector-raw-calls.py $host
sleep 1
kill $capture
wait $capture || true
cp "$work/capture.pcapng" "$out"
echo "wrote $out ($(stat -c %s "$out") bytes)"
