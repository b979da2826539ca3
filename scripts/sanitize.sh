#!/usr/bin/env bash
# Builds the project with the address + undefined-behaviour sanitizers and
# with the thread sanitizer, each in its own build folder, and runs the
# whole suite under each. Usage: scripts/sanitize.sh [address|thread]...
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh

kinds=("$@")
[ ${#kinds[@]} -eq 0 ] && kinds=(address thread)

for kind in "${kinds[@]}"; do
  case "$kind" in
    address) flags="address,undefined" ;;
    thread) flags="thread" ;;
    *) echo "sanitize.sh: unknown kind '$kind' (address or thread)" >&2; exit 2 ;;
  esac
  dir="build-$kind"
  echo "== $flags ($dir)"
  BUILD_DIR="$dir" scripts/build.sh -DCMAKE_BUILD_TYPE=Debug -DPS_SANITIZE="$flags"
  ASAN_OPTIONS=detect_leaks=1 \
  LSAN_OPTIONS="suppressions=$PWD/tests/sanitizers/lsan.supp:print_suppressions=0" \
  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  TSAN_OPTIONS=halt_on_error=1 \
    ctest --test-dir "$dir" --output-on-failure -j2
done
