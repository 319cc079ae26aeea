#!/usr/bin/env bash
# Sets up, builds and runs the fuzz targets. They start from the seeds in fuzz/corpus and from the
# inputs that earlier runs found, which are in build/fuzz/corpus.
#   scripts/fuzz.sh [SECONDS [TARGET]]   runs each target for SECONDS (default 60); default: all targets
#   scripts/fuzz.sh merge [TARGET]       adds found inputs that run more code to fuzz/corpus: as few
#                                        and as small files as possible
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
only=${2:-*}

scripts/setup.sh fuzz
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz

# The last number after a label in the fuzzer's output.
last() { grep -o "$1 *[0-9]*" "$log" | tail -1 | grep -o '[0-9]*$' || echo 0; }
first_coverage() { grep -m1 INITED "$log" | grep -o 'cov: [0-9]*' | grep -o '[0-9]*$' || echo 0; }

# Prints the progress of the current target; $1 is the number of seconds left.
progress() {
    local runs coverage before
    runs=$(grep -oE '^#[0-9]+|^stat::number_of_executed_units: [0-9]+' "$log" |
        grep -o '[0-9]*$' | sort -n | tail -1)
    coverage=$(last 'cov:')
    before=$(first_coverage)
    printf '%-16s %5d s left %12d runs  %6d edges covered, %d of them new' \
        "$name" "$1" "${runs:-0}" "$coverage" $((coverage > before ? coverage - before : 0))
}

run() {
    local end=$((SECONDS + seconds)) fuzzer status=0
    # The last option: inputs that take long are used less often.
    "$target" -max_total_time="$seconds" -print_final_stats=1 -artifact_prefix="$found-" \
        -entropic_scale_per_exec_time=1 "$found" "$seeds" >"$log" 2>&1 &
    fuzzer=$!
    trap 'kill "$fuzzer" 2>/dev/null || true' EXIT
    while [ -t 1 ] && kill -0 "$fuzzer" 2>/dev/null; do
        printf '\r%s' "$(progress $((end > SECONDS ? end - SECONDS : 0)))"
        sleep 1
    done
    wait "$fuzzer" || status=$?
    trap - EXIT
    if [ "$status" != 0 ]; then
        printf '\n'
        tail -n 40 "$log" >&2
        echo "fuzz: $name failed; its input is in $found-*" >&2
        exit 1
    fi
    [ ! -t 1 ] || printf '\r'
    printf '%s\n' "$(progress 0)"
}

merge() {
    local merged="$found-merged"
    rm -rf "$merged"
    mkdir -p "$merged"
    # Existing seeds are kept: the merge adds only inputs that run more code. Without -use_counters=0
    # an input that runs the same code more often would count too, which keeps ten times as many.
    cp "$seeds"/* "$merged"
    "$target" -merge=1 -use_counters=0 -max_len=4096 "$merged" "$found" >"$log" 2>&1
    cp -n "$merged"/* "$seeds"
    echo "$name: $(find "$seeds" -type f | wc -l) files"
}

for target in build/fuzz/fuzz/qor_${only}_fuzz; do
    name=$(basename "$target" | sed 's/^qor_//; s/_fuzz$//')
    found=build/fuzz/corpus/$name
    seeds=fuzz/corpus/$name
    log=build/fuzz/$name.log
    if [ ! -x "$target" ]; then
        echo "fuzz: no target $name" >&2
        exit 2
    fi
    mkdir -p "$found"
    if [ "$seconds" = merge ]; then merge; else run; fi
done
