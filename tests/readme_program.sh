#!/bin/bash
# The C program of the README compiles without a warning, runs, and prints what the README says ("It prints
# `...`"): what a user copies works.
#
#   readme_program.sh README CC FOLDER CFLAG...     FOLDER is a scratch folder
set -euo pipefail
readme=$1 cc=$2 folder=$3
shift 3

mkdir -p "$folder"
if [[ -f $readme ]]; then
    awk '/^```c$/ { inside = 1; next } /^```/ { inside = 0 } inside' "$readme" > "$folder/readme.c"
fi
if [[ ! -s $folder/readme.c ]]; then
    echo "SKIPPED: the README holds no C program"
    exit 77
fi
"$cc" -std=c99 -Wall -Wextra -Wpedantic -Werror "$folder/readme.c" -o "$folder/readme" "$@"
printed=$("$folder/readme")
promised=$(sed -n 's/^It prints `\([^`]*\)`.*/\1/p' "$readme")
if [[ $printed != "$promised" ]]; then
    echo "FAILED: it prints '$printed', the README says '$promised'"
    exit 1
fi
