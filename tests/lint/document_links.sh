#!/usr/bin/env bash
# document_links.sh SOURCE: every relative link of the documents in the root folder and under docs/ leads to a
# file or folder of the tree. Blocks of code have none.
set -euo pipefail
cd "$1"

broken=0 links=0
for document in *.md docs/*.md docs/*/*.md; do
  while IFS= read -r target; do
    case $target in
      http://* | https://* | mailto:* | '#'*) continue ;;
    esac
    links=$((links + 1))
    if [ ! -e "$(dirname "$document")/${target%%#*}" ]; then
      echo "$document: no such file: $target"
      broken=$((broken + 1))
    fi
  done < <(awk '/^```/ {inside = !inside; next} !inside' "$document" | grep -oE '\]\([^)]+\)' | sed -E 's/^\]\(//; s/\)$//' || true)
done
echo "$links links, $broken broken"
[ "$links" -gt 0 ] && [ "$broken" -eq 0 ]
