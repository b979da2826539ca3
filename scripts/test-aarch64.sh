#!/usr/bin/env bash
# Cross-builds the module, pshost, psctl and the whole suite for AArch64 into
# build-aarch64/ and runs every test under qemu-user, the RPC tests talking to
# this machine's rpcbind. Arguments go to ctest (for instance -R to pick tests).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/install-cross-deps.sh

for tool in aarch64-linux-gnu-g++ qemu-aarch64; do
  command -v "$tool" >/dev/null || { echo "test-aarch64.sh: $tool not found; run scripts/install-cross-deps.sh" >&2; exit 1; }
done

build_dir=build-aarch64
BUILD_DIR=$build_dir scripts/build.sh -DCMAKE_TOOLCHAIN_FILE=cmake/aarch64-linux-gnu.cmake -DPS_WERROR=ON
readelf -h "$build_dir/libportsecurity.so" | grep -q AArch64 ||
  { echo "test-aarch64.sh: $build_dir/libportsecurity.so is not an AArch64 object" >&2; exit 1; }
ctest --test-dir "$build_dir" --output-on-failure -j2 --timeout 300 "$@"
