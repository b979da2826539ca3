#!/usr/bin/env bash
# Plain `cpack -G DEB` in a build folder, whatever its prefix: packages for
# /usr, each with its own synopsis and a clean long text, Depends that name
# what the binaries link (as dpkg-shlibdeps computes it for the target) and
# what reaching the port mapper needs; lintian-clean where lintian is
# installed. Usage: package-test.sh BUILD_DIR
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
tools_depends=$(dpkg-deb -f $build/packages/portsecurity-tools_*_$arch.deb Depends)
grep -q 'rpcbind' <<<"$tools_depends" && grep -q 'netbase' <<<"$tools_depends" ||
  fail "portsecurity-tools: Depends lacks rpcbind or netbase: $tools_depends"

if command -v lintian >/dev/null; then
  report=$(lintian --fail-on error,warning "$build"/packages/*.deb 2>/dev/null) ||
    fail "lintian: $report"
else
  echo "lintian checks skipped: lintian is not installed"
fi

[ $failures -eq 0 ] && echo "package test: all checks passed"
exit $((failures > 0))
