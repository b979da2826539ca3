#!/usr/bin/env bash
# The packet-analyser dissector against a stored psctl session (made by
# tests/tools/make-dissector-capture.sh): every procedure is named on TCP, arguments and results are
# decoded to the values psctl sent and got, refused calls say why, values the
# server reads differently and trailing bytes are flagged, replies are matched
# within their conversation, a port-mapper GETPORT lookup does not hide the
# program, ports that belong to other protocols do not either, and cut-off
# records are flagged, not fatal. Exit 77 (skipped) where
# tshark is not installed.
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
script=$here/../../tools/wireshark/portsecurity.lua
capture=$here/psctl-session.pcapng

if ! command -v tshark >/dev/null; then
  echo "dissector test skipped: tshark is not installed (apt-get install tshark)"
  exit 77
fi

failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
# expect WHAT NEEDLE HAYSTACK: HAYSTACK has NEEDLE as a whole line.
expect() { grep -qxF -- "$2" <<<"$3" || fail "$1: no line '$2'"; }

tshark() { command tshark -n -X lua_script:"$script" "$@" 2>&1 | grep -v '^Running as user'; }

# One line a message: transport, call or reply, procedure, then its fields.
fields=$(tshark -r "$capture" -Y portsecurity -T fields -E separator='|' -E occurrence=a \
           -E aggregator=, -e ip.proto -e portsecurity.kind -e portsecurity.procedure \
           -e portsecurity.interface -e portsecurity.state -e portsecurity.limit \
           -e portsecurity.vlan -e portsecurity.mac -e portsecurity.vport -e portsecurity.name \
           -e portsecurity.result)

# The whole capture, every tree and tshark's own messages: the script raises
# no error and no record of it is cut short.
tree=$(tshark -r "$capture" -V)
grep -q "Lua Error:" <<<"$tree" && fail "the script raised an error: $(grep -m1 'Lua Error:' <<<"$tree")"
grep -q "ends early" <<<"$tree" && fail "a record of the whole capture ends early"

# Every procedure named, in calls and in replies, over TCP (6).
names=$(tshark -r "$capture" -Y "portsecurity && tcp" -T fields -e _ws.col.Info)
for proc in NULL SET_STATE SET_INTERFACE_STATE SET_MAC_LIMIT_DYNAMIC \
    SET_MAC_DEFAULT_LIMIT_DYNAMIC SET_MAC_LIMIT_STATIC SET_MAC_DEFAULT_LIMIT_STATIC \
    ADD_MAC_STATIC DEL_MAC_STATIC MOVE_DYNAMIC GET_STATE GET_INTERFACE_SETTINGS \
    GET_INTERFACE_SETTINGS_ALL GET_MACS_DYNAMIC GET_MACS_STATIC GET_LAST_VIOLATION \
    ADD_VLAN_MAC_LIMIT_DYNAMIC DEL_VLAN_MAC_LIMIT_DYNAMIC ADD_MAC_STATIC_VIRTUAL_PORT \
    DEL_MAC_STATIC_VIRTUAL_PORT; do
  expect "TCP names" "Call $proc" "$names"
  expect "TCP names" "Reply $proc" "$names"
done

# Arguments: on/off, interface, limits, VLANs as numbers, MACs as addresses.
expect args "6|call|2|2|1||||||" "$fields"
expect args "6|call|3|2||3|||||" "$fields"
expect args "6|call|16|2||2|100||||" "$fields"
expect args "6|call|7|2|||100|02:00:00:00:aa:01|||" "$fields"
expect args "6|call|18|4|||100|02:00:00:00:bb:01|1||" "$fields"
# Results: the state, a 15-character wire name with its per-VLAN limit, the
# list of all interfaces, the learned MACs, the last violation.
expect results "6|reply|10||1||||||0" "$fields"
expect results "6|reply|11||1|2|100|||ethernet-port-0|0" "$fields"
expect results "6|reply|12||0,1,0|||||mng,ethernet-port-0,gem5|0" "$fields"
expect results "6|reply|13||||100,100|02:aa:00:00:00:01,02:aa:00:00:00:02|||0" "$fields"
expect results "6|reply|15||||100|02:aa:00:00:00:03|||0" "$fields"
# The same program over UDP (17), and a refusal's code as words.
expect udp "17|reply|15||||100|02:aa:00:00:00:03|||0" "$fields"
info=$(tshark -r "$capture" -Y "portsecurity && udp" -O portsecurity)
grep -q "Result: out of range (7)" <<<"$info" || fail "udp: no 'Result: out of range (7)'"

