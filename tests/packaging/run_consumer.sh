#!/usr/bin/env bash
# run_consumer.sh SOURCE WORK SANDBOX PROGRAMS: puts questions on the example policy to the built consumer and
# compares its answers; has the built registration ask a master server that is none.
set -euo pipefail
source=$1 work=$2 sandbox=$3 programs=$4

"$sandbox" compile "$source/examples/policies/company.json" --root "$work/root" --id company
mapfile -t arguments < "$source/examples/consumer/questions.txt"
"$programs/consumer" "$work/root" company "${arguments[@]}" > "$work/answers.txt"
diff -u "$source/examples/consumer/answers.txt" "$work/answers.txt"

# Without a master server, and with one that cannot be asked: nothing is registered, no folder made.
register() { # OBJECT...: prints what the program prints, and its exit status
  local status=0
  "$programs/registration" "$work/nobody" "$work/folders" '{}' "$@" 2>&1 || status=$?
  echo "exit status $status"
}
mkdir -p "$work/nobody/etc" "$work/folders"
register '|A|' | tail -1 | grep -x 'exit status 1'
printf 'master_server = "127.255.255.254"\n' > "$work/nobody/etc/keepsafe.toml"
output=$(register '|A|')
grep '^not registered: ' <<< "$output"
grep -x 'exit status 3' <<< "$output"
output=$(register '|A|' '|B|')
grep '^none registered: ' <<< "$output"
grep -x 'exit status 3' <<< "$output"
[ -z "$(ls -A "$work/folders")" ]
