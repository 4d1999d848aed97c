#!/usr/bin/env bash
# check_hardening.sh FILE...: what the ELF files say of their hardening: no writable code or stack that runs, relocations
# done and closed before anything runs, guarded stacks, fortified calls, and programs that can be placed anywhere.
set -euo pipefail
for file in "$@"; do
  program=$(readelf -lW "$file")
  dynamic=$(readelf -dW "$file")
  symbols=$(readelf --dyn-syms -W "$file")
  demand() { # NAME TEXT PATTERN
    grep -qE "$3" <<<"$2" || { echo "$file: no $1" >&2; exit 1; }
  }
  demand "stack without execution" "$program" 'GNU_STACK .* RW +0x'
  demand "RELRO" "$program" 'GNU_RELRO'
  demand "BIND_NOW" "$dynamic" 'FLAGS_1.* NOW'
  demand "stack protector" "$symbols" 'UND __stack_chk_fail'
  demand "fortified call" "$symbols" 'UND __[a-z]+_chk@'
  demand "free place in memory" "$(readelf -hW "$file")" 'Type: +DYN'
  if grep -qE 'LOAD .* RWE' <<<"$program" || grep -q TEXTREL <<<"$dynamic"; then
    echo "$file: writable code" >&2
    exit 1
  fi
done
