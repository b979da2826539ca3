#!/usr/bin/env bash
# `cmake --install` into a temporary DESTDIR: the layout, installed tools that
# run from there (their RPATH and pshost's module path are relative to the
# install tree), man pages that read right, and psctl's bash completion.
# Starts pshost: hold the port mapper (ctest's resource lock does).
# Usage: install-test.sh BUILD_DIR
set -uo pipefail
build=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

if ! out=$(DESTDIR="$work/root" cmake --install "$build" 2>&1); then
  echo "$out"
  echo "FAIL: cmake --install"
  exit 1
fi
prefix=$(cmake -L -N "$build" 2>/dev/null | sed -n 's/^CMAKE_INSTALL_PREFIX:PATH=//p')
libdir=$(cmake -LA -N "$build" 2>/dev/null | sed -n 's/^CMAKE_INSTALL_LIBDIR:PATH=//p')
root=$work/root$prefix

for f in bin/psctl bin/pshost "$libdir/portsecurity/libportsecurity.so" \
    "$libdir/portsecurity/libsimhost.so" share/portsecurity/portsecurity.x \
    share/doc/portsecurity-tools/protocol.md share/doc/portsecurity-tools/examples/olt.json \
    share/man/man1/psctl.1.gz share/man/man1/pshost.1.gz \
    share/bash-completion/completions/psctl; do
  [ -f "$root/$f" ] || fail "not installed: $f"
done

# The installed tools run from the install tree, not from the build folder.
for tool in psctl pshost; do
  help=$("$root/bin/$tool" --help 2>&1) || fail "$tool --help: exit status $?"
  grep -q "^usage: $tool" <<<"$help" || fail "$tool --help: no usage line: $help"
  version=$("$root/bin/$tool" --version 2>&1)
  grep -Eq "^$tool [0-9]+\.[0-9]+\.[0-9]+ \(commit [0-9a-f]+|unknown\)$" <<<"$version" ||
    fail "$tool --version: '$version'"
done
# (Output is read whole before grep -q: with pipefail, a writer cut off by
# an early match would fail the check.)
libraries=$(ldd "$root/bin/pshost")
grep -qF "libsimhost.so => $root/" <<<"$libraries" ||
  fail "pshost does not find the installed libsimhost: $(grep simhost <<<"$libraries")"
# pshost loads the installed module by default and serves on the default node.
# Readiness is read on its own control socket: a port mapper may also know a
# server from another checkout. Under umask 000 the socket is still the
# owner's alone: the channel injects faults.
(umask 000 && exec "$root/bin/pshost" --control "$work/ctl") 2>"$work/pshost.err" &
host=$!
interfaces=
for _ in $(seq 50); do
  [ -S "$work/ctl" ] && interfaces=$("$root/bin/psctl" --control "$work/ctl" sim interfaces 2>&1) &&
    break
  sleep 0.1
done
if [ -z "$interfaces" ]; then
  kill $host 2>/dev/null
  echo "FAIL: installed pshost did not answer on its control socket within 5 s: $(cat "$work/pshost.err")"
  exit 1
fi
grep -q "gem2.2" <<<"$interfaces" || fail "installed pshost: no default node"
[ "$(stat -c %a "$work/ctl")" = 600 ] || fail "control socket mode under umask 000: $(stat -c %A "$work/ctl")"
kill $host
wait $host || fail "installed pshost: exit status $?"
grep -q "^pshost: loaded $root/bin/../$libdir/portsecurity/libportsecurity.so, version " \
  "$work/pshost.err" || fail "installed pshost: $(head -1 "$work/pshost.err")"

# With no port mapper (a network namespace of its own, loopback up), pshost
# names the likely cause in one line and keeps running.
if unshare --net true 2>/dev/null && command -v ip >/dev/null; then
  unshare --net sh -c 'ip link set lo up && exec "$1" --control "$2"' _ "$root/bin/pshost" \
    "$work/ctl2" 2>"$work/alone.err" &
  alone=$!
  for _ in $(seq 50); do grep -q "^pshost: running" "$work/alone.err" && break; sleep 0.1; done
  grep -q "^pshost: no port mapper answers on 127.0.0.1 port 111, .*: start rpcbind" "$work/alone.err" ||
    fail "pshost without a port mapper: $(cat "$work/alone.err")"
  kill -0 $alone 2>/dev/null || fail "pshost without a port mapper stopped"
  kill $alone 2>/dev/null
  wait $alone
else
  echo "no-port-mapper check skipped: cannot make a network namespace here"
fi

# The man pages render without warnings and show their commands.
for page in psctl pshost; do
  text=$(MANWIDTH=80 man --warnings -l "$root/share/man/man1/$page.1.gz" 2>"$work/warnings")
  [ -s "$work/warnings" ] && fail "man $page: $(head -1 "$work/warnings")"
  grep -q "^NAME" <<<"$text" && grep -q "^SYNOPSIS" <<<"$text" || fail "man $page: no NAME/SYNOPSIS"
done
grep -q "move-to-static" <<<"$(MANWIDTH=80 man -l "$root/share/man/man1/psctl.1.gz" 2>/dev/null)" ||
  fail "man psctl: commands missing"

# Completion: commands, then the words of a command.
if [ -f /usr/share/bash-completion/bash_completion ]; then
  complete_words() {
    bash -c 'source /usr/share/bash-completion/bash_completion
             source "$1"; shift
             COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); COMP_LINE="$*"; COMP_POINT=${#COMP_LINE}
             _psctl; echo "${COMPREPLY[*]}"' _ "$root/share/bash-completion/completions/psctl" "$@"
  }
  [ "$(complete_words psctl mov)" = "move-to-static" ] || fail "completion: 'psctl mov'"
  [ "$(complete_words psctl --json static "")" = "add del list" ] ||
    fail "completion: 'psctl --json static': '$(complete_words psctl --json static "")'"
  [ "$(complete_words psctl limit 2 "")" = "dynamic static" ] || fail "completion: 'psctl limit 2'"
  [ "$(complete_words psctl --u)" = "--udp" ] || fail "completion: 'psctl --u'"
  [ "$(complete_words psctl monitor 2 --i)" = "--interval" ] || fail "completion: 'psctl monitor 2 --i'"
else
  echo "completion checks skipped: bash-completion is not installed"
fi

# An install prefix that cannot be written: one line from cmake naming the path.
touch "$work/file"
if DESTDIR="$work/file/sub" cmake --install "$build" >/dev/null 2>"$work/err"; then
  fail "install into an unwritable place succeeded"
fi
# CMake wraps its error text; read it as one line.
message=$(tr -s '\n ' '  ' <"$work/err")
grep -qF "cannot write to the install prefix $work/file/sub$prefix: choose another" <<<"$message" ||
  fail "unwritable prefix: $message"

[ $failures -eq 0 ] && echo "install test: all checks passed"
exit $((failures > 0))
