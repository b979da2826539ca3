#!/usr/bin/env bash
# Measures pshost's eBPF data plane against the plain Linux bridge, side by
# side in one run, in a private network and mount namespace (bridge br0, one
# veth pair per interface, frames sent into the peers), and writes
# bench/DATAPLANE.md:
#   - frames per second through the bridge with the program attached and
#     without it, from source MACs already learned;
#   - fresh source MACs admitted per second, port security on;
#   - `psctl learned 1` of 65536 entries learned by real frames against
#     `bridge fdb show` of the same entries.
# Needs root. Not part of the test suite; bench/run.sh does not run it.
#
#   bench/dataplane.sh
set -uo pipefail
cd "$(dirname "$0")/.." || exit 1
root=$PWD
build=${BENCH_BUILD_DIR:-$root/build-bench}
out=$root/build-bench-dataplane
results=$root/bench/DATAPLANE.md

log() { echo "bench/dataplane: $*" >&2; }
now() { date +%s.%N; }

# Rounds of each kind, and their lengths. Everything inside the namespace
# must end within inside_limit seconds.
forward_seconds=2.5
fresh_macs=65536
listing_repeats=3
inside_limit=300

# Addresses: the station that receives behind ge2, the sources already
# learned for the steady state, and the fresh ones.
station=02:d0:00:00:00:01
known_base=02:b0:00:00:00:00
known_count=256
fresh_base=02:c0:00:00:00:00

# --- inside the namespace ------------------------------------------------------
# Runs as `bench/dataplane.sh --inside`, under unshare -mn: the namespace ends
# with this process, once it has stopped what it started.
host_pid=""
rpcbind_pid=""
ctl=/tmp/psdataplane.$$.ctl

stop_host() {
  [ -n "$host_pid" ] && kill "$host_pid" 2>/dev/null && wait "$host_pid" 2>/dev/null
  host_pid=""
}
stop_inside() {
  stop_host
  [ -n "$rpcbind_pid" ] && kill "$rpcbind_pid" 2>/dev/null && wait "$rpcbind_pid" 2>/dev/null
  rpcbind_pid=""
  rm -f "$ctl"
}

psctl() { "$build/psctl" "$@" >/dev/null; }
blast() { "$build/bench/ps_frame_blast" "$@"; }
field() { tr ' ' '\n' <<<"$2" | awk -F= -v k="$1" '$1 == k {print $2}'; }

# pshost with the data plane attached, port security on for ge1 with a limit
# that no round reaches.
start_host() {
  "$build/pshost" --node "$out/node.json" --control "$ctl" 2>>"$out/pshost.err" &
  host_pid=$!
  for _ in $(seq 100); do
    if psctl --control "$ctl" ping 2>/dev/null && psctl ping 2>/dev/null; then
      psctl state on && psctl state 2 on && psctl limit 2 dynamic 131072 && return 0
      log "could not switch port security on"
      return 1
    fi
    sleep 0.1
  done
  log "pshost did not come up: $(tail -1 "$out/pshost.err")"
  return 1
}

make_network() {
  mount -t tmpfs none /run && mkdir -p /run/rpcbind || return 1
  # Peers with IPv6 on send neighbour discovery from their own MACs.
  sysctl -qw net.ipv6.conf.all.disable_ipv6=1 net.ipv6.conf.default.disable_ipv6=1 || return 1
  ip link set lo up || return 1
  rpcbind -w -f &
  rpcbind_pid=$!
  ip link add br0 type bridge && ip link set br0 up || return 1
  local port
  for port in mgmt0 ge1 ge2; do
    ip link add "$port" type veth peer name "$port-peer" && ip link set "$port" master br0 &&
      ip link set "$port" up && ip link set "$port-peer" up || return 1
  done
  cat >"$out/node.json" <<'JSON'
{"management": {"interface": 1, "mac": "02:00:00:00:00:01", "vlan": 10},
 "interfaces": [{"id": 1, "name": "mgmt0", "type": 2}, {"id": 2, "name": "ge1", "type": 1, "pvid": 100},
   {"id": 3, "name": "ge2", "type": 1, "pvid": 100}],
 "vlans": [10, 100], "driver": {"dataplane": "ebpf", "buckets": 8, "entries": 131072}}
JSON
  for _ in $(seq 50); do
    rpcinfo -p 127.0.0.1 >/dev/null 2>&1 && return 0
    sleep 0.1
  done
  log "rpcbind does not answer"
  return 1
}

