#!/usr/bin/env bash
# layout.sh SOURCE: the tree drawn in docs/layout.md is the real one. Beside a folder that it names it names all
# folders, beside a file all files, and nothing that does not exist.
set -euo pipefail
cd "$1"

# One line PARENT CHILD for each part of each name; a line of the drawing begins with one name or several.
drawn=$(awk '
  /^```$/ { if (drawing) exit; drawing = 1; next }
  !drawing || !match($0, /[^ ]/) || RSTART > 5 { next }
  {
    depth = (RSTART - 1) / 2
    sub(/^ +/, "")
    sub(/  .*/, "")
    count = split($0, names, /, */)
    for (i = 1; i <= count; ++i) {
      above[depth] = names[i]
      path = ""
      for (level = 0; level <= depth; ++level) path = path above[level]
      parent = "./"
      while (match(path, /^[^\/]+\/?/)) {
        print parent, substr(path, 1, RLENGTH)
        parent = parent substr(path, 1, RLENGTH)
        path = substr(path, RLENGTH + 1)
      }
    }
  }' docs/layout.md | sort -u)

# What a folder holds, folders with a slash; neither hidden ones nor builds.
contents() { # FOLDER FIND_EXPRESSION...
  find "$1" -mindepth 1 -maxdepth 1 -not -name '.*' -not -path ./build "${@:2}"
}

wrong=0 folders=0
while read -r parent; do
  folders=$((folders + 1))
  children=$(awk -v parent="$parent" '$1 == parent {print $2}' <<< "$drawn")
  real=$(
    contents "$parent" -type d -not -empty -printf '%f/\n'
    if grep -qv '/$' <<< "$children"; then
      contents "$parent" -type f -printf '%f\n'
    fi
  )
  if ! difference=$(diff <(sort <<< "$children") <(sort <<< "$real")); then
    echo "$parent: docs/layout.md (<) and the tree (>) differ:"
    grep '^[<>]' <<< "$difference"
    wrong=$((wrong + 1))
  fi
done < <(cut -d' ' -f1 <<< "$drawn" | sort -u)
echo "$folders folders, $wrong differ"
[ "$folders" -gt 0 ] && [ "$wrong" -eq 0 ]
