#!/usr/bin/env bash
# Builds the benchmarks (Release, own build folder, under the machine's build
# lock), runs every measurement side by side in one run and writes
# bench/RESULTS.md and bench/plot.png. Not part of the test suite.
#
#   bench/run.sh            # everything
#   QUICK=1 bench/run.sh    # shorter runs, smaller sizes (for trying it out)
set -uo pipefail
cd "$(dirname "$0")/.."
root=$PWD
build=${BENCH_BUILD_DIR:-$root/build-bench}
out=$root/build-bench-out
rm -rf "$out"
mkdir -p "$out"
results=$root/bench/RESULTS.md
sudo=""
[ "$(id -u)" -ne 0 ] && sudo=sudo

log() { echo "bench: $*" >&2; }

install_missing() {
  local need=()
  dpkg -s libbenchmark-dev >/dev/null 2>&1 || need+=(libbenchmark-dev)
  command -v gnuplot >/dev/null || need+=(gnuplot-nox)
  command -v ip >/dev/null || need+=(iproute2)
  if [ ${#need[@]} -gt 0 ]; then
    log "installing ${need[*]}"
    $sudo apt-get -o DPkg::Lock::Timeout=600 install -y "${need[@]}" >/dev/null
  fi
}

build_all() {
  flock /tmp/ps-build.lock bash -c "cmake -S '$root' -B '$build' -G Ninja -DCMAKE_BUILD_TYPE=Release \
      -DPS_BUILD_BENCH=ON -DPS_BUILD_TESTS=OFF >/dev/null && cmake --build '$build' >/dev/null"
}

# --- pshost under the port mapper lock -------------------------------------
ctl=/tmp/psbench.$$.ctl
host_pid=""
start_host() {  # node file, extra options...
  local node=$1
  shift
  "$build/pshost" --node "$node" --control "$ctl" "$@" 2>"$out/pshost.err" &
  host_pid=$!
  for _ in $(seq 100); do
    [ -S "$ctl" ] && "$build/psctl" --control "$ctl" ping >/dev/null 2>&1 && return 0
    sleep 0.1
  done
  log "pshost did not come up: $(tail -1 "$out/pshost.err")"
  return 1
}
stop_host() {
  [ -n "$host_pid" ] && kill "$host_pid" 2>/dev/null && wait "$host_pid" 2>/dev/null
  host_pid=""
}
trap 'stop_host; ip netns del "psbench$$" 2>/dev/null' EXIT

rss_kb() { awk '/^VmRSS/ {print $2}' "/proc/$host_pid/status"; }
now() { date +%s.%N; }
elapsed() { echo "$2 - $1" | bc -l; }

# MAC number n as 02:xx:xx:xx:xx:xx.
learn_lines() {  # from to port vlan
  awk -v a="$1" -v b="$2" -v p="$3" -v v="$4" 'BEGIN { for (n = a; n < b; n++)
    printf "learn %d 02:%02x:%02x:%02x:%02x:%02x %d\n", p, int(n / 2^32) % 256,
           int(n / 2^24) % 256, int(n / 2^16) % 256, int(n / 256) % 256, n % 256, v }'
}
fdb_lines() {  # from to
  awk -v a="$1" -v b="$2" 'BEGIN { for (n = a; n < b; n++)
    printf "fdb add 02:%02x:%02x:%02x:%02x:%02x dev psdummy0 master static\n",
           int(n / 2^32) % 256, int(n / 2^24) % 256, int(n / 2^16) % 256,
           int(n / 256) % 256, n % 256 }'
}

