#!/bin/bash
# Runs the fuzzers, as many side by side as there are processors: first each over its seeds, then on new
# inputs for FUZZ_SECONDS seconds (20). A finding fails the run and leaves its input in the build folder,
# under findings/; what was learnt stays under corpus/ there. New inputs are the same ones each time, as far
# as the time allows, so that a finding comes from what has changed; FUZZ_SEED=0 hunts for others.
#
#   tests/fuzz/run.sh BUILD-FOLDER [FUZZER...]
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=$(cd "$1" && pwd)
shift
if (($# == 0)); then
    set -- pictures command interface masked
fi

# fuzz_one NAME: one line on standard output; the whole log only after a finding.
fuzz_one() {
    local name=$1 status=0
    local program=$build/tests/fuzz/fuzz_$name seeds=$here/corpus/$name log=$build/fuzz_$name.log
    # Weighing inputs by their entropy takes half of the time of small ones.
    local options=("-seed=${FUZZ_SEED:-1}" -entropic=0 -max_len=4096 -timeout=20
        "-artifact_prefix=$build/findings/$name-")
    if [[ -e $here/fuzz_$name.dict ]]; then
        options+=("-dict=$here/fuzz_$name.dict")
    fi
    mkdir -p "$build/findings" "$build/corpus/$name"
    "$program" "${options[@]}" "$seeds"/* > "$log" 2>&1 || status=$?
    if ((status == 0)); then
        "$program" "${options[@]}" -max_total_time="${FUZZ_SECONDS:-20}" -print_final_stats=1 \
            "$build/corpus/$name" "$seeds" >> "$log" 2>&1 || status=$?
    fi
    if ((status != 0)); then
        cat "$log"
        echo "fuzz_$name: a finding"
        return 1
    fi
    awk -v name="fuzz_$name" '
        / cov: / {
            for (i = 1; i < NF; ++i)
                if ($i == "cov:")
                    edges = $(i + 1)
        }
        /^stat::number_of_executed_units/ { executions = $2 }
        /^stat::average_exec_per_sec/ { rate = $2 }
        END { printf "%-15s %9d executions, %6d a second, %6d edges\n",
                     name, executions, rate, edges }' "$log"
}
export -f fuzz_one
export here build

printf '%s\n' "$@" | xargs -P "$(nproc)" -I{} bash -c 'fuzz_one "$1"' fuzz_one {}
