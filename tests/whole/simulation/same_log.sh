#!/usr/bin/env bash
# same_log.sh PROGRAM SEED...: two runs of a seed write the same log, but for the thread's id and pointers.
set -euo pipefail
program=$1
shift
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

run()
{
    "$program" --seed "$1" --log "$folder/$2" >"$folder/said" || {
        cat "$folder/said"
        exit 1
    }
    # Before the device there is no virtual time.
    sed -E -i '1,/kelvane_device_create: /d; s/tid=[0-9]+/tid=/; s/lockingTID = [0-9]+/lockingTID = /; s/0x[0-9a-f]{9,16}/POINTER/g' "$folder/$2"
}

for seed in "$@"; do
    run "$seed" first
    run "$seed" second
    lines=$(wc -l <"$folder/first")
    if ((lines < 1000)) || ! cmp "$folder/first" "$folder/second"; then
        echo "seed $seed, $lines lines: no log to speak of, or two that differ" >&2
        exit 1
    fi
    echo "seed $seed: $lines lines, the same twice"
done
