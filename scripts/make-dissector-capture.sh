#!/usr/bin/env bash
# Records tests/dissector/psctl-session.pcapng: a psctl session against pshost
# on loopback that calls every procedure, over TCP and over UDP, then the raw
# calls of dissector-raw-calls.py (a GETPORT lookup, refused calls, values out of range,
# trailing bytes, a transaction id used by two clients). Needs the
# right to capture on lo (root) and a built tree. Hold the port-mapper lock:
#   flock /tmp/ps-portmapper.lock scripts/make-dissector-capture.sh [BUILD_DIR]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
out=tests/dissector/psctl-session.pcapng
work=$(mktemp -d)
trap 'kill $host $capture 2>/dev/null || true; wait 2>/dev/null || true; rm -rf "$work"' EXIT

cat >"$work/node.json" <<'NODE'
{"management": {"interface": 1, "mac": "02:00:00:00:00:01", "vlan": 10},
 "interfaces": [{"id": 1, "name": "mng", "type": 2},
                {"id": 2, "name": "ethernet-port-0000021", "type": 1},
                {"id": 4, "name": "pon4", "type": 4}, {"id": 5, "name": "gem5", "type": 5}],
 "gem": [{"interface": 4, "vport": 1, "gem": 5}], "vlans": [10, 100]}
NODE
ctl="$work/ctl"
"$build/pshost" --node "$work/node.json" --control "$ctl" 2>"$work/pshost.err" &
host=$!
for _ in $(seq 50); do "$build/psctl" ping >/dev/null 2>&1 && break; sleep 0.1; done
ports=$(rpcinfo -p 127.0.0.1 | awk '$1 == 536870925 {print $3 " port " $4}' | paste -sd' ' |
        sed 's/ udp/ or udp/; s/ tcp/ or tcp/')
# The port mapper's UDP port too: the GETPORT lookup of dissector-raw-calls.py.
dumpcap -q -i lo -f "$ports or udp port 111" -w "$work/capture.pcapng" 2>/dev/null &
capture=$!
sleep 1

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
python3 scripts/dissector-raw-calls.py $host
sleep 1
kill $capture
wait $capture || true
cp "$work/capture.pcapng" "$out"
echo "wrote $out ($(stat -c %s "$out") bytes)"
