#!/usr/bin/env bash
# hardened.sh BUILD FILE...: every FILE, a library or a program, protects itself against the use of memory faults, and
# every object file of the build folder BUILD that goes into them is compiled for control-flow protection.
set -euo pipefail
build=$1
shift

wrong=0
complain() { # FILE WHAT
  echo "$1: $2"
  wrong=$((wrong + 1))
}

# Text matches the extended regular expression; the text is whole, so that nothing breaks a pipe.
has() { grep -qE "$2" <<< "$1"; }

examine() { # FILE
  local file=$1 header segments dynamic notes symbols code
  header=$(readelf --wide --file-header "$file")
  segments=$(readelf --wide --program-headers "$file")
  dynamic=$(readelf --wide --dynamic "$file")
  notes=$(readelf --wide --notes "$file")
  symbols=$(readelf --wide --dyn-syms "$file")
  code=$(objdump --disassemble --no-show-raw-insn --section=.text "$file")

  has "$header" 'Type: +DYN' || complain "$file" "is not position independent"
  if has "$segments" ' INTERP '; then
    has "$dynamic" 'FLAGS_1.* PIE' || complain "$file" "is a program without the flag PIE"
  fi
  has "$segments" '^ +GNU_RELRO ' || complain "$file" "has no segment that becomes read-only (RELRO)"
  has "$dynamic" '\(FLAGS\).*BIND_NOW' || complain "$file" "binds symbols lazily: relocations stay writable"
  has "$segments" '^ +GNU_STACK .* RW +0x' || complain "$file" "has an executable stack"
  ! has "$segments" '^ +LOAD .* RWE ' || complain "$file" "has a segment that is writable and executable"
  ! has "$dynamic" 'TEXTREL' || complain "$file" "has text relocations"
  has "$notes" 'x86 feature:.*SHSTK' || complain "$file" "is not marked for shadow stacks"
  has "$code" 'endbr64' || complain "$file" "has no targets for indirect branches"
  has "$symbols" ' __stack_chk_fail@' || complain "$file" "has no stack protector"
  has "$symbols" ' __[a-z0-9]+_chk@' || complain "$file" "has no checked C functions (FORTIFY)"
}

for file in "$@"; do
  examine "$file"
done

count=0
while IFS= read -r object; do
  [ -e "$build/$object" ] || continue # of a target that is not built by default
  count=$((count + 1))
  if [ "$(readelf --wide --notes "$build/$object" | grep -cE 'x86 feature: IBT, SHSTK')" -eq 0 ]; then
    complain "$object" "is compiled without control-flow protection"
  fi
done < <(grep -oE -- '-o (src|service|sandbox|tools)/[^ ]+\.o' "$build/compile_commands.json" | cut -c4-)

echo "$# files and $count objects, $wrong complaints"
[ $# -gt 0 ] && [ "$count" -gt 0 ] && [ "$wrong" -eq 0 ]
