#!/usr/bin/env bash
# Runs sfpctl from the release build, building it first when needed:
#   scripts/sfpctl.sh read 0 0 96
#   scripts/sfpctl.sh --help
# The build's own output goes to a log and is shown only when it fails, so
# that the tool's output stays clean.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
"$root/scripts/bootstrap.sh"

build_dir="$root/build/release"
log="$build_dir/sfpctl-build.log"

if [[ ! -f $build_dir/CMakeCache.txt ]]; then
  echo "sfpctl.sh: configuring the release build (first run)..." >&2
  (cd "$root" && cmake --preset default >/dev/null)
fi
if ! (cd "$root" && cmake --build --preset default --target sfpctl) >"$log" 2>&1; then
  cat "$log" >&2
  echo "sfpctl.sh: building sfpctl failed (log: $log)" >&2
  exit 1
fi

exec "$build_dir/tools/sfpctl/sfpctl" "$@"
