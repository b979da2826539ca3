#!/usr/bin/env python3
"""Writes the seed corpora under fuzz/corpus/: small valid inputs of every
kind for each target. Run from anywhere; rewrites the seeds it owns."""
import os
import struct

HERE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "fuzz")
PROGRAM, VERSION = 0x2000000D, 1


def u32(*values):
    return b"".join(struct.pack(">I", v & 0xFFFFFFFF) for v in values)


def mac_entry(last, vlan):
    return u32(0x02, 0, 0, 0, 0x10, last) + u32(vlan)


def interface_settings(name, vlans):
    text = name.encode().ljust(16, b"\0")
    body = u32(*text) + u32(1, 1, 300, 20) + u32(len(vlans))
    return body + b"".join(u32(v, l) for v, l in vlans)


# The protocol's XDR routines, in the fuzzer's order, each with a valid record.
XDR_RECORDS = [
    ("interface-name", u32(*b"gem1.1".ljust(16, b"\0"))),
    ("result", u32(7)),
    ("ifc-type", u32(5)),
    ("pon-tech", u32(3)),
    ("board-type", u32(2)),
    ("mac-entry", mac_entry(1, 100)),
    ("vlan-settings", u32(100, 2)),
    ("intf-settings", interface_settings("ge1", [(100, 2), (200, 64)])),
    ("result-state", u32(1, 0)),
    ("result-intf-settings", interface_settings("ge1", [(100, 2)]) + u32(0)),
    ("result-intf-settings-list",
     u32(2) + interface_settings("ge1", []) + interface_settings("xe1", [(10, 1)]) + u32(0)),
    ("result-mac-entry", mac_entry(3, 100) + u32(0)),
    ("result-mac-entry-list", u32(2) + mac_entry(1, 100) + mac_entry(2, 200) + u32(0)),
    ("set-interface-state", u32(2, 1)),
    ("set-limit-dynamic", u32(2, 3)),
    ("set-limit-static", u32(2, 20)),
    ("add-static", u32(2) + mac_entry(1, 100)),
    ("del-static", u32(2) + mac_entry(1, 100)),
    ("add-vlan-limit", u32(2, 100, 2)),
    ("del-vlan-limit", u32(2, 100)),
    ("add-static-vport", u32(10) + mac_entry(1, 300) + u32(1)),
    ("del-static-vport", u32(10) + mac_entry(1, 300) + u32(1)),
]


def call(xid, procedure, arguments=b"", program=PROGRAM, version=VERSION):
    # CALL, RPC version 2, no credentials, no verifier.
    return u32(xid, 0, 2, program, version, procedure, 0, 0, 0, 0) + arguments


DISPATCH_CALLS = [
    ("null", call(1, 0)),
    ("set-state", call(2, 1, u32(1))),
    ("set-interface-state", call(3, 2, u32(2, 1))),
    ("set-limit-dynamic", call(4, 3, u32(2, 3))),
    ("set-default-limit-dynamic", call(5, 4, u32(2))),
    ("set-limit-static", call(6, 5, u32(2, 5))),
    ("set-default-limit-static", call(7, 6, u32(2))),
    ("add-static", call(8, 7, u32(2) + mac_entry(1, 100))),
    ("del-static", call(9, 8, u32(1) + mac_entry(1, 10))),
    ("move-dynamic", call(10, 9, u32(2))),
    ("get-state", call(11, 10)),
    ("get-interface-settings", call(12, 11, u32(2))),
    ("get-interface-settings-all", call(13, 12)),
    ("get-macs-dynamic", call(14, 13, u32(1))),
    ("get-macs-static", call(15, 14, u32(1))),
    ("get-last-violation", call(16, 15, u32(2))),
    ("add-vlan-limit", call(17, 16, u32(2, 100, 2))),
    ("del-vlan-limit", call(18, 17, u32(2, 100))),
    ("add-static-vport", call(19, 18, u32(10) + mac_entry(1, 300) + u32(1))),
    ("del-static-vport", call(20, 819, u32(10) + mac_entry(1, 300) + u32(1))),
    ("unknown-procedure", call(21, 19)),
    ("wrong-version", call(22, 1, u32(1), version=2)),
    ("short-arguments", call(23, 7, u32(2, 0x02))),
]

CONTROL_SCRIPTS = [
    ("vlans", "vlan add 300\nvlan del 100\nvlans\n"),
    ("gem", "gem 102 10 2 2\ngem 101 10 1 1\ngem 112 11 2 0\ninterfaces\n"),
    ("learn", "learn 1 02:aa:00:00:00:01 100\nlearn 1 02-aa-00-00-00-02 200\n"
              "learn 1 02aa.0000.0003 100\ndriver table\n"),
    ("profile", "profile on\nuplink 5 on\nuplink 2 off\nprofile off\n"),
    ("message", "message portSecurity macEntries\n"),
    ("driver", "driver fail 0x40047a2c 2\ndriver openfail\ndriver log\ndriver log clear\n"
               "driver handles\n"),
    ("lock-log", "lock fail 3\nvlan add 400\nlog\nlog clear\nhelp\n"),
]


def write(target, name, data):
    directory = os.path.join(HERE, "corpus", target)
    os.makedirs(directory, exist_ok=True)
    with open(os.path.join(directory, name), "wb") as f:
        f.write(data)


def main():
    for index, (name, record) in enumerate(XDR_RECORDS):
        write("xdr", "%02d-%s" % (index, name), bytes([index]) + record)
    for name, message in DISPATCH_CALLS:
        write("dispatch", name, message)
    for name, text in CONTROL_SCRIPTS:
        write("control", name, text.encode())
    with open(os.path.join(HERE, "..", "examples", "olt.json"), "rb") as f:
        write("nodefile", "olt.json", f.read())
    write("nodefile", "small.json", b'{"bridge": "br1", "management": {"interface": 1, '
          b'"mac": "02:00:00:00:00:01", "vlan": 10}, "interfaces": [{"id": 1, "name": "m", '
          b'"type": 2}, {"id": 4, "name": "p", "type": 4}, {"id": 9, "name": "g", "type": 5, '
          b'"active": false, "uplink": true}], "gem": [{"interface": 4, "vport": 1, "gem": 9}], '
          b'"vlans": [10, 4094], "profileMode": true, "driver": {"buckets": 1}}')


if __name__ == "__main__":
    main()
