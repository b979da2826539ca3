#!/usr/bin/env bash
# Builds the libFuzzer targets in fuzz/ with clang into build-fuzz/ (or
# $BUILD_DIR) and runs each for SECONDS (default 60), starting from its seed
# corpus in fuzz/corpus/. Fails when a target finds anything; the input is
# kept in build-fuzz/findings/. Usage: scripts/fuzz.sh [SECONDS] [TARGET]...
# FUZZ_ARGS adds libFuzzer options, e.g. FUZZ_ARGS="-runs=1000000".
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
shift || true
targets=("$@")
[ ${#targets[@]} -eq 0 ] && targets=(xdr dispatch control nodefile)

scripts/install-deps.sh clang libclang-rt-dev
build_dir=${BUILD_DIR:-build-fuzz}
BUILD_DIR="$build_dir" scripts/build.sh -DPS_FUZZ=ON -DPS_BUILD_TESTS=OFF \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++

# The xdr target runs without suppressions: the library allocates the lists
# of a decoded record, so the file's entry for the library would hide a leaked
# record, and nothing the target allocates is kept on purpose.
options_for() {
  case "$1" in
    xdr) echo "LSAN_OPTIONS=" ;;
    *) echo "LSAN_OPTIONS=suppressions=$PWD/tests/sanitizers/lsan.supp" ;;
  esac
}

mkdir -p "$build_dir/findings"
failed=()
for target in "${targets[@]}"; do
  corpus="$build_dir/corpus/$target"
  mkdir -p "$corpus"
  dict=()
  [ -f "fuzz/$target.dict" ] && dict=("-dict=fuzz/$target.dict")
  echo "== fuzz_$target for ${seconds} s"
  # New inputs go to the build folder's corpus; the checked-in seeds stay as they are.
  if ! env $(options_for "$target") UBSAN_OPTIONS=print_stacktrace=1 \
    "$build_dir/fuzz/fuzz_$target" "$corpus" "fuzz/corpus/$target" "${dict[@]}" \
    -max_total_time="$seconds" -max_len=8192 -print_final_stats=1 \
    -artifact_prefix="$build_dir/findings/$target-" ${FUZZ_ARGS:-} \
    >"$build_dir/findings/$target.log" 2>&1; then
    failed+=("$target")
    tail -n 60 "$build_dir/findings/$target.log"
  fi
  grep -E '^#[0-9]+ +DONE|^Done|stat::number_of_executed_units' "$build_dir/findings/$target.log" || true
done

if [ ${#failed[@]} -gt 0 ]; then
  echo "fuzz.sh: findings in: ${failed[*]} (inputs in $build_dir/findings/)" >&2
  exit 1
fi
