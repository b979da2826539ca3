#!/usr/bin/env python3
"""Calls that no well-behaved client makes, for the stored capture: a port-mapper
GETPORT lookup over UDP, then calls over UDP that the server refuses (another
procedure or program version, an unknown credential), values out
of their types' range, trailing bytes, and two clients that use the same
transaction id for different procedures; a GETADDR (version 3) lookup over TCP,
then calls over TCP from a chosen reserved port.
Usage: dissector-raw-calls.py PSHOST_PID, or dissector-raw-calls.py --tcp-from CLIENT_PORT"""
import os
import signal
import socket
import struct
import sys
import time

PROGRAM, VERSION = 0x2000000D, 1
NO_AUTH = struct.pack(">IIII", 0, 0, 0, 0)


def call(xid, procedure, body=b"", program=PROGRAM, version=VERSION, rpc=2, auth=NO_AUTH):
    return struct.pack(">IIIIII", xid, 0, rpc, program, version, procedure) + auth + body


def words(*values):
    return struct.pack(">" + "I" * len(values), *values)


def exchange(sock, address, message):
    sock.sendto(message, address)
    return sock.recvfrom(65536)[0]


def xdr_string(text):
    data = text.encode()
    return struct.pack(">I", len(data)) + data + b"\0" * (-len(data) % 4)


def record_exchange(sock, message):
    sock.sendall(struct.pack(">I", 0x80000000 | len(message)) + message)
    length = struct.unpack(">I", sock.recv(4, socket.MSG_WAITALL))[0] & 0x7FFFFFFF
    return sock.recv(length, socket.MSG_WAITALL)


def tcp_calls(client_port):
    with socket.create_connection(("127.0.0.1", 111), timeout=5) as mapper:
        lookup = call(0x61, 3, words(PROGRAM, VERSION) + xdr_string("tcp") + xdr_string("") +
                      xdr_string(""), program=100000, version=3)
        reply = record_exchange(mapper, lookup)
    address = reply[28:28 + struct.unpack(">I", reply[24:28])[0]].decode()
    high, low = address.split(".")[-2:]
    with socket.socket(socket.AF_INET, socket.SOCK_STREAM) as sock:
        sock.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        sock.settimeout(5)
        sock.bind(("127.0.0.1", client_port))
        sock.connect(("127.0.0.1", int(high) * 256 + int(low)))
        record_exchange(sock, call(0x62, 0))
        record_exchange(sock, call(0x63, 10))


def main(server_pid):
    first = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    second = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    for sock in (first, second):
        sock.settimeout(5)
    lookup = call(0x51, 3, words(PROGRAM, VERSION, socket.IPPROTO_UDP, 0), program=100000,
                  version=2)
    port = struct.unpack(">I", exchange(first, ("127.0.0.1", 111), lookup)[-4:])[0]
    server = ("127.0.0.1", port)

    exchange(first, server, call(0x52, 0))
    exchange(first, server, call(0x53, 99))  # procedure unavailable
    exchange(first, server, call(0x54, 10, version=2))  # program version mismatch
    unknown_credential = struct.pack(">IIII", 3, 0, 0, 0)
    exchange(first, server, call(0x56, 0, auth=unknown_credential))  # denied: authentication
    exchange(first, server, call(0x57, 2, words(2, 2)))  # bool 2, read as true
    exchange(first, server, call(0x58, 16, words(2, 0x10064, 2)))  # VLAN 0x10064, read as 100
    mac = words(0x102, 0, 0, 0, 0xAA, 0x09)  # first octet 0x102, read as 0x02
    exchange(first, server, call(0x59, 8, words(2) + mac + words(100)))
    exchange(first, server, call(0x5A, 10, words(0xDEAD, 0xBEEF)))  # trailing bytes
    # The same transaction id from two clients, for two procedures: both
    # calls reach the wire before the first reply (the server is held).
    os.kill(server_pid, signal.SIGSTOP)
    time.sleep(0.2)
    first.sendto(call(0x77, 10), server)
    second.sendto(call(0x77, 15, words(2)), server)
    os.kill(server_pid, signal.SIGCONT)
    first.recvfrom(65536)
    second.recvfrom(65536)


if __name__ == "__main__":
    if sys.argv[1] == "--tcp-from":
        tcp_calls(int(sys.argv[2]))
    else:
        main(int(sys.argv[1]))
