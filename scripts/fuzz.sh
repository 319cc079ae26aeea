#!/usr/bin/env bash
# Sets up, builds and runs the fuzz targets, starting from their seed corpora.
#   scripts/fuzz.sh [SECONDS [TARGET]]   60 seconds each if not told; all targets
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}

scripts/setup.sh fuzz
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz
for target in build/fuzz/fuzz/qor_${2:-*}_fuzz; do
    name=$(basename "$target" | sed 's/^qor_//; s/_fuzz$//')
    found=build/fuzz/corpus/$name
    mkdir -p "$found"
    echo "== $name"
    "$target" -max_total_time="$seconds" -print_final_stats=1 -artifact_prefix="$found-" \
        "$found" "fuzz/corpus/$name"
done
