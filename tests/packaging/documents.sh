#!/usr/bin/env bash
# documents.sh MANUALS SHARED PROGRAM: the installed manual page of a program is one that can be shown, and each shell takes
# its completion.
set -euo pipefail
manual=$1/$3.1 shared=$2 program=$3

complaints=$(groff -man -ww -z "$manual" 2>&1)
if [ -n "$complaints" ]; then
  echo "$complaints"
  exit 1
fi
grep -q '^\.SH NAME$' "$manual"
bash -n "$shared/bash-completion/completions/$program"
zsh -f -n "$shared/zsh/vendor-completions/_$program"
fish --no-config --no-execute "$shared/fish/vendor_completions.d/$program.fish"
