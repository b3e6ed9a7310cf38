#!/usr/bin/env bash
# Installs a build into a fresh prefix and checks what a user of the install
# gets: the files, the exported symbols, SONAMEs, run paths free of the build
# tree, the installed sfpctl running from its prefix with no library path,
# every installed header compiling alone, and four C-only programs (shared
# and static, through the CMake package and through pkg-config) that create a
# port on a module their callbacks serve, identify it, take a status
# snapshot and delete it. The checks are the ctest test "install"
# (tests/install/install_test.cmake); this script builds what it needs first.
#   scripts/install-check.sh [BUILD_DIR]     (default: build/release)
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build_dir=${1:-$root/build/release}

if [[ ! -f $build_dir/CMakeCache.txt ]]; then
  echo "install-check: $build_dir is not a configured build (run: cmake --preset default)" >&2
  exit 1
fi
cmake --build "$build_dir" -j2
ctest --test-dir "$build_dir" -R '^install$' --output-on-failure
