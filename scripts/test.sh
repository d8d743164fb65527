#!/usr/bin/env bash
# Builds and runs every test twice: optimised, then Debug under
# AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
jobs=$(nproc)

cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release -DFENXI_WERROR=ON -DFENXI_BUILD_BENCH=ON
cmake --build build/release -j "$jobs"
ctest --test-dir build/release --output-on-failure -j "$jobs"

export ASAN_OPTIONS=allocator_may_return_null=1:detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
cmake -S . -B build/sanitize -G Ninja -DCMAKE_BUILD_TYPE=Debug -DFENXI_WERROR=ON -DFENXI_SANITIZE=address,undefined
cmake --build build/sanitize -j "$jobs"
ctest --test-dir build/sanitize --output-on-failure -j "$jobs"
