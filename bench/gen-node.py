#!/usr/bin/env python3
"""Writes a node file for a large optical line terminal: a management port,
Ethernet ports, an uplink, GPON interfaces with their GEM virtual ports, a
range of VLANs and a driver table sized for many entries.

  bench/gen-node.py --gpon 16 --vports 128 --vlans 4094 --buckets 65536 > big.json
"""
import argparse
import json
import sys


def build(args):
    interfaces = [{"id": 1, "name": "mgmt0", "type": 2}]
    for n in range(args.ethernet):
        interfaces.append({"id": 2 + n, "name": "ge%d" % (n + 1), "type": 1})
    interfaces.append({"id": 1000, "name": "xe1", "type": 1, "uplink": True})
    gem = []
    for g in range(args.gpon):
        gpon_id = 2000 + g
        interfaces.append({"id": gpon_id, "name": "gpon%d" % (g + 1), "type": 4})
        for v in range(args.vports):
            gem_id = 100000 + g * 1000 + v + 1
            interfaces.append({"id": gem_id, "name": "gem%d.%d" % (g + 1, v + 1), "type": 5})
            gem.append({"interface": gpon_id, "vport": v + 1, "gem": gem_id})
    driver = {"buckets": args.buckets}
    if args.entries:
        driver["entries"] = args.entries
    if args.log_capacity:
        driver["logCapacity"] = args.log_capacity
    return {
        "bridge": "br0",
        "management": {"interface": 1, "mac": "02:00:00:00:00:01", "vlan": 10},
        "interfaces": interfaces,
        "gem": gem,
        "vlans": list(range(1, args.vlans + 1)),
        "profileMode": False,
        "driver": driver,
    }


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--ethernet", type=int, default=8, help="Ethernet ports (ids 2..)")
    parser.add_argument("--gpon", type=int, default=16, help="GPON interfaces")
    parser.add_argument("--vports", type=int, default=128, help="virtual ports per GPON")
    parser.add_argument("--vlans", type=int, default=4094, help="VLANs 1..N on the bridge")
    parser.add_argument("--buckets", type=int, default=65536, help="driver hash buckets")
    parser.add_argument("--entries", type=int, default=0, help="driver table capacity")
    parser.add_argument("--log-capacity", type=int, default=0, help="driver command log size")
    json.dump(build(parser.parse_args()), sys.stdout, indent=1)
    sys.stdout.write("\n")


if __name__ == "__main__":
    main()
