#!/usr/bin/env bash
# Builds the API reference from the public headers with Doxygen into
# build/docs/html (open build/docs/html/index.html). Every warning is an
# error: a header, function, record, field or macro without its reference
# comment, or a function whose parameters or result are not described,
# fails the run. --no-bootstrap skips the package check (the CMake target
# `docs` passes it, having found doxygen itself).
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
if [[ ${1:-} != --no-bootstrap ]]; then
  "$root/scripts/bootstrap.sh"
fi
cd "$root"

# Doxygen documents the members of a header only when the header itself
# carries a @file block; without one its members would be skipped silently.
headers=(include/sfpdrv/*.h platform/include/platform/{pelog,evm,thread_mark,psleep}.h)
missing=0
for header in "${headers[@]}"; do
  if ! grep -q '@file' "$header"; then
    echo "docs: $header has no @file block" >&2
    missing=1
  fi
done
if ((missing)); then
  exit 1
fi

SFPDRV_DOCS_VERSION=$(sed -n 's/^project(sfpdrv VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
export SFPDRV_DOCS_VERSION
mkdir -p build/docs
doxygen docs/Doxyfile
echo "docs: reference in build/docs/html/index.html"
