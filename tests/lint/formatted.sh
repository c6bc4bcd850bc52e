#!/usr/bin/env bash
# formatted.sh SOURCE CLANG_FORMAT: every C++ file is as clang-format would write it.
set -euo pipefail
cd "$1"

find bench examples fuzz include sandbox service src tests tools -regex '.*\.\(cpp\|h\|c\)' -print0 |
  xargs -0 "$2" --dry-run -Werror
