#!/usr/bin/env bash
# The whole test suite, from a fresh machine: dependencies, build with
# warnings as errors, then every test through ctest.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
BUILD_DIR=${BUILD_DIR:-build} scripts/build.sh -DPS_WERROR=ON
ctest --test-dir "${BUILD_DIR:-build}" --output-on-failure -j2
