#!/usr/bin/env python3
"""Turns the raw figures of one bench/run.sh run (its output folder) into
bench/RESULTS.md on standard output."""
import json
import os
import subprocess
import sys

out = sys.argv[1]


def read(name, default=""):
    path = os.path.join(out, name)
    return open(path).read().strip() if os.path.exists(path) else default


def machine():
    model = "unknown"
    for line in subprocess.run(["lscpu"], capture_output=True, text=True).stdout.splitlines():
        if line.startswith("Model name:"):
            model = line.split(":", 1)[1].strip()
    cpus = subprocess.run(["nproc"], capture_output=True, text=True).stdout.strip()
    kernel = os.uname().release
    return model, cpus, kernel


def table(header, rows):
    lines = ["| " + " | ".join(header) + " |", "|" + "---|" * len(header)]
    lines += ["| " + " | ".join(str(c) for c in row) + " |" for row in rows]
    return "\n".join(lines)


def driver_command_ns():
    """One driver command's cost from `TableWalk/0` (4096 refused commands), or None."""
    path = os.path.join(out, "micro.json")
    if not os.path.exists(path):
        return None
    for b in json.load(open(path))["benchmarks"]:
        if b["name"] == "TableWalk/0":
            per_ns = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}[b["time_unit"]]
            return b["real_time"] * per_ns / 4096
    return None


def micro_section():
    path = os.path.join(out, "micro.json")
    if not os.path.exists(path):
        return "Micro-benchmarks did not run.\n"
    groups = {}
    for b in json.load(open(path))["benchmarks"]:
        name, size = b["name"].split("/")[:2]
        groups.setdefault(name, []).append((int(size), b["real_time"], b["time_unit"]))
    text = []
    what = {
        "StaticAddDelete": "Static add and delete of one entry (one pair) on top of N cached entries",
        "TableWalk": "Learned-address report of one port: a walk of a driver table of N entries",
        "DiagnosticDump": "Diagnostic dump (`macEntries`) of N cached entries",
    }
    for name, rows in groups.items():
        sized = [r for r in rows if r[0] > 0]
        base_size, base_time, _ = sized[0]
        body = []
        for size, time, unit in rows:
            if size == 0:
                body.append([0, "%.3g %s" % (time, unit), "-", "-"])
                continue
            body.append([size, "%.3g %s" % (time, unit), "x%.1f" % (size / base_size),
                         "x%.2f" % (time / base_time)])
        text.append("**%s** (`%s`)\n\n" % (what.get(name, name), name) +
                    table(["N", "time", "N vs first", "time vs first"], body))
        command_ns = driver_command_ns()
        if name == "TableWalk" and command_ns is not None:
            text.append("N = 0 walks an empty table of 4096 buckets: 4096 refused commands, "
                        "%.1f ns per driver command." % command_ns)
    text.append("The static add walks the cache linearly by design, so the time per pair grows "
                "with N, and filling the cache for the largest N costs O(N^2).")
    return "\n\n".join(text) + "\n"


def listing_section():
    rows = [l.split() for l in read("listing.txt").splitlines() if l.strip()]
    if not rows:
        return "Listing did not run.\n"
    skip = read("bridge-skip")
    body = []
    base = float(rows[0][1])
    for size, plist, blist, padd, badd in rows:
        ratio = "x%.2f" % (float(plist) / float(blist)) if blist != "-" else "-"
        body.append([size, "%.3f s" % float(plist), "x%.1f" % (float(plist) / base),
                     "%.3f s" % float(blist) if blist != "-" else "-", ratio,
                     "%.1f us" % float(padd), badd if badd == "-" else "%.1f us" % float(badd)])
    text = table(["entries", "`psctl learned 1`", "vs first size", "`bridge fdb show`",
                  "psctl / bridge", "learn per frame (control channel)",
                  "`bridge -batch` fdb add per entry"], body)
    if skip:
        text += "\n\nLinux bridge skipped: %s\n" % skip
    return text + "\n"


def rpc_rounds(net):
    """Each round's rows by procedure: (calls/s, p50, p99, ratio, failed)."""
    rounds = []
    for name in sorted(f for f in os.listdir(out) if f.startswith("rpc-%s-" % net)):
        rows = {}
        for line in read(name).splitlines()[1:]:
            r = line.split()
            rows[int(r[1])] = [float(v) for v in r[2:6]] + [int(r[6])]
        if rows:
            rounds.append(rows)
    return rounds


def median(values):
    values = sorted(values)
    middle = len(values) // 2
    return values[middle] if len(values) % 2 else (values[middle - 1] + values[middle]) / 2


