#!/usr/bin/env bash
# Tells what protection a program lacks; exits with 1 when it lacks any. Reads the file alone, runs nothing of
# it.
#   scripts/check-hardening.sh PROGRAM...
set -euo pipefail

lacking=0

lack ()
{
    printf '%s: %s\n' "$program" "$1" >&2
    lacking=1
}

for program in "$@"; do
    headers=$(readelf --wide --file-header --program-headers "$program")
    dynamic=$(readelf --wide --dynamic "$program")
    imports=$(readelf --wide --dyn-syms "$program")
    notes=$(readelf --wide --notes "$program")

    [[ $headers == *'Type:'*DYN* && $headers == *INTERP* && $dynamic =~ FLAGS_1.*PIE ]] || lack "no position-independent executable"
    [[ $headers == *GNU_RELRO* ]] || lack "no read-only relocations"
    [[ $dynamic =~ BIND_NOW|FLAGS_1.*NOW ]] || lack "symbols are not bound at the start"
    [[ $headers =~ GNU_STACK[^$'\n']*\ RW\  ]] || lack "the stack is executable"
    [[ $imports == *__stack_chk_fail* ]] || lack "no stack protector"
    [[ $imports =~ __[a-z]+_chk@ ]] || lack "no fortified functions"
    [[ $dynamic != *TEXTREL* ]] || lack "relocations in the code"
    [[ ! $dynamic =~ \((RPATH|RUNPATH)\) ]] || lack "a library path of its own"
    [[ $notes == *'Build ID'* ]] || lack "no build ID, so its debug symbols can't be found"
done

exit "$lacking"
