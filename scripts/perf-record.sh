#!/usr/bin/env bash
# Writes the performance record docs/performance.md: runs the benchmarks
# (release build) with JSON output, measures the bus traffic of each
# exported operation into docs/access-counts.tsv, and renders both with
# bench/perf_record.py.
#
#   scripts/perf-record.sh           benchmarks, access counts, record
#   scripts/perf-record.sh --counts  the access-count table only
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
"$root/scripts/bootstrap.sh"
cd "$root"

counts_only=0
case "${1:-}" in
  --counts) counts_only=1 ;;
  '') ;;
  *)
    echo "usage: scripts/perf-record.sh [--counts]" >&2
    exit 2
    ;;
esac

build=build/release
launcher=()
if command -v ccache >/dev/null; then
  launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
cmake --preset default "${launcher[@]}" >/dev/null
cmake --build "$build" -j2 --target sfpdrv_access_counts $( ((counts_only)) || echo sfpdrv_bench sfpdrv_linux_bench) \
  >/dev/null

"$build/bench/sfpdrv_access_counts" --write docs/access-counts.tsv
echo "perf-record.sh: wrote docs/access-counts.tsv"
if ((counts_only)); then
  exit 0
fi

# Every benchmark runs five times; the record shows the median.
runs=(--benchmark_repetitions=5 --benchmark_report_aggregates_only=true
  --benchmark_out_format=json)
"$build/bench/sfpdrv_bench" "${runs[@]}" --benchmark_out="$build/bench/perf.json" >/dev/null
"$build/bench/sfpdrv_linux_bench" "${runs[@]}" --benchmark_out="$build/bench/perf_linux.json" \
  >/dev/null
python3 bench/perf_record.py docs/access-counts.tsv docs/performance.md \
  "$build/bench/perf.json" "$build/bench/perf_linux.json"
echo "perf-record.sh: wrote docs/performance.md"
