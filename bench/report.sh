#!/usr/bin/env bash
# Runs all benchmarks of qor and its peers, and writes docs/performance.md (times, ratios, machine,
# versions) and its charts.
#   bench/report.sh [FILTER]    with a FILTER, a regular expression over the names of benchmarks, the
#                               page is printed and no file is changed
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh bench
command -v python3 >/dev/null || { echo "report: needs python3" >&2; exit 1; }
cmake --preset bench >/dev/null
cmake --build --preset bench
out=build/bench/report
mkdir -p "$out"
for bench in build/bench/bench/qor_*_bench; do
    echo "== $(basename "$bench")" >&2
    "$bench" --benchmark_filter="${1:-.}" --benchmark_repetitions=7 --benchmark_min_time=0.05 \
        --benchmark_enable_random_interleaving=true --benchmark_report_aggregates_only=true \
        --benchmark_format=json >"$out/$(basename "$bench").json" 2>"$out/errors" ||
        { cat "$out/errors" >&2; exit 1; }
done
if [ -n "${1:-}" ]; then
    python3 bench/report.py "$out"/*.json
else
    python3 bench/report.py "$out"/*.json >"$out/performance.md"
    mv "$out/performance.md" docs/performance.md
    python3 bench/report.py --charts docs/performance.md
    echo "report: docs/performance.md" >&2
fi
