#!/usr/bin/env bash
# Runs the messenger with its timers, its rotated log, visitors that come and go, switches that are
# read anew, and the leak checker for a time. Fails on a lost message, a failed visit, a leak, a
# report of a sanitizer, or growth of memory, descriptors, threads or latency after the first quarter.
#   scripts/soak.sh [SECONDS [PRESET [VISITORS]]]
# 60 seconds and the preset asan by default. From ten minutes on there are 500 visitors; a shorter
# soak has none by default, since while threads come and go the caches of allocators and sanitizers
# fill for minutes, and would hide what is lost.
# The samples are in build/PRESET/soak/samples.tsv, and drawn in samples.svg beside it.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-60}"
preset="${2:-asan}"
visitors="${3:-$([ "$seconds" -ge 600 ] && echo 500 || echo 0)}"

case "$preset" in
asan) scripts/setup.sh clang ;;
*) scripts/setup.sh test ;;
esac
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" --target qor_messenger
out="build/$preset/soak"
mkdir -p "$out"
rm -f "$out"/*

# What is released stays with the address sanitizer for a while: little of it, so that growth shows.
export ASAN_OPTIONS="quarantine_size_mb=8:${ASAN_OPTIONS:-}"
"build/$preset/examples/messenger" soak "$seconds" "$visitors" examples/data/messenger.pml \
    "$PWD/$out/messenger.log" >"$out/output" 2>&1 &
messenger=$!

# Seconds, KiB, descriptors, threads and microseconds; nothing once the messenger has ended.
sample() {
    local memory threads latency
    memory=$(awk '/^VmRSS/ { print $2 }' "/proc/$messenger/status") || return 0
    threads=$(awk '/^Threads/ { print $2 }' "/proc/$messenger/status") || return 0
    latency=$(awk '/^latency/ { last = $NF } END { print last + 0 }' "$out/output")
    [ -n "$memory" ] || return 0
    printf '%d\t%d\t%d\t%d\t%d\n' "$SECONDS" "$memory" \
        "$(find "/proc/$messenger/fd" -mindepth 1 2>/dev/null | wc -l)" "$threads" "$latency"
}

SECONDS=0
while kill -0 "$messenger" 2>/dev/null; do
    [ "$SECONDS" -ge "$seconds" ] || sample >>"$out/samples.tsv" 2>/dev/null
    sleep "$(awk "BEGIN { print $seconds / 200 }")"
done
status=0
wait "$messenger" || status=$?

grep -v '^latency' "$out/output" || true
if [ "$status" != 0 ]; then
    echo "soak: the messenger ended with $status" >&2
    exit 1
fi
if grep -q "runtime error\|Sanitizer\|NOTICE" "$out/output"; then
    echo "soak: the messenger reports a failure" >&2
    exit 1
fi
scripts/soak.py "$out/samples.tsv" "$out/samples.svg"
