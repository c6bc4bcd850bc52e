#!/usr/bin/env bash
# shell_scripts.sh SOURCE SHELLCHECK: every shell script of the tree passes shellcheck and may be executed.
set -euo pipefail
cd "$1"

mapfile -t scripts < <(grep -rlE '^#!/usr/bin/env bash' .ci scripts tests | sort)
"$2" "${scripts[@]}"
for script in "${scripts[@]}"; do
  if [ ! -x "$script" ]; then
    echo "not executable: $script"
    exit 1
  fi
done
echo "${#scripts[@]} scripts"
