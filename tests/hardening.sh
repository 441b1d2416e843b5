#!/bin/bash
# The libraries and the program carry the protections that docs/binaries.md promises.
#
#   hardening.sh CXX optimised|debug LIBRARY... PROGRAM -- OBJECT...    OBJECTs are those of the libraries
set -euo pipefail
cxx=$1 kind=$2
shift 2
files=()
while [[ $1 != -- ]]; do
    files+=("$1")
    shift
done
shift
program=${files[-1]}

failed=0
# expect FILE WHAT COMMAND...: the command succeeds.
expect() {
    if ! "${@:3}"; then
        echo "FAILED: $1: $2"
        failed=1
    fi
}
has() { grep -Eq -e "$1" <<< "$2"; }
lacks() { ! has "$@"; }

checked=0
for file in "${files[@]}"; do
    header=$(readelf -hW "$file") segments=$(readelf -lW "$file") dynamic=$(readelf -dW "$file")
    symbols=$(readelf --dyn-syms -W "$file" | grep " UND ")
    expect "$file" "loads at any address" has 'Type: +DYN' "$header"
    expect "$file" "relocated data is read-only afterwards" has 'GNU_RELRO' "$segments"
    expect "$file" "the stack is not executable" has 'GNU_STACK .* RW +0x' "$segments"
    expect "$file" "no segment can be both written and executed" lacks ' (LOAD|GNU_STACK) .* R?WE ' "$segments"
    expect "$file" "functions are bound at the start" has '\(FLAGS\).*BIND_NOW|\(FLAGS_1\).*NOW' "$dynamic"
    expect "$file" "code is not relocated" lacks 'TEXTREL' "$dynamic"
    expect "$file" "the stack protector is in use" has '__stack_chk_(fail|guard)' "$symbols"
    # Each folder where other libraries are looked for is absolute or stands in relation to this file.
    while IFS= read -r path; do
        while IFS= read -r -d : folder; do
            expect "$file" "'$folder' in RUNPATH $path depends on the current folder" has '^(/|\$ORIGIN(/|$))' "$folder"
        done <<< "$path:"
    done < <(sed -nE 's/.*\((RPATH|RUNPATH)\).*\[(.*)\]$/\2/p' <<< "$dynamic")
    # A library need not call any function that has a checked form.
    if has '__[a-z]+_chk(@|$)' "$(grep -v __stack_chk <<< "$symbols")"; then
        checked=$((checked + 1))
    fi
done
expect "$program" "is a program for any address" has 'FLAGS_1.*PIE' "$(readelf -dW "$program")"
if [[ $kind == optimised ]]; then
    expect "${files[*]}" "checked forms of functions such as memcpy are called" test "$checked" -gt 0
fi

# Marks for the processor's control of jumps. A linked file has them where the system's start files do, too.
case $("$cxx" -dumpmachine) in
x86_64*) marks='IBT, SHSTK' ;;
aarch64*) marks='BTI, PAC' ;;
*) marks='' ;;
esac
if [[ -n $marks ]]; then
    for object in "$@"; do
        expect "$object" "marked $marks" has "$marks" "$(readelf -nW "$object")"
    done
    if has "$marks" "$(readelf -nW "$("$cxx" -print-file-name=crti.o)")"; then
        for file in "${files[@]}"; do
            expect "$file" "marked $marks" has "$marks" "$(readelf -nW "$file")"
        done
    fi
fi
echo "${#files[@]} files, $# objects, $checked with checked calls"
exit $failed
