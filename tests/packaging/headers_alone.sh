#!/usr/bin/env bash
# headers_alone.sh INCLUDE WORK CXX: every header under INCLUDE compiles as the only include of a source file,
# without a warning, and draws in none of the libraries that are used privately.
set -euo pipefail
include=$1 work=$2 cxx=$3

rm -rf "$work"
mkdir -p "$work"
read -ra ace < <(pkg-config --cflags ACE) || true
private='/(spdlog|fmt|toml\+\+|jansson\.h|CLI)(/|$)'

failed=0 count=0
while IFS= read -r header; do
  count=$((count + 1))
  unit="$work/${header//\//_}.cpp"
  printf '#include <%s>\n' "$header" > "$unit"
  if ! "$cxx" -std=c++17 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -MD -MF "$unit.d" \
      -I"$include" "${ace[@]}" "$unit"; then
    echo "does not compile alone: $header"
    failed=1
  elif tr ' ' '\n' < "$unit.d" | grep -E "$private"; then
    echo "draws in a private library: $header"
    failed=1
  fi
done < <(cd "$include" && find . -name '*.h' -printf '%P\n' | sort)

echo "$count headers"
[ "$count" -gt 0 ] && [ "$failed" -eq 0 ]
