#!/usr/bin/env bash
# service_unit.sh UNIT PROGRAM WORK: the service manager understands the installed unit, once its program is where it
# says, and rates what it leaves open at no more than 1.1 of 10.
set -euo pipefail
unit=$1 program=$2 work=$3

mkdir -p "$work"
sed "s|^ExecStart=[^ ]*|ExecStart=$program|" "$unit" > "$work/ksrbacd.service"
complaints=$(systemd-analyze verify --man=no "$work/ksrbacd.service" 2>&1)
if [ -n "$complaints" ]; then
  echo "$complaints"
  exit 1
fi
# In tenths: 11 is 1.1. The command fails above the threshold.
systemd-analyze security --offline=true --no-pager --threshold=11 "$work/ksrbacd.service" | tail -1
