#!/bin/bash
# A program of the README compiles without a warning, runs, and prints what the README says there ("It prints `...`",
# else nothing): what a user copies works.
#
#   readme_program.sh ROOT SECTION FOLDER COMPILER ARGUMENT...     ROOT is the source tree, FOLDER a scratch folder
set -euo pipefail
root=$1 section=$2 folder=$3
shift 3

mkdir -p "$folder"
text=$(awk -v heading="## $section" '/^## / { inside = $0 == heading } inside' "$root/README.md")
case $section in
*C) language=c ;;
*) language=cpp ;;
esac
awk -v fence="^\`\`\`$language$" '$0 ~ fence { inside = 1; next } /^```/ { inside = 0 } inside' <<< "$text" > "$folder/program.$language"
if [[ ! -s $folder/program.$language ]]; then
    echo "FAILED: the README has no program in '$section'"
    exit 1
fi
"$1" -Wall -Wextra -Wpedantic -Werror "$folder/program.$language" -o "$folder/program" "${@:2}"
ln -sfn "$root/samples" "$folder/samples"
printed=$(cd "$folder" && ./program)
promised=$(sed -n 's/^It prints `\([^`]*\)`.*/\1/p' <<< "$text")
if [[ $printed != "$promised" ]]; then
    echo "FAILED: it prints '$printed', the README says '$promised'"
    exit 1
fi