# Calls the server would not carry out, and why.
info=$(tshark -r "$capture" -Y portsecurity -T fields -e _ws.col.Info)
expect refused "Reply procedure 99 (procedure unavailable)" "$info"
expect refused "Reply GET_STATE (program version mismatch, 1 to 1 supported)" "$info"
grep -qx "Reply NULL (denied: authentication error: [a-z ]*)" <<<"$info" ||
  fail "refused: no denied reply with its reason"
grep -q "Continuation" <<<"$(tshark -r "$capture" -T fields -e _ws.col.Info)" &&
  fail "after the GETPORT lookup, datagrams show as continuations"
# What the server reads, flagged where the wire says otherwise.
expect range "17|call|16|2||2|100||||" "$fields"
expect range "17|call|2|2|1||||||" "$fields"
for note in "65636 is out of range for an unsigned short: the server reads 100" \
    "2 is out of range for a bool: the server reads 1" \
    "258 is out of range for a char: the server reads 2" "8 bytes after the record"; do
  grep -qF "[Expert Info (Warning/" <<<"$(grep -F "$note" <<<"$tree")" || fail "not flagged: $note"
done
# Two clients, one transaction id, two procedures, both calls before the
# replies: each reply decoded as its own call's, in one pass and in two.
for passes in "" -2; do
  # shellcheck disable=SC2086
  same=$(tshark $passes -r "$capture" -T fields -e portsecurity.xid -e _ws.col.Info |
    sed -n 's/^0x00000077\t//p' | paste -sd'|')
  [ "$same" = "Call GET_STATE|Call GET_LAST_VIOLATION|Reply GET_STATE|Reply GET_LAST_VIOLATION" ] ||
    fail "replies with one xid ${passes:+(two passes) }: $same"
done

# The server's port belongs to another protocol and a TCP client calls from a
# reserved port another one owns: every message to or from the ports the port
# mapper named is still decoded, in one pass and in two.
ports=$(tshark -r "$capture" -Y "rpc.msgtyp == 1 && (portmap.uaddr || portmap.port)" -T fields \
          -e portmap.uaddr -e portmap.port |
        awk -F'\t' '{ n = split($1, a, "."); print (n > 1 ? a[n - 1] * 256 + a[n] : $2) }' |
        sort -u | paste -sd,)
data="((tcp.port in {$ports} && tcp.len > 0) || udp.port in {$ports})"
command tshark -n -r "$capture" -Y "$data" -T fields -e frame.protocols 2>/dev/null |
  grep -v ':data$' | grep -q ':tcp:' || fail "without the script, no message shows as another protocol"
for passes in "" -2; do
  # shellcheck disable=SC2086
  lost=$(tshark $passes -r "$capture" -T fields -e frame.number -e frame.protocols \
           -Y "$data && !(frame.protocols matches \":portsecurity$\")")
  [ -z "$lost" ] || fail "messages not decoded ${passes:+(two passes)}: $(head -3 <<<"$lost")"
done

# Datagrams cut off by a short snapshot (TCP passes no cut-off segment on):
# marked malformed, and the messages after them still read.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
editcap -s 120 "$capture" "$work/short.pcapng" >/dev/null
short=$(tshark -r "$work/short.pcapng" -Y "portsecurity && udp" -O portsecurity)
grep -q "Lua Error:" <<<"$short" && fail "short records raised an error"
grep -q "Record ends early" <<<"$short" || fail "short records are not flagged"
grep -q "Port-security, reply ADD_VLAN_MAC_LIMIT_DYNAMIC" <<<"$short" ||
  fail "short records: the messages after them are not read"

# Without the port mapper's answers, another protocol's port takes a first
# datagram; the replies in its conversation are still the program's alone.
tshark -r "$capture" -Y "!(udp.port == 111 || tcp.port == 111)" -w "$work/unnamed.pcapng"
unnamed=$(tshark -r "$work/unnamed.pcapng" -Y 'udp && portsecurity.kind == "reply"' -T fields \
            -e frame.protocols | sort -u)
[ "$unnamed" = "eth:ethertype:ip:udp:portsecurity" ] ||
  fail "without the lookups, replies shown as: $(paste -sd' ' <<<"$unnamed")"

[ $failures -eq 0 ] && echo "dissector test: all checks passed"
exit $((failures > 0))
