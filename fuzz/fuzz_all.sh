#!/usr/bin/env bash
# Runs every fuzzer of a build folder for a while, several at a time, from the kept inputs on.
# usage: fuzz_all.sh BUILD SECONDS
set -euo pipefail
here=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
build=$(readlink -f "$1")
seconds=$2
# New inputs stay here, for the next run to go on from; findings, too.
work=$build/fuzzing

run_one()
{
    local target=$1 program=$build/fuzz/${1}_fuzz log=$work/$1.log finding status=0
    mkdir -p "$work/$target"
    # What the target itself prints is of no interest.
    "$program" -max_total_time="$seconds" -timeout=10 -max_len=1024 -close_fd_mask=3 -print_final_stats=1 \
        -artifact_prefix="$work/$target-" "$work/$target" "$here/corpus/$target" >"$log" 2>&1 || status=$?
    printf '%-14s %s inputs, %s a second, %s new ones kept\n' "$target" \
        "$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")" \
        "$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log")" \
        "$(sed -n 's/^stat::new_units_added: *//p' "$log")"
    if ((status == 0)); then
        return
    fi
    finding=$(sed -n 's/.*Test unit written to //p' "$log" | tail -n 1)
    grep --max-count=5 -E 'FINDING|ERROR|SUMMARY|runtime error' "$log" | sed 's/^/    /' || tail -n 20 "$log"
    echo "    FAILED with status $status; all of it is in $log"
    echo "    again: $program ${finding:-(no input was written)}"
    return 1
}

if [[ ${3-} ]]; then
    run_one "$3"
    exit
fi
printf '%s\n' "$here"/corpus/*/ | xargs -n 1 basename |
    xargs -n 1 --max-procs="$(nproc)" "${BASH_SOURCE[0]}" "$build" "$seconds"
