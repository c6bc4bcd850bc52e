#!/usr/bin/env bash
# documents_listed.sh SOURCE: README links every page of docs/, and docs/decisions/README.md every page beside it.
set -euo pipefail
cd "$1"

missing=0 pages=0
listed() { # INDEX PREFIX PAGE...
  local index=$1 prefix=$2 page
  for page in "${@:3}"; do
    pages=$((pages + 1))
    if ! grep -qF "]($prefix$(basename "$page"))" "$index"; then
      echo "$index: no link to $page"
      missing=$((missing + 1))
    fi
  done
}
listed README.md docs/ docs/*.md
mapfile -t decisions < <(find docs/decisions -name '*.md' -not -name README.md | sort)
listed docs/decisions/README.md '' "${decisions[@]}"
echo "$pages pages, $missing not listed"
[ "$pages" -gt 0 ] && [ "$missing" -eq 0 ]
