#!/usr/bin/env bash
# Builds the benchmarks (Release) and runs them: medians of 7 repetitions.
# Extra arguments go to Google Benchmark (for example --benchmark_filter=MACD).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release -DFENXI_BUILD_BENCH=ON >/dev/null
cmake --build build/release -j "$(nproc)" --target fenxi_bench >/dev/null
build/release/bench/fenxi_bench --benchmark_repetitions=7 --benchmark_report_aggregates_only=true "$@"