# --- listing and adding: psctl against the bridge ----------------------------
# Writes "size psctl_list_s bridge_list_s psctl_add_us bridge_add_us" lines.
listing() {
  local sizes=$1 node=$out/large.json
  python3 bench/gen-node.py --gpon 16 --vports 128 --vlans 4094 --buckets 65536 >"$node"
  local bridge_ok=1 ns=psbench$$
  if ! { ip netns add "$ns" && ip -n "$ns" link add br0 type bridge &&
      ip -n "$ns" link add psdummy0 type veth peer name psdummy1 && ip -n "$ns" link set psdummy0 master br0 &&
      ip -n "$ns" link set br0 up && ip -n "$ns" link set psdummy0 up; } 2>"$out/netns.err"; then
    bridge_ok=0
    echo "$(head -1 "$out/netns.err")" >"$out/bridge-skip"
  fi
  start_host "$node" || return 1
  local have=0
  : >"$out/listing.txt"
  for size in $sizes; do
    learn_lines "$have" "$size" 1 100 >"$out/learn.txt"
    local t0 t1 t2
    t0=$(now)
    python3 bench/ctl.py "$ctl" <"$out/learn.txt" >/dev/null || log "learning failed"
    t1=$(now)
    local add_us list_s b_add_us="-" b_list_s="-"
    add_us=$(echo "($(elapsed "$t0" "$t1")) * 1000000 / ($size - $have)" | bc -l)
    t1=$(now)
    "$build/psctl" learned 1 >"$out/learned.txt" || log "psctl learned failed at $size"
    t2=$(now)
    list_s=$(elapsed "$t1" "$t2")
    local listed=$(($(wc -l <"$out/learned.txt") - 1))
    [ "$listed" -eq "$size" ] || log "psctl listed $listed of $size"
    if [ "$bridge_ok" = 1 ]; then
      fdb_lines "$have" "$size" >"$out/fdb.txt"
      t0=$(now)
      ip netns exec "$ns" bridge -batch "$out/fdb.txt"
      t1=$(now)
      b_add_us=$(echo "($(elapsed "$t0" "$t1")) * 1000000 / ($size - $have)" | bc -l)
      t1=$(now)
      ip netns exec "$ns" bridge fdb show >"$out/fdb-show.txt"
      t2=$(now)
      b_list_s=$(elapsed "$t1" "$t2")
    fi
    printf "%d %.4f %s %.2f %s\n" "$size" "$list_s" "$b_list_s" "$add_us" "$b_add_us" >>"$out/listing.txt"
    have=$size
  done
  stop_host
  ip netns del "$ns" 2>/dev/null
  return 0
}

# --- RPC rates: every procedure against the null procedure -----------------
# Rounds of both transports in turn: the machine's speed drifts over minutes,
# and the walk procedures' ratio with it, so the report takes each
# procedure's median over rounds spread across the run.
rpc_rates() {
  local seconds=$1 rounds=$2 round
  start_host examples/olt.json || return 1
  # A static limit high enough that repeated adds keep succeeding.
  "$build/psctl" limit 2 static 1000 >/dev/null
  local procs=1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,819
  # One client thread: the service answers one request at a time, and with
  # more clients than cores the ratios move by +-15% from run to run.
  echo 1 >"$out/rpc-threads"
  for round in $(seq "$rounds"); do
    for net in udp tcp; do
      "$build/bench/ps_rpc_load" --$net --threads 1 --seconds "$seconds" --procs $procs \
        >"$out/rpc-$net-$round.txt" || log "some $net calls failed"
    done
  done
  stop_host
}

# --- walk procedures against the driver's bucket count ---------------------
# Procedures 9 and 13 walk the whole table, one driver command per bucket and
# entry, so their rate falls with the bucket count: the curve for sizing.
walk_sweep() {
  local seconds=$1 buckets
  : >"$out/walk-sweep.txt"
  for buckets in 16 256 4096 65536; do
    python3 - "$buckets" >"$out/node-$buckets.json" <<'PY'
import json, sys
node = json.load(open("examples/olt.json"))
node["driver"]["buckets"] = int(sys.argv[1])
json.dump(node, sys.stdout)
PY
    start_host "$out/node-$buckets.json" || return 1
    "$build/bench/ps_rpc_load" --udp --threads 1 --seconds "$seconds" --procs 9,13 |
      awk -v b="$buckets" 'NR > 2 {print b, $2, $3, $6}' >>"$out/walk-sweep.txt"
    stop_host
  done
}