# The station behind ge2 speaks once, so that the bridge sends it unicast.
teach_station() {
  blast --dev ge2-peer --dst ff:ff:ff:ff:ff:ff --src "$station" --frames 1 >/dev/null
}
flush_bridge() {
  ip link set ge1 type bridge_slave fdb_flush && ip link set ge2 type bridge_slave fdb_flush
}

# Known sources into ge1, counted at the station's peer. Each run of the
# program is between two runs of the bare bridge, or the other way round,
# since the speed of a shared machine drifts over the run.
forwarding() {
  local modes="off on on off off on on off off on on off" round=0 mode line
  : >"$out/forward.txt"
  teach_station
  blast --dev ge1-peer --dst "$station" --src "$known_base" --sources "$known_count" \
    --seconds 1 >/dev/null # warms the caches; not recorded
  for mode in $modes; do
    round=$((round + 1))
    if [ "$mode" = on ] && [ -z "$host_pid" ]; then
      start_host || return 1
    elif [ "$mode" = off ]; then
      stop_host
    fi
    teach_station
    blast --dev ge1-peer --dst "$station" --src "$known_base" --sources "$known_count" \
      --frames "$known_count" >/dev/null
    line=$(blast --dev ge1-peer --dst "$station" --src "$known_base" --sources "$known_count" \
      --seconds "$forward_seconds" --count-at ge2-peer) || return 1
    echo "$round $mode $(field sent "$line") $(field received "$line") $(field seconds "$line")" \
      >>"$out/forward.txt"
  done
  stop_host
}

# Fresh sources, each sent once, into an empty bridge table (and an empty
# data plane: pshost starts again for every round with it).
fresh() {
  local modes="off on off on off on off on off on" round=0 mode line admitted bridged
  : >"$out/fresh.txt"
  for mode in $modes; do
    round=$((round + 1))
    stop_host
    [ "$mode" = on ] && { start_host || return 1; }
    flush_bridge
    teach_station
    line=$(blast --dev ge1-peer --dst "$station" --src "$fresh_base" --sources "$fresh_macs" \
      --frames "$fresh_macs" --count-at ge2-peer) || return 1
    bridged=$(bridge fdb show brport ge1 | grep -c '^02:c0:')
    admitted=$bridged
    if [ "$mode" = on ]; then
      admitted=$("$build/psctl" learned 1 | grep -c '^02:c0:')
    fi
    echo "$round $mode $(field sent "$line") $(field received "$line") $(field seconds "$line")" \
      "$admitted $bridged" >>"$out/fresh.txt"
  done
  # pshost stays up: its table and the bridge's hold the last round's entries.
}

listing() {
  local t0 t1 t2
  : >"$out/listing.txt"
  for _ in $(seq "$listing_repeats"); do
    t0=$(now)
    "$build/psctl" learned 1 >"$out/learned.txt" || log "psctl learned failed"
    t1=$(now)
    bridge fdb show >"$out/fdb.txt"
    t2=$(now)
    echo "psctl $(echo "$t1 - $t0" | bc -l) $(($(wc -l <"$out/learned.txt") - 1))" >>"$out/listing.txt"
    echo "bridge $(echo "$t2 - $t1" | bc -l) $(wc -l <"$out/fdb.txt")" >>"$out/listing.txt"
  done
}

inside() {
  trap stop_inside EXIT
  trap 'exit 1' TERM INT
  make_network || { log "could not build the network"; return 1; }
  log "frames per second, with and without the data plane"
  forwarding || return 1
  log "fresh MACs admitted per second"
  fresh || return 1
  log "listing $fresh_macs learned entries"
  listing
}

