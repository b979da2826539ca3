#!/usr/bin/env bash
# Plain `cpack -G DEB` in a build folder, whatever its prefix: packages for
# /usr, each with its own synopsis and a clean long text, Depends that name
# what the binaries link (as dpkg-shlibdeps computes it for the target) and
# what reaching the port mapper needs; the data plane's BPF object shipped
# unchanged; lintian-clean where lintian is installed.
# Usage: package-test.sh BUILD_DIR
set -uo pipefail
build=$1
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

command -v dpkg-deb >/dev/null || { echo "dpkg-deb is missing: skipped"; exit 77; }
wrapper=
[ "$(id -u)" -ne 0 ] && command -v fakeroot >/dev/null && wrapper=fakeroot
rm -rf "$build/packages"
if ! out=$(cd "$build" && $wrapper cpack -G DEB 2>&1); then
  echo "$out"
  echo "FAIL: cpack"
  exit 1
fi

arch=$(sed -n 's/^set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE "\(.*\)")$/\1/p' "$build/CPackConfig.cmake")
project_summary=$(sed -n 's/^set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "\(.*\)")$/\1/p' \
  "$build/CPackConfig.cmake")
synopses=()
for package in portsecurity-module portsecurity-tools; do
  deb=$build/packages/${package}_*_$arch.deb
  # shellcheck disable=SC2086
  [ -f $deb ] || { fail "$package: no $arch package"; continue; }
  files=$(dpkg-deb -c $deb | awk '{print $6}')
  outside=$(grep -v '^\./usr/' <<<"$files" | grep -vx '\./' | grep -vx '\./usr/')
  [ -z "$outside" ] || fail "$package: outside /usr: $outside"
  grep -q '^\./usr/local' <<<"$files" && fail "$package: installs under /usr/local"

  description=$(dpkg-deb -f $deb Description)
  synopsis=$(head -1 <<<"$description")
  [ "$synopsis" != "$project_summary" ] || fail "$package: the project's summary as synopsis"
  synopses+=("$synopsis")
  long=$(tail -n +2 <<<"$description")
  [ -n "$long" ] || fail "$package: no long description"
  # dpkg-deb -f gives the continuation lines with their one leading space.
  grep -q '^  ' <<<"$long" && fail "$package: long description indented: $(grep -m1 '^  ' <<<"$long")"

  depends=$(dpkg-deb -f $deb Depends)
  grep -q 'libtirpc3' <<<"$depends" || fail "$package: Depends lacks libtirpc3: $depends"
  grep -q 'libboost-system' <<<"$depends" && fail "$package: Depends names libboost-system, which nothing links"
  grep -Eq '\(>= [^)]*\+deb' <<<"$depends" && fail "$package: Depends pins a Debian revision: $depends"
done
[ "${synopses[0]:-}" != "${synopses[1]:-}" ] || fail "both packages have the synopsis '${synopses[0]:-}'"
# shellcheck disable=SC2086
tools_deb=$(ls $build/packages/portsecurity-tools_*_$arch.deb)
# shellcheck disable=SC2086
module_deb=$(ls $build/packages/portsecurity-module_*_$arch.deb)
tools_depends=$(dpkg-deb -f "$tools_deb" Depends)
grep -q 'rpcbind' <<<"$tools_depends" && grep -q 'netbase' <<<"$tools_depends" ||
  fail "portsecurity-tools: Depends lacks rpcbind or netbase: $tools_depends"
# libsimhost links libbpf for the data plane; the module, loaded on the
# element, must not need it.
grep -q 'libbpf1' <<<"$tools_depends" || fail "portsecurity-tools: Depends lacks libbpf1: $tools_depends"
grep -q 'libbpf' <<<"$(dpkg-deb -f "$module_deb" Depends)" &&
  fail "portsecurity-module: Depends names libbpf: $(dpkg-deb -f "$module_deb" Depends)"
# The data plane's object ships as built: a strip for the package's
# architecture would take its BTF, which describes the maps.
object=./usr/share/portsecurity/portsecurity.bpf.o
if ! dpkg-deb --fsys-tarfile "$tools_deb" | tar -xOf - "$object" >"$build/packaged.bpf.o" 2>/dev/null; then
  fail "portsecurity-tools: no $object"
elif ! cmp -s "$build/packaged.bpf.o" "$build/portsecurity.bpf.o"; then
  fail "portsecurity-tools: $object differs from the one built"
fi
rm -f "$build/packaged.bpf.o"
# Each copyright file speaks of its own package's files only.
copyright() { dpkg-deb --fsys-tarfile "$1" | tar -xOf - "./usr/share/doc/$2/copyright"; }
copyright "$module_deb" portsecurity-module | grep -q 'usr/bin' &&
  fail "portsecurity-module: copyright names files of the tools package"
copyright "$tools_deb" portsecurity-tools | grep -q 'Files: usr/bin/pshost' ||
  fail "portsecurity-tools: copyright lacks the stanza for pshost and psctl"
grep -q 'bash-completion' <<<"$(dpkg-deb -f "$tools_deb" Recommends)" ||
  fail "portsecurity-tools: the completion's helpers are neither recommended nor needed"

if command -v lintian >/dev/null; then
  report=$(lintian --fail-on error,warning "$build"/packages/*.deb 2>/dev/null) ||
    fail "lintian: $report"
else
  echo "lintian checks skipped: lintian is not installed"
fi

[ $failures -eq 0 ] && echo "package test: all checks passed"
exit $((failures > 0))
