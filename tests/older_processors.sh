#!/bin/bash
# On an emulated processor of each level the program finds that level, needs no instruction beyond it, and gives
# the pixels that this machine gives at that level.
#
#   older_processors.sh QIP-SMOOTH SAMPLES SCRATCH
set -euo pipefail
program=$1 samples=$2 scratch=$3

if ! command -v qemu-x86_64 > /dev/null || [[ $(uname -m) != x86_64 ]]; then
    echo "SKIPPED: no emulator (Debian: qemu-user)"
    exit 77
fi
rm -rf "$scratch"
mkdir -p "$scratch"

# Runs every family and every path of the cube of a box with the command given, into files that begin with $1.
smooth() {
    local prefix=$scratch/$1
    shift
    for kernel in 1 2 3x2 31; do
        "$@" gauss "$samples/part8.png" "$prefix-gauss-$kernel.pgm" --kernel $kernel
    done
    "$@" gauss "$samples/part8.png" "$prefix-gauss-sampled.pgm" --kernel 7 --sample 2 --depth 16
    "$@" half "$samples/part16.png" "$prefix-half.pgm"
    "$@" half "$samples/part8.png" "$prefix-half-masked.pgm" --mask "$samples/dust_mask.png"
    "$@" binomial "$samples/part8.png" "$prefix-binomial.pgm" --passes 2x4
    "$@" binomial "$samples/part16.png" "$prefix-binomial-masked.pgm" --mask "$samples/dust_mask.png"
}

for pair in core2duo:plain Penryn:sse Haswell:avx2; do
    processor=${pair%:*} level=${pair#*:}
    emulated=(qemu-x86_64 -cpu "$processor" "$program")
    "${emulated[@]}" info 2> /dev/null | grep -x "processor level $level"
    smooth "$level" "${emulated[@]}" 2> "$scratch/stderr" || { cat "$scratch/stderr"; exit 1; }
    smooth here "$program" --cpu "$level"
    for here in "$scratch"/here-*; do
        cmp "$here" "$scratch/$level-${here##*/here-}"
    done
done
