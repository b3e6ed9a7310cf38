#!/usr/bin/env bash
# The bash completion of sfpctl against the tool itself: commands, nested
# commands, options of the innermost command, option values and positional
# choices, all read from the tool's help at completion time.
#   completion_test.sh SFPCTL COMPLETION_SCRIPT
set -uo pipefail

sfpctl=$1
# shellcheck source=/dev/null
source "$2"

failures=0
# expect WORD... : EXPECTED...: completing the last word gives at least the
# expected candidates.
expect() {
  local -a words=()
  while [[ $1 != : ]]; do
    words+=("$1")
    shift
  done
  shift
  COMP_WORDS=("$sfpctl" "${words[@]}")
  COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
  COMPREPLY=()
  _sfpctl
  local want
  for want in "$@"; do
    if ! printf '%s\n' "${COMPREPLY[@]}" | grep -qx -- "$want"; then
      echo "completion of 'sfpctl ${words[*]}' lacks '$want' (got: ${COMPREPLY[*]})" >&2
      failures=$((failures + 1))
    fi
  done
}

expect "" : profiles identify read status qsa phy-speed
expect --s : --sim
expect --sim 10gbase-sr st : status
expect --sim "" : 10gbase-sr 1000base-sx
expect ctle "" : on off peaking
expect ctle peaking -- : --mask
expect --rate 25g phy --b : --bus-mode
expect admin --from "" : up down
expect tx "" : on off
expect qsa poll --s : --script

if ((failures > 0)); then
  exit 1
fi
echo "completion_test: sfpctl completes its commands, options and values"
