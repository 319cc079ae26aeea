#!/usr/bin/env bash
# Runs the messenger under load for a time, with timers, a rotated log, visitors that connect and
# leave, log switches that are read again, and the leak checker. Fails on a lost message, a failed
# visit, a leak, a report of a sanitizer, or growth of memory, descriptors, threads or latency after
# the first quarter of the time.
#   scripts/soak.sh [SECONDS [PRESET [VISITORS]]]
# Defaults: 60 seconds; preset asan; 500 visitors in a soak of ten minutes or more, else none. While
# threads start and end, the caches of allocators and sanitizers fill for minutes: in a short soak with
# visitors this growth would hide a leak.
# Writes samples to build/PRESET/soak/samples.tsv, and draws them in samples.svg beside it.
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

# The address sanitizer keeps released memory for a while; with a small quarantine, growth is visible.
export ASAN_OPTIONS="quarantine_size_mb=8:${ASAN_OPTIONS:-}"
"build/$preset/examples/messenger" soak "$seconds" "$visitors" examples/data/messenger.pml \
    "$PWD/$out/messenger.log" >"$out/output" 2>&1 &
messenger=$!
trap 'kill "$messenger" 2>/dev/null || true' EXIT

# Prints a row: seconds, KiB of resident memory, descriptors, threads, microseconds of latency. Prints
# nothing if the messenger has ended.
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
trap - EXIT

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
