#!/usr/bin/env bash
# Fuzzes every libFuzzer target (fuzz/CMakeLists.txt lists them) for a bounded
# time each, under the address and undefined-behaviour sanitizers with
# recovery off, starting from the committed seed corpus fuzz/corpus/<target>.
#
#   scripts/fuzz.sh [SECONDS]      fuzz each target SECONDS (default 60)
#   scripts/fuzz.sh --write-seeds  rewrite the seed corpora from the generators
#
# A finding (sanitizer report, violated property, crash, leak, timeout) is
# kept as fuzz/regressions/<target>/<kind>-<hash>, where the replay tests of
# every build run it from then on; the script then exits 1. Commit the file
# with the fix. Builds with clang in build/fuzz; new inputs libFuzzer finds
# stay in build/fuzz/work, outside the repository.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
"$root/scripts/bootstrap.sh"
cd "$root"

seconds=60
write_seeds=0
case "${1:-}" in
  --write-seeds) write_seeds=1 ;;
  '') ;;
  *[!0-9]* | 0)
    echo "usage: scripts/fuzz.sh [SECONDS] | --write-seeds" >&2
    exit 2
    ;;
  *) seconds=$1 ;;
esac

build=build/fuzz
launcher=()
if command -v ccache >/dev/null; then
  launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
CC=clang CXX=clang++ cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSFPDRV_FUZZ=ON \
  -DSFPDRV_BUILD_TESTS=OFF -DSFPDRV_BUILD_BENCH=OFF -DSFPDRV_BUILD_TOOLS=OFF "${launcher[@]}" \
  >/dev/null
mapfile -t targets < "$build/fuzz/targets.txt"
build_targets=()
for target in "${targets[@]}"; do
  build_targets+=("$target" "${target}_replay")
done
cmake --build "$build" -j2 --target "${build_targets[@]}" >/dev/null

if ((write_seeds)); then
  for target in "${targets[@]}"; do
    mkdir -p "fuzz/corpus/$target"
    rm -f "fuzz/corpus/$target"/seed-*
    "$build/fuzz/${target}_replay" --seeds "fuzz/corpus/$target"
  done
  exit 0
fi

export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:halt_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
failed=()
for target in "${targets[@]}"; do
  work="$build/work/$target"
  regressions="fuzz/regressions/$target"
  mkdir -p "$work" "$build/logs" "$regressions"
  log="$build/logs/$target.log"
  start=$SECONDS
  # -close_fd_mask=1: the library's line for each report that does not fit
  # its buffer is noise here. -timeout: one input taking longer is a hang.
  if "$build/fuzz/$target" -max_total_time="$seconds" -timeout=30 -close_fd_mask=1 \
    -print_final_stats=1 -artifact_prefix="$regressions/" "$work" "fuzz/corpus/$target" \
    >"$log" 2>&1; then
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
    cov=$(grep -o 'cov: [0-9]*' "$log" | tail -1 || true)
    echo "fuzz.sh: $target: no finding in $((SECONDS - start)) s, ${runs:-?} inputs, ${cov:-cov: ?}"
  else
    echo "fuzz.sh: $target: FINDING after $((SECONDS - start)) s; log $log:" >&2
    grep -E 'ERROR|SUMMARY|property violated|runtime error|Test unit written' "$log" | head -20 >&2
    failed+=("$target")
  fi
done

if ((${#failed[@]} != 0)); then
  echo "fuzz.sh: findings in ${failed[*]}; kept under fuzz/regressions/ (commit them with the fix)" >&2
  exit 1
fi
echo "fuzz.sh: ${#targets[@]} targets, ${seconds} s each, no finding"
