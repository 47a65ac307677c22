#!/usr/bin/env bash
# Runs every fuzzer of a build folder for a while, side by side, from the kept inputs on.
# usage: fuzz_all.sh BUILD SECONDS
set -euo pipefail
here=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
build=$(readlink -f "$1")
seconds=$2
# New inputs stay here, for the next run to go on from; findings, too.
work=$build/fuzzing

run_one()
{
    local program=$build/fuzz/${1}_fuzz log=$work/$1.log
    mkdir -p "$work/$1"
    # What the target itself prints is of no interest.
    "$program" -max_total_time="$seconds" -timeout=10 -max_len=1024 -close_fd_mask=3 -print_final_stats=1 \
        -artifact_prefix="$work/$1-" "$work/$1" "$here/corpus/$1" >"$log" 2>&1 || {
        grep --max-count=5 -E 'ERROR|SUMMARY|runtime error' "$log"
        echo "FAILED; all of it is in $log; again: $program $(sed -n 's/.*Test unit written to //p' "$log")"
        return 1
    }
    printf '%s: %s\n' "$1" "$(sed -n 's/^stat::number_of_executed_units: *\(.*\)/\1 inputs/p' "$log")"
}

pids=()
for corpus in "$here"/corpus/*/; do
    run_one "$(basename "$corpus")" &
    pids+=($!)
done
status=0
for pid in "${pids[@]}"; do
    wait "$pid" || status=1
done
exit "$status"
