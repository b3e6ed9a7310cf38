#!/usr/bin/env bash
# Builds and tests sfpdrv: for each preset given (default: "default"),
# configure, build and run the tests with `cmake --workflow`. The presets are
# default (release), debug (address and undefined-behaviour sanitizers) and
# tsan (thread sanitizer). Exits nonzero on the first failure.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# The tests check sfpctl's metrics with promtool.
SFPDRV_TEST_PROMETHEUS=1 "$root/scripts/bootstrap.sh"

if (($# == 0)); then
  set -- default
fi

cd "$root"
for preset in "$@"; do
  echo "=== test.sh: preset $preset ==="
  cmake --workflow --preset "$preset"
done
