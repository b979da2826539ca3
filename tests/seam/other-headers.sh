#!/usr/bin/env bash
# Builds the module from this source tree against a copy of host/ put
# somewhere else, as an integrator builds it against the host's own headers:
# host/ must not be on the include path, and the module must import and
# export what the contract lists. Usage: other-headers.sh SOURCE_DIR NM
set -euo pipefail
source_dir=$1
nm=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp -r "$source_dir/host" "$work/headers"
cmake -S "$source_dir" -B "$work/build" -G Ninja -DPS_HOST_INCLUDE_DIR="$work/headers" >/dev/null
if grep -q -- "-I$source_dir/host " "$work/build/build.ninja"; then
  echo "other-headers.sh: host/ is still on the module's include path" >&2
  exit 1
fi
cmake --build "$work/build" --target portsecurity >/dev/null
python3 "$source_dir/tests/seam/check-symbols.py" "$nm" "$work/build/libportsecurity.so" \
  "$source_dir/docs/host-contracts.md"
