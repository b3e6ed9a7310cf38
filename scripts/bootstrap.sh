#!/usr/bin/env bash
# Makes sure the Debian packages the build needs are installed. Installs the
# missing ones when run as root; otherwise prints the command to run and
# exits 1. Prints nothing when nothing is missing.
set -euo pipefail

packages=(cmake make gcc g++ binutils pkg-config libgtest-dev libgmock-dev libbenchmark-dev
  libcli11-dev
  clang libclang-rt-14-dev # fuzzing (scripts/fuzz.sh)
  gcovr                    # coverage gate (scripts/coverage.sh)
  python3                  # performance record (scripts/perf-record.sh)
)

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
