#!/usr/bin/env bash
# Checks the ABI of every installed shared library against the committed
# baselines under abi/:
#   abi/LIB.symbols  the exported dynamic symbols, one a line, sorted: a
#                    symbol that appears or disappears fails the check;
#   abi/LIB.abi      the ABI (abidw XML of a build with debug information,
#                    limited to the types of the public headers), compared
#                    with abidiff: an incompatible change (a removed or changed
#                    function, a changed record layout) fails the check.
# The libraries are built with debug information in their own tree
# (build/abi, library targets only) and installed into build/abi/prefix.
#   scripts/abi-check.sh            check
#   scripts/abi-check.sh --update   rewrite the baselines after a deliberate
#                                   ABI change (see "Versions and ABI" in
#                                   README.md for the version it then needs)
# Needs abigail-tools (abidw, abidiff) and binutils (nm).
set -euo pipefail

# The installed shared libraries whose ABI is kept, one a line.
libraries=(
  libsfpdrv
  libsfpdrv_platform
  libsfpdrv-linux
)

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build_dir=$root/build/abi
prefix=$build_dir/prefix
abi_dir=$root/abi

update=0
case ${1:-} in
--update) update=1 ;;
"") ;;
*)
  echo "usage: scripts/abi-check.sh [--update]" >&2
  exit 2
  ;;
esac

for tool in abidw abidiff nm; do
  if ! command -v "$tool" >/dev/null; then
    echo "abi-check: $tool is missing (apt-get install abigail-tools binutils)" >&2
    exit 1
  fi
done

# --- a build with debug information, installed -----------------------------
if [[ ! -f $build_dir/CMakeCache.txt ]]; then
  cmake -S "$root" -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DSFPDRV_BUILD_TESTS=OFF -DSFPDRV_BUILD_BENCH=OFF -DSFPDRV_BUILD_TOOLS=OFF >/dev/null
fi
cmake --build "$build_dir" -j2 >/dev/null
rm -rf "$prefix"
cmake --install "$build_dir" --prefix "$prefix" >/dev/null
libdir=$(sed -n 's/^CMAKE_INSTALL_LIBDIR:[A-Z]*=//p' "$build_dir/CMakeCache.txt")
libdir=$prefix/${libdir:-lib}
# The public headers as the debug information names them (the source tree's):
# types declared elsewhere are the libraries' private ones.
header_dirs=("$root/include" "$root/platform/include")
abidw_headers=()
for dir in "${header_dirs[@]}"; do
  abidw_headers+=(--headers-dir "$dir")
done

exported_symbols() {
  nm -D --defined-only "$1" | awk 'NF == 3 { print $3 }' | LC_ALL=C sort -u
}

abi_of() {
  abidw --no-corpus-path --no-comp-dir-path --no-show-locs --drop-undefined-syms --drop-private-types \
    "${abidw_headers[@]}" "$1"
}

if ((update == 1)); then
  mkdir -p "$abi_dir"
  for lib in "${libraries[@]}"; do
    exported_symbols "$libdir/$lib.so" >"$abi_dir/$lib.symbols"
    abi_of "$libdir/$lib.so" >"$abi_dir/$lib.abi"
    echo "abi-check: wrote abi/$lib.symbols ($(wc -l <"$abi_dir/$lib.symbols") symbols) and abi/$lib.abi"
  done
  echo "abi-check: commit abi/ together with the change, and the version README.md asks for"
  exit 0
fi

how_to_update="If the change is deliberate, run 'scripts/abi-check.sh --update', commit abi/ with the
change and set the version by the policy in README.md (\"Versions and ABI\"): a removed or changed
function or record layout bumps the major version (and the SONAME), an addition the minor version."

failed=0
for lib in "${libraries[@]}"; do
  so=$libdir/$lib.so
  if [[ ! -f $so ]]; then
    echo "abi-check: $lib.so was not installed" >&2
    failed=1
    continue
  fi
  if [[ ! -f $abi_dir/$lib.symbols || ! -f $abi_dir/$lib.abi ]]; then
    echo "abi-check: $lib has no baseline in abi/ (a new library: run 'scripts/abi-check.sh --update')" >&2
    failed=1
    continue
  fi

  # The exported symbols, against the committed list.
  if ! symbol_diff=$(diff <(LC_ALL=C sort -u "$abi_dir/$lib.symbols") <(exported_symbols "$so")); then
    echo "abi-check: $lib.so exports a different set of symbols than abi/$lib.symbols:" >&2
    sed -n 's/^> /  added:   /p; s/^< /  removed: /p' <<<"$symbol_diff" >&2
    failed=1
  fi

  # The types and functions, against the baseline.
  set +e
  report=$(abidiff --no-show-locs "$abi_dir/$lib.abi" "$so" 2>&1)
  rc=$?
  set -e
  # abidiff's exit bits: 1 error, 2 usage error, 4 an ABI change, 8 an
  # incompatible change (a removed function or variable). A changed type (a
  # record's layout) is only "a change" to abidiff, but changes the
  # functions that take it: any removed or changed function or variable is
  # incompatible; only additions are compatible.
  if ((rc & 3)); then
    echo "abi-check: abidiff could not compare $lib.so with abi/$lib.abi (exit $rc):" >&2
    echo "$report" >&2
    failed=1
  elif ((rc & 8)) || { ((rc & 4)) && grep -qE '[1-9][0-9]* (Removed|Changed)' <<<"$report"; }; then
    echo "abi-check: $lib.so has an INCOMPATIBLE ABI change against abi/$lib.abi" \
      "(abidiff exit $rc):" >&2
    echo "$report" | sed 's/^/  /' >&2
    failed=1
  elif ((rc & 4)); then
    echo "abi-check: note: $lib.so adds to the ABI of abi/$lib.abi (compatible):" >&2
    echo "$report" | sed 's/^/  /' >&2
  fi
done

if ((failed != 0)); then
  echo "abi-check: FAILED. $how_to_update" >&2
  exit 1
fi
echo "abi-check: ${libraries[*]}: exported symbols and ABI match abi/"
