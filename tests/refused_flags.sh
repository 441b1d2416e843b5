#!/bin/bash
# Flags that would change pixels end the compilation of either library with a line that says so, or have no effect.
#
#   refused_flags.sh COMMANDS     the compile_commands.json of the build
set -euo pipefail
commands=$1

failed=0
# expect WORD FLAGS FILE: the FLAGS, where a user's stand, are refused by a line with WORD, or give the same code.
expect() {
    local word=$1 flags command
    read -ra flags <<< "$2"
    read -ra command < <(sed -nE "s|^ *\"command\": \"(.*) -o [^ ]+ -c ([^ ]*/$3)\",?$|\1 \2|p" "$commands")
    local compiler=("${command[0]}" "${flags[@]}")
    if ! "${compiler[@]}" -Werror -x c++ -fsyntax-only /dev/null 2> /dev/null; then
        echo "not a flag of this compiler: $2"
    elif output=$("${compiler[@]}" "${command[@]:1}" -S -o - 2>&1); then
        if ! cmp -s <("${command[@]}" -S -o -) - <<< "$output"; then
            echo "FAILED: $3 with $2: accepted, and the code is another"
            failed=1
        fi
    elif ! grep -E -m 1 "error: .*qip-gauss: .*$word.*changes pixels" <<< "$output"; then
        printf 'FAILED: %s with %s:\n%s\n' "$3" "$2" "$output"
        failed=1
    fi
}

for file in gauss/kernel.cpp base/xform_linear.cpp; do
    grep -q "/$file\"" "$commands"
    expect -ffast-math -ffast-math $file
    expect -ffast-math -ffinite-math-only $file
    expect -ffast-math -funsafe-math-optimizations $file
    expect -ffast-math "-fassociative-math -fno-signed-zeros -fno-trapping-math" $file
    expect -ffast-math -freciprocal-math $file
    expect x87 -mfpmath=387 $file
    expect -fsingle-precision-constant -fsingle-precision-constant $file
done
exit $failed
