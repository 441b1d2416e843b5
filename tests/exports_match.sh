#!/bin/bash
# A shared library exports exactly the functions of its list, and the list is sorted.
#
#   exports_match.sh LIBRARY LIST
set -euo pipefail
export LC_ALL=C
library=$1 list=$2

sort --check --unique "$list"
if ! difference=$(diff "$list" <(nm -D --defined-only "$library" | awk '{ print $NF }' | sort)); then
    echo "$list (<) and the symbols of $library (>) differ:"
    echo "$difference"
    exit 1
fi
echo "$(wc -l < "$list") exported symbols"
