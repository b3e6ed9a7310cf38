#!/usr/bin/env bash
# Makes sure the Debian packages the build needs are installed. Installs the
# missing ones when run as root; otherwise prints the command to run and
# exits 1. Prints nothing when nothing is missing.
set -euo pipefail

# One package a line, so that adding one is a one-line change.
packages=(
  cmake
  make
  gcc
  g++
  binutils
  pkg-config
  libgtest-dev
  libgmock-dev
  libbenchmark-dev
  libcli11-dev
  libmnl-dev
  nlohmann-json3-dev
  libfmt-dev
  doxygen
  abigail-tools
  clang
  libclang-rt-14-dev
  gcovr
  python3
)

# promtool (package prometheus, large) checks sfpctl's metrics output in the
# tests only: installed when the tests ask for it.
if [[ ${SFPDRV_TEST_PROMETHEUS:-0} == 1 ]]; then
  packages+=(prometheus)
fi

missing=()
for package in "${packages[@]}"; do
  status=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
  if [[ $status != "install ok installed" ]]; then
    missing+=("$package")
  fi
done

if ((${#missing[@]} == 0)); then
  exit 0
fi

command="apt-get update && apt-get install -y --no-install-recommends ${missing[*]}"
if [[ $(id -u) -ne 0 ]]; then
  echo "bootstrap: missing Debian packages: ${missing[*]}" >&2
  echo "bootstrap: install them as root with:" >&2
  echo "$command"
  exit 1
fi

echo "bootstrap: installing ${missing[*]}" >&2
export DEBIAN_FRONTEND=noninteractive
apt-get update >&2
apt-get install -y --no-install-recommends "${missing[@]}" >&2
