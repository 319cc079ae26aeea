#!/usr/bin/env bash
# Sets up, builds and runs the benchmarks of qor and its peers. Shows the medians of 7 runs.
#   scripts/bench.sh [FILTER]    FILTER is a regular expression over the names of benchmarks
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh bench
cmake --preset bench >/dev/null
cmake --build --preset bench
for bench in build/bench/bench/qor_*_bench; do
    echo "== $(basename "$bench")"
    "$bench" --benchmark_filter="${1:-.}" --benchmark_repetitions=7 \
        --benchmark_min_time=0.1 --benchmark_enable_random_interleaving=true \
        --benchmark_report_aggregates_only=true | sed -E '/_(mean|stddev|cv) /d'
done
