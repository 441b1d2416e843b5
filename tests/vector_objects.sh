#!/bin/bash
# Object files compiled for a newer processor define no weak symbol: the linker keeps one copy of a weak
# function for the whole program, and it must never be one that older processors cannot run.
#
#   vector_objects.sh OBJECT...     the objects of a library; those of a processor level are picked by name
set -euo pipefail

count=0 failed=0
for object in "$@"; do
    [[ $object == *_sse41.cpp.o || $object == *_avx2.cpp.o ]] || continue
    count=$((count + 1))
    # DW.ref. is data of the exception tables, the same on every processor.
    weak=$(nm -C --defined-only "$object" | awk '$2 ~ /^[WwVvu]$/ && $3 !~ /^DW\.ref\./')
    if [[ -n $weak ]]; then
        echo "FAILED: weak symbols in $object:"
        echo "$weak"
        failed=1
    fi
done
if ((count == 0)); then
    echo "SKIPPED: no vector objects in this build"
    exit 77
fi
echo "$count vector objects"
exit $failed