# --- memory over a long run ------------------------------------------------
# Driver commands issued so far. Only the counts: reading the whole log would
# make pshost's heap grow by the reply and spoil the reading.
driver_commands() {
  printf 'driver log count\n' | python3 bench/ctl.py "$ctl" --out "$out/driverlog.txt" >/dev/null
  awk '/ commands, / {print $1}' "$out/driverlog.txt"
}
memory() {
  local target=$1
  start_host examples/olt.json || return 1
  local checkpoint
  echo "0 $(rss_kb)" >"$out/memory.txt"
  for checkpoint in 10000 $((target / 10)) "$target"; do
    local done_so_far
    while done_so_far=$(driver_commands) && [ "$done_so_far" -lt "$checkpoint" ]; do
      # Bursts sized to land near the checkpoint: about 30k commands a second.
      local burst
      burst=$(echo "b = ($checkpoint - $done_so_far) / 60000; if (b < 0.05) b = 0.05; if (b > 2) b = 2; b" | bc -l)
      "$build/bench/ps_rpc_load" --udp --threads 2 --seconds "$burst" --procs 3 >/dev/null
    done
    echo "$(driver_commands) $(rss_kb)" >>"$out/memory.txt"
  done
  stop_host
}

# --- results ----------------------------------------------------------------
plot() {
  gnuplot <<GP 2>"$out/gnuplot.err"
set terminal pngcairo size 1000,420 noenhanced
set output "$root/bench/plot.png"
set multiplot layout 1,2
set logscale xy
set key top left
set grid
set xlabel "table entries"
set ylabel "seconds"
set title "Listing the learned table"
plot "$out/listing.txt" using 1:2 with linespoints title "psctl learned", \
     "$out/listing.txt" using 1:(\$3 > 0 ? \$3 : 1/0) with linespoints title "bridge fdb show"
set ylabel "microseconds per entry"
set title "Adding entries"
plot "$out/listing.txt" using 1:4 with linespoints title "control channel learn (per frame)", \
     "$out/listing.txt" using 1:(\$5 > 0 ? \$5 : 1/0) with linespoints title "bridge -batch fdb add", \
     "$out/micro.json.add" using 1:2 with linespoints title "module static add+delete"
unset multiplot
GP
}

write_results() {
  python3 bench/report.py "$out" >"$results"
}

main() {
  local sizes="4096 16384 65536 262144" seconds=4 rounds=3 commands=1000000
  if [ -n "${QUICK:-}" ]; then sizes="1024 4096"; seconds=0.3; rounds=2; commands=20000; fi
  install_missing
  log "building into $build"
  build_all || { log "build failed"; exit 1; }
  date -u '+%Y-%m-%d %H:%M UTC' >"$out/date"
  { git rev-parse --short HEAD 2>/dev/null || echo unknown; } | tr -d '\n' >"$out/commit"
  [ -n "$(git status --porcelain --untracked-files=no 2>/dev/null)" ] &&
    echo " with uncommitted changes" >>"$out/commit"
  uptime >"$out/load-before"
  log "micro-benchmarks"
  local micro_filter=""
  [ -n "${QUICK:-}" ] && micro_filter="--benchmark_filter=/(100|1000|1024|4096)$"
  "$build/bench/ps_micro_bench" $micro_filter --benchmark_min_time=0.2 \
    --benchmark_out="$out/micro.json" --benchmark_out_format=json >/dev/null
  python3 - "$out/micro.json" >"$out/micro.json.add" <<'PY'
import json, sys
for b in json.load(open(sys.argv[1]))["benchmarks"]:
    if b["name"].startswith("StaticAddDelete/"):
        print(b["name"].split("/")[1], b["real_time"])
PY
  # The RPC measurements register with the shared port mapper.
  exec 9>/tmp/ps-portmapper.lock
  flock 9
  log "listing and adding (sizes: $sizes)"
  listing "$sizes"
  log "RPC rates"
  rpc_rates "$seconds" "$rounds"
  log "walk procedures against the bucket count"
  walk_sweep "$seconds"
  log "memory over $commands driver commands"
  memory "$commands"
  flock -u 9
  uptime >"$out/load-after"
  plot
  write_results
  log "wrote $results and bench/plot.png"
}

main "$@"