def rpc_section():
    text = []
    for net in ("udp", "tcp"):
        rounds = rpc_rounds(net)
        if not rounds:
            text.append("RPC rates on %s did not run." % net)
            continue
        body = []
        medians = {}
        for proc in sorted(rounds[0]):
            seen = [r[proc] for r in rounds if proc in r]
            calls, p50, p99, ratio = (median(v[i] for v in seen) for i in range(4))
            medians[proc] = ratio
            each = " ".join("%.3f" % v[3] for v in seen)
            body.append([proc, "%.0f" % calls, "%.1f" % p50, "%.1f" % p99, "%.3f" % ratio, each,
                         sum(v[4] for v in seen)])
        worst = min(r for p, r in medians.items() if p != 0)
        threads = read("rpc-threads", "?")
        clients = "1 client thread" if threads == "1" else "%s client threads" % threads
        text.append("**%s**, %s, %d rounds (worst median ratio %.3f)\n\n" %
                    (net.upper(), clients, len(rounds), worst) +
                    table(["procedure", "calls/s", "p50 us", "p99 us", "ratio to null (median)",
                           "ratio in each round", "failed"], body))
    return "\n\n".join(text) + "\n" + walk_cost()


def walk_cost():
    """The walk's driver commands against a null call, from this run's figures."""
    command_ns = driver_command_ns()
    rounds = rpc_rounds("udp")
    if command_ns is None or not rounds:
        return ""
    command_us = command_ns / 1e3
    null_us = median(r[0][1] for r in rounds if 0 in r)
    return ("\nThe walk procedures 9 and 13 each send 257 driver commands: at the "
            "in-process cost of a command (`TableWalk/0`, %.1f ns) about %.1f us a call, "
            "against a null round trip of %.1f us (UDP p50). The two figures were taken "
            "minutes apart, and the machine's speed drifts by up to 2x, so they give the "
            "order of the cost, not a bound.\n" % (command_us * 1e3, 257 * command_us, null_us))


def walk_section():
    rows = [l.split() for l in read("walk-sweep.txt").splitlines() if l.strip()]
    if not rows:
        return "The bucket sweep did not run.\n"
    ratios = {}
    for buckets, proc, _, ratio in rows:
        ratios.setdefault(int(buckets), {})[proc] = ratio
    body = [[b, b + 1, ratios[b].get("9", "-"), ratios[b].get("13", "-")] for b in sorted(ratios)]
    return table(["driver buckets", "driver commands per walk (empty table)",
                  "procedure 9 ratio to null", "procedure 13 ratio to null"], body) + "\n"


def memory_section():
    rows = [l.split() for l in read("memory.txt").splitlines() if l.strip()]
    if not rows:
        return "Memory run did not run.\n"
    base = float(rows[0][1])
    body = [[r[0], "%s kB" % r[1], "x%.2f" % (float(r[1]) / base)] for r in rows]
    return table(["driver commands", "pshost RSS", "vs first"], body) + "\n"


model, cpus, kernel = machine()
print("# Benchmark results\n")
print("Written by `bench/run.sh`; every figure below comes from the one run.")
print("The eBPF data plane against the Linux bridge (frames forwarded, fresh MACs admitted, listing) is measured apart, by `bench/dataplane.sh`: see [DATAPLANE.md](DATAPLANE.md).\n")
print("- Date: %s" % read("date"))
print("- Machine: %s, %s CPUs (`nproc`), Linux %s" % (model, cpus, kernel))
print("- Code: commit %s" % read("commit", "unknown"))
print("- Load before: `%s`" % read("load-before"))
print("- Load after: `%s`" % read("load-after"))
print("- The machine is shared: absolute figures move with its load, so every figure")
print("  that matters is a ratio to a reference measured side by side in the same run.\n")
print("## Listing and adding at growing table sizes\n")
print("pshost on a generated node (16 GPON interfaces x 128 virtual ports, 4094 VLANs,")
print("65536 driver buckets), entries learned through the control channel on driver port 1")
print("and listed with `psctl learned 1` (TCP). The Linux bridge holds the same entries,")
print("added with `bridge -batch` in a private network namespace.\n")
print(listing_section())
print("![listing and add time against table size](plot.png)\n")
print("## Module operations (Google Benchmark, in process)\n")
print(micro_section())
print("## RPC procedures against the null procedure\n")
print("`ps_rpc_load` on the default node (256 driver buckets, so procedures 9 and 13 walk")
print("257 driver commands each). The client threads keep their handles and switch between")
print("the procedure and the null procedure every 50 ms. A round's ratio is the median, over")
print("the pairs of slices, of the procedure's rate against the null rate of the slice before")
print("it. The rounds of the two transports take turns across the run, since the speed of a")
print("shared machine drifts over minutes. Each figure is the median over the rounds; the")
print("column before the last gives every round's ratio.\n")
print(rpc_section())
print("## Walk procedures against the driver's bucket count (UDP)\n")
print("The default node with only its bucket count changed, one round. A walk sends one driver command")
print("per bucket and entry, so the rate of procedures 9 and 13 falls with the buckets;")
print("the rest of the program does not depend on them.\n")
print(walk_section())
print("## pshost memory over a long run\n")
print("Procedure 3 (one driver command per call) repeated in bursts sized to stop near")
print("10k, 100k and 1M driver commands; RSS from `/proc/PID/status`, the first row right")
print("after start. The driver command log keeps its default 4096 commands and takes")
print("their memory at start.\n")
print(memory_section())
