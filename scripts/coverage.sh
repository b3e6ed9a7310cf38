#!/usr/bin/env bash
# Line and branch coverage of the library: builds the coverage preset (gcc
# --coverage, -O0, counters updated atomically since tests run threads;
# build/coverage), runs every test from zeroed counters and
# writes a gcovr report of the library and the backends:
#   build/coverage/coverage.txt         per-file summary
#   build/coverage/coverage/index.html  annotated sources
# Fails when the library is below 95 % of its lines or 85 % of its branches.
# What stays uncovered, and why, is listed in docs/coverage-exclusions.md;
# scripts/coverage-listed.py prints where the list and the report differ.
#
#   scripts/coverage.sh            build, test, report, gate
#   scripts/coverage.sh --report   report and gate on the counters as they are
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
"$root/scripts/bootstrap.sh"
cd "$root"

readonly line_bar=95 branch_bar=85
build=build/coverage

if [[ ${1:-} != --report ]]; then
  # No compiler cache: a cached object can carry the source paths of another
  # checkout, and gcovr would then not find the sources of its counters.
  cmake --preset coverage -DCMAKE_C_COMPILER_LAUNCHER= -DCMAKE_CXX_COMPILER_LAUNCHER= >/dev/null
  cmake --build --preset coverage >/dev/null
  find "$build" -name '*.gcda' -delete
  ctest --preset coverage
fi

# The library's folders are measured against the bar; the backends are
# reported beside them. Tests, sim, tools, fuzz and bench are the measuring
# instruments, not the measured.
filters=()
for dir in port xcvr control decode create qsa catalog common platform; do
  filters+=(--filter "$root/$dir/")
done
mkdir -p "$build/coverage"
common=(--root "$root" --object-directory "$build" -j 2
  --exclude-directories "$build/(tests|fuzz|tools|sim|bench)"
  --exclude-throw-branches --exclude-unreachable-branches)
gcovr "${common[@]}" "${filters[@]}" \
  --txt "$build/coverage.txt" --html-details "$build/coverage/index.html" \
  --print-summary --fail-under-line "$line_bar" --fail-under-branch "$branch_bar" \
  >"$build/coverage-summary.txt" || status=$?
if [[ -d $root/backends ]]; then
  echo "coverage.sh: the Linux backends (reported, not gated):"
  gcovr "${common[@]}" --filter "$root/backends/" --txt "$build/coverage-backends.txt" \
    --print-summary | tail -3 || true
fi
cat "$build/coverage-summary.txt"
python3 scripts/coverage-listed.py "$build/coverage.txt" docs/coverage-exclusions.md
if ((${status:-0} != 0)); then
  echo "coverage.sh: below the bar (lines $line_bar %, branches $branch_bar %); see $build/coverage.txt" >&2
  exit 1
fi
echo "coverage.sh: at or above the bar (lines $line_bar %, branches $branch_bar %)"