# --- report --------------------------------------------------------------------
write_results() {
  python3 - "$out" "$known_count" "$forward_seconds" >"$results" <<'PY'
import statistics, sys
out, known_count, forward_seconds = sys.argv[1], int(sys.argv[2]), sys.argv[3]
read = lambda name: open(f"{out}/{name}").read().strip()
rows = lambda name: [line.split() for line in read(name).splitlines()]
median = statistics.median

forward = rows("forward.txt")
rate = {int(r[0]): int(r[3]) / float(r[4]) for r in forward}
mode = {int(r[0]): r[1] for r in forward}
pairs = [(a, a + 1) for a in range(1, len(forward), 2)]
ratios = []
for a, b in pairs:
    on, off = (a, b) if mode[a] == "on" else (b, a)
    ratios.append(rate[on] / rate[off])
fwd_off = median(rate[r] for r in rate if mode[r] == "off")
fwd_on = median(rate[r] for r in rate if mode[r] == "on")
lost = sum(int(r[2]) - int(r[3]) for r in forward)
sent = sum(int(r[2]) for r in forward)

fresh = rows("fresh.txt")
fr = {int(r[0]): int(r[5]) / float(r[4]) for r in fresh}
fmode = {int(r[0]): r[1] for r in fresh}
fratios = []
for a in range(1, len(fresh), 2):
    on, off = (a, a + 1) if fmode[a] == "on" else (a + 1, a)
    fratios.append(fr[on] / fr[off])
fresh_off = median(fr[r] for r in fr if fmode[r] == "off")
fresh_on = median(fr[r] for r in fr if fmode[r] == "on")
admitted_on = [int(r[5]) for r in fresh if r[1] == "on"]
bridged_on = [int(r[6]) for r in fresh if r[1] == "on"]
admitted_off = [int(r[5]) for r in fresh if r[1] == "off"]
macs = int(fresh[0][2])

listing = rows("listing.txt")
ps_times = [float(r[1]) for r in listing if r[0] == "psctl"]
br_times = [float(r[1]) for r in listing if r[0] == "bridge"]
ps_count = [int(r[2]) for r in listing if r[0] == "psctl"]
br_count = [int(r[2]) for r in listing if r[0] == "bridge"]

j = lambda xs, f="{:.3f}": " ".join(f.format(x) for x in xs)
print("# eBPF data plane against the Linux bridge")
print()
print("Written by `bench/dataplane.sh`; every figure below comes from the one run.")
print()
print(f"- Date: {read('date')}")
print(f"- Machine: {read('cpu')}, {read('nproc')} CPUs (`nproc`), Linux {read('kernel')}")
print(f"- Code: commit {read('commit')}")
print(f"- Load before: `{read('load-before')}`")
print(f"- Load after: `{read('load-after')}`")
print("- The machine is shared: absolute figures move with its load, so each figure that")
print("  matters is a ratio to the bare bridge measured in the rounds next to it.")
print()
print("| measurement | with the data plane | bridge alone | ratio (median of pairs) | ratio in each pair |")
print("|---|---|---|---|---|")
print(f"| frames/s forwarded, known sources (goal: x0.90 or better) | {fwd_on:,.0f} | {fwd_off:,.0f} | "
      f"x{median(ratios):.3f} | {j(ratios)} |")
print(f"| fresh source MACs admitted/s | {fresh_on:,.0f} | {fresh_off:,.0f} | "
      f"x{median(fratios):.3f} | {j(fratios)} |")
print()
print(f"From the median rates, the data plane adds {1e6 / fwd_on - 1e6 / fwd_off:.2f} us to each frame forwarded")
print(f"and {1e6 / fresh_on - 1e6 / fresh_off:.2f} us to each fresh MAC admitted (on the CPU that also runs the sender).")
print()
print("| listing | entries listed | median time | each repeat | psctl / bridge |")
print("|---|---|---|---|---|")
print(f"| `psctl learned 1` | {ps_count[-1]} | {median(ps_times):.3f} s | {j(ps_times)} | "
      f"x{median(ps_times) / median(br_times):.2f} |")
print(f"| `bridge fdb show` | {br_count[-1]} | {median(br_times):.3f} s | {j(br_times)} | |")
print()
print("## What was measured")
print()
print(f"A private network namespace holds bridge br0 with three veth ports (mgmt0, ge1, ge2);")
print(f"`ps_frame_blast` sends 60-byte frames into ge1's peer through a raw packet socket")
print(f"(sendmmsg, 64 a call, one sending thread) and counts what ge2's peer receives (its rx_packets,")
print(f"through netlink). With the data plane, pshost runs on a node of these three interfaces")
print(f"(131072 entries, port security on for ge1 with a dynamic limit of 131072) and its program sits")
print(f"at the tc ingress of each port; without it, pshost is not running and nothing is attached.")
print()
print(f"**Forwarding.** Frames to a station the bridge has learned behind ge2, from {known_count} source")
print(f"MACs learned beforehand, for {forward_seconds} s a round. Rounds run off, on, on, off, three")
print(f"times over; a pair is two neighbouring rounds, and its ratio the rate with the program over")
print(f"the rate without. {lost} of {sent:,} frames sent were not received.")
print()
print(f"**Fresh MACs.** {macs} frames, each from a new source MAC, into an empty bridge table (flushed")
print(f"before each round) and, with the data plane, a freshly started pshost. Rounds alternate off")
print(f"and on, five of each; the rate is the entries admitted over the sending time. Admitted with")
print(f"the data plane (`psctl learned 1`): {j(admitted_on, '{}')}, the bridge learning them too:")
print(f"{j(bridged_on, '{}')}; bridge alone (`bridge fdb show brport ge1`): {j(admitted_off, '{}')}.")
print()
print(f"**Listing.** The entries of the last data-plane round, learned by those real frames, listed")
print(f"{len(ps_times)} times each, in turn: `psctl learned 1` (the learned entries of driver port 1, through RPC) and")
print(f"`bridge fdb show` (the bridge's entries for the same frames, plus its own and the station's).")
PY
}

