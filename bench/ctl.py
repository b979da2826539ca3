#!/usr/bin/env python3
"""Sends control-channel commands, one a line from standard input, over one
connection to a running pshost, and waits for every reply. Prints the count
of `ok` and `error` replies; the output of commands goes to --out if given.

  bench/ctl.py /tmp/x.ctl < commands.txt
"""
import argparse
import socket
import sys


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("socket")
    parser.add_argument("--out")
    args = parser.parse_args()
    commands = sys.stdin.buffer.read().splitlines()
    conn = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    conn.connect(args.socket)
    ok = errors = 0
    pending = b""
    output = []
    # A batch at a time: pshost answers every line, and a client that does not
    # read its answers would fill the socket both ways.
    for start in range(0, len(commands), 256):
        batch = commands[start:start + 256]
        conn.sendall(b"".join(c + b"\n" for c in batch))
        while ok + errors < start + len(batch):
            data = conn.recv(1 << 16)
            if not data:
                break
            pending += data
            *lines, pending = pending.split(b"\n")
            for line in lines:
                if line == b"ok":
                    ok += 1
                elif line.startswith(b"error:"):
                    errors += 1
                    output.append(line)
                else:
                    output.append(line)
        if ok + errors < start + len(batch):
            break
    conn.close()
    if args.out:
        with open(args.out, "wb") as out:
            out.write(b"\n".join(output) + b"\n")
    print("ok %d error %d" % (ok, errors))
    return 0 if errors == 0 and ok == len(commands) else 1


if __name__ == "__main__":
    sys.exit(main())
