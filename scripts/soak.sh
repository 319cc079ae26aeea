#!/usr/bin/env bash
# Runs the messenger with its timers, its rotated log and the leak checker for a time, and fails on a
# lost message, a leak, growth of memory after the beginning, or a report of a sanitizer.
#   scripts/soak.sh [SECONDS [PRESET]]    60 seconds, and the preset asan
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-60}"
preset="${2:-asan}"

scripts/setup.sh test
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" --target qor_messenger
out="build/$preset/soak"
mkdir -p "$out"
rm -f "$out"/*

# What is released stays with the address sanitizer for a while: little of it, so that growth shows.
export ASAN_OPTIONS="quarantine_size_mb=8:${ASAN_OPTIONS:-}"
"build/$preset/examples/messenger" soak "$seconds" examples/data/messenger.pml \
    "$PWD/$out/messenger.log" >"$out/output" 2>&1 &
messenger=$!

resident() {
    awk '/^VmRSS/ { print $2 }' "/proc/$messenger/status" 2>/dev/null || true
}

# The first quarter is for what is made once.
sleep "$(awk "BEGIN { print $seconds / 4 }")"
before=$(resident)
after=$before
while kill -0 "$messenger" 2>/dev/null; do
    now=$(resident)
    [ -z "$now" ] || after=$now
    sleep 0.5
done
status=0
wait "$messenger" || status=$?

cat "$out/output"
echo "resident: ${before:-none} KiB after the first quarter, ${after:-none} KiB at the end"
if [ "$status" != 0 ]; then
    echo "soak: the messenger ended with $status" >&2
    exit 1
fi
if grep -q "runtime error\|Sanitizer\|NOTICE" "$out/output"; then
    echo "soak: the messenger reports a failure" >&2
    exit 1
fi
if [ -z "$before" ] || [ "$after" -gt $((before + before / 20 + 4096)) ]; then
    echo "soak: the memory grows" >&2
    exit 1
fi