outside() {
  if [ "$(id -u)" -ne 0 ]; then
    echo "bench/dataplane.sh: skipped: needs root (network namespace, tc programs, raw frames)" >&2
    exit 0
  fi
  local tool
  for tool in ip bridge unshare rpcbind rpcinfo python3 bc timeout; do
    command -v "$tool" >/dev/null || {
      echo "bench/dataplane.sh: skipped: $tool is not installed" >&2
      exit 0
    }
  done
  rm -rf "$out"
  mkdir -p "$out"
  log "building into $build"
  flock /tmp/ps-build.lock bash -c "cmake -S '$root' -B '$build' -G Ninja -DCMAKE_BUILD_TYPE=Release \
      -DPS_BUILD_BENCH=ON -DPS_BUILD_TESTS=OFF >/dev/null && cmake --build '$build' >/dev/null" ||
    { log "build failed"; exit 1; }
  date -u '+%Y-%m-%d %H:%M UTC' >"$out/date"
  awk -F': ' '/^model name/ {print $2; exit}' /proc/cpuinfo >"$out/cpu"
  nproc >"$out/nproc"
  uname -r >"$out/kernel"
  { git rev-parse --short HEAD 2>/dev/null || echo unknown; } | tr -d '\n' >"$out/commit"
  [ -n "$(git status --porcelain --untracked-files=no 2>/dev/null)" ] &&
    echo " with uncommitted changes" >>"$out/commit"
  uptime >"$out/load-before"
  if ! timeout --kill-after=10 "$inside_limit" unshare -mn "$root/bench/dataplane.sh" --inside; then
    log "the measurements failed; see $out"
    exit 1
  fi
  uptime >"$out/load-after"
  write_results
  log "wrote $results"
}

if [ "${1:-}" = --inside ]; then
  inside
else
  outside
fi
