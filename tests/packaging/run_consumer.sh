#!/usr/bin/env bash
# run_consumer.sh SOURCE WORK SANDBOX PROGRAMS: runs the built example programs: on a compiled cache, against the
# service, and without one.
set -euo pipefail
source=$1 work=$2 sandbox=$3 programs=$4
policy=$source/examples/policies/company.json

"$sandbox" compile "$policy" --root "$work/root" --id company
mapfile -t arguments < "$source/examples/consumer/questions.txt"
"$programs/consumer" "$work/root" company "${arguments[@]}" > "$work/answers.txt"
diff -u "$source/examples/consumer/answers.txt" "$work/answers.txt"

# The service on an address that no other process takes, with two people: a restore operator and the helpdesk.
root=$work/service
address=127.$((64 + ($$ >> 16 & 63))).$(($$ >> 8 & 255)).$(($$ & 255))
"$sandbox" init --root "$root" --service "$address" > /dev/null
"$sandbox" import "$policy" --root "$root"
exec 3< <(exec "$sandbox" serve --root "$root")
service=$!
trap 'kill $service' EXIT
read -r listening <&3
grep -x "listening on https://$address:1556" <<< "$listening"
"$sandbox" token issue --root "$root" --subject ann:corp:ldap --roles 17 > "$work/ann"
"$sandbox" token issue --root "$root" --subject bob:corp:ldap --roles 40 > "$work/bob"

decide() { # PERSON OBJECT...
  "$programs/decision" "$root" "$work/$1" "${@:2}"
}
diff -u - <(decide ann '|KEEPSAFE|ASSETS|vms|web-01|' '|KEEPSAFE|SECURITY|audit-log|') << 'END'
allow	|KEEPSAFE|ASSETS|vms|web-01|
deny	|KEEPSAFE|SECURITY|audit-log|
END

# Registers objects, each with a folder: one, then three of which one has its folder already and is rolled back.
mkdir "$work/folders"
register() { # OBJECT...: prints what the program prints, and its exit status
  local status=0
  "$programs/registration" "$root" "$work/folders" \
    '{"accessDefinitions": [{"roleId": 40, "operations": ["|OPERATIONS|VIEW|"]}]}' "$@" 2>&1 || status=$?
  echo "exit status $status"
}
mkdir "$work/folders/|HELP|faxes|"
decide bob '|HELP|calls|' | grep '^deny'
register '|HELP|calls|' | diff -u <(printf '0 success\nexit status 0\n') -
register '|HELP|mails|' '|HELP|faxes|' '|HELP|chats|' | tail -1 | grep -x 'exit status 3'
diff -u - <(decide bob '|HELP|calls|' '|HELP|mails|' '|HELP|faxes|' '|HELP|chats|') << 'END'
allow	|HELP|calls|
allow	|HELP|mails|
deny	|HELP|faxes|
allow	|HELP|chats|
END

# Without a master server, and with one that cannot be asked: nothing is registered, no folder made.
register_nowhere() { # OBJECT...
  local status=0
  "$programs/registration" "$work/nobody" "$work/empty" '{}' "$@" 2>&1 || status=$?
  echo "exit status $status"
}
mkdir -p "$work/nobody/etc" "$work/empty"
register_nowhere '|A|' | tail -1 | grep -x 'exit status 1'
printf 'master_server = "127.255.255.254"\n' > "$work/nobody/etc/keepsafe.toml"
output=$(register_nowhere '|A|')
grep '^not registered: ' <<< "$output"
grep -x 'exit status 3' <<< "$output"
output=$(register_nowhere '|A|' '|B|')
grep '^none registered: ' <<< "$output"
grep -x 'exit status 3' <<< "$output"
[ -z "$(ls -A "$work/empty")" ]
