#!/usr/bin/env bash
# Keeps the manual page true to the tool: walks 'sfpctl --help' and the help
# of every command (and nested command) and checks that the manual page has
# each command as an entry (a ".B" line that starts with the command's
# path, e.g. ".B ctle peaking") and names each option. Names every missing
# item, with the help it came from.
#   man_page_test.sh SFPCTL MAN_PAGE
set -euo pipefail

sfpctl=$1
man_page=$2

# The manual page as plain text: roff's escaped hyphens become hyphens and
# font changes disappear.
text=$(sed -e 's/\\-/-/g' -e 's/\\f[BIRP]//g' "$man_page")
entries=$(sed -n 's/^\.B  *//p' <<<"$text")

# The option names of a help text ("-h,--help", "--sim PROFILE ...").
options_of() {
  sed -n '/^Options:/,/^[A-Z][a-z]*:/p' <<<"$1" | sed -n 's/^  \(-[^ ]*\).*/\1/p' | tr ',' '\n'
}

# The command names of a help text's "Subcommands:" section.
commands_of() {
  sed -n '/^Subcommands:/,/^$/p' <<<"$1" | sed -n 's/^  \([a-z][a-z0-9-]*\) .*/\1/p'
}

missing=()
checked=0
walk() {
  local -a path=("$@")
  local help_cmd="sfpctl${path[*]:+ ${path[*]}} --help"
  local help
  if ! help=$("$sfpctl" "${path[@]}" --help 2>&1); then
    missing+=("'$help_cmd' failed")
    return
  fi
  if ((${#path[@]} > 0)); then
    checked=$((checked + 1))
    if ! grep -qxE "${path[*]}( .*)?" <<<"$entries"; then
      missing+=("command '${path[*]}' (from '$help_cmd'): add a '.TP' entry with '.B ${path[*]}'")
    fi
  fi
  local option
  for option in $(options_of "$help"); do
    checked=$((checked + 1))
    if ! grep -qE -- "(^|[^A-Za-z0-9-])${option}([^A-Za-z0-9-]|$)" <<<"$text"; then
      missing+=("option '$option' (from '$help_cmd'): describe it in the manual page")
    fi
  done
  local command
  for command in $(commands_of "$help"); do
    walk "${path[@]}" "$command"
  done
}
walk

if ((checked < 10)); then
  echo "man_page_test: only $checked help items found; is '$sfpctl --help' readable?" >&2
  exit 1
fi
if ((${#missing[@]} > 0)); then
  echo "man_page_test: $man_page lacks ${#missing[@]} item(s) of sfpctl's help:" >&2
  printf '  %s\n' "${missing[@]}" >&2
  exit 1
fi
echo "man_page_test: all $checked commands and options of sfpctl's help are in the manual page"
