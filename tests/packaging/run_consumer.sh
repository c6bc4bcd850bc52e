#!/usr/bin/env bash
# run_consumer.sh SOURCE WORK SANDBOX CONSUMER: puts questions on the example policy to the built consumer and
# compares its answers.
set -euo pipefail
source=$1 work=$2 sandbox=$3 consumer=$4

"$sandbox" compile "$source/examples/policies/company.json" --root "$work/root" --id company
mapfile -t arguments < "$source/examples/consumer/questions.txt"
"$consumer" "$work/root" company "${arguments[@]}" > "$work/answers.txt"
diff -u "$source/examples/consumer/answers.txt" "$work/answers.txt"
