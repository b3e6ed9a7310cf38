#!/usr/bin/env bash
# Lists the includes between the library's top-level folders and fails when a
# folder includes one that is not below it in the dependency order:
#
#   platform -> common -> port -> xcvr -> control, decode -> create -> qsa -> catalog
#
# (control and decode share a level and do not include each other). The
# public headers, "sfpdrv/*.h" under include/, are the library's interface
# and may be included from every level.
#   scripts/include-graph.sh          the graph, then the verdict
#   scripts/include-graph.sh --quiet  only violations and the verdict
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"

quiet=0
if [[ ${1:-} == --quiet ]]; then
  quiet=1
fi

declare -A level=(
  [platform]=0 [common]=1 [port]=2 [xcvr]=3 [control]=4 [decode]=4 [create]=5 [qsa]=6
  [catalog]=7
)
order="platform -> common -> port -> xcvr -> control, decode -> create -> qsa -> catalog"

# Every folder of the library must have a place in the order, so that a new
# one cannot slip past the check.
for cmake_dir in $(sed -n 's/^foreach(dir \(.*\))$/\1/p' CMakeLists.txt); do
  if [[ -z ${level[$cmake_dir]+x} ]]; then
    echo "include-graph: folder '$cmake_dir' (CMakeLists.txt) has no level in this script" >&2
    exit 1
  fi
done

declare -A edges=()
violations=()
for folder in "${!level[@]}"; do
  [[ -d $folder ]] || continue
  while IFS=: read -r file line text; do
    target=$(sed -n 's/^[[:space:]]*#[[:space:]]*include[[:space:]]*"\([A-Za-z_]*\)\/.*/\1/p' <<<"$text")
    [[ -n $target && $target != "$folder" && $target != sfpdrv ]] || continue
    edges["$folder -> $target"]=$((${edges["$folder -> $target"]:-0} + 1))
    if [[ -z ${level[$target]+x} ]]; then
      violations+=("$file:$line: $folder includes '$target', which is not part of the library")
    elif ((level[$target] >= level[$folder])); then
      violations+=("$file:$line: $folder includes $target, which is not below it ($text)")
    fi
  done < <(grep -rnE '^[[:space:]]*#[[:space:]]*include[[:space:]]*"' "$folder" \
    --include='*.h' --include='*.cc' --include='*.c' || true)
done

if ((quiet == 0)); then
  echo "includes between folders (dependency order: $order):"
  for edge in "${!edges[@]}"; do
    printf '  %-22s %3d\n' "$edge" "${edges[$edge]}"
  done | sort
fi

if ((${#violations[@]} > 0)); then
  printf '%s\n' "${violations[@]}" | sort >&2
  echo "include-graph: ${#violations[@]} include(s) run against the order $order" >&2
  exit 1
fi
echo "include-graph: every include follows the order $order"
