#!/usr/bin/env bash
# Builds and runs every test: the thread stress test under ThreadSanitizer,
# the fuzz smoke run, then the whole suite optimised (with the Python package
# under pytest) and again in Debug under AddressSanitizer and
# UndefinedBehaviorSanitizer (LeakSanitizer on), then the Windows builds
# (the suite under Wine) and the comparison of every build's output hash.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
jobs=$(nproc)

export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1
cmake -S . -B build/tsan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DFENXI_SANITIZE=thread -DFENXI_BUILD_CLI=OFF \
  -DFENXI_BUILD_SHARED=OFF -DFENXI_BUILD_PYTHON=OFF
cmake --build build/tsan -j "$jobs" --target fenxi_stress_tests fenxi_output_hash
ctest --test-dir build/tsan --output-on-failure -R Stress
unset TSAN_OPTIONS

bash scripts/fuzz.sh 15

cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release -DFENXI_WERROR=ON -DFENXI_BUILD_BENCH=ON
cmake --build build/release -j "$jobs"
ctest --test-dir build/release --output-on-failure -j "$jobs"
bash scripts/wheel_test.sh

export ASAN_OPTIONS=allocator_may_return_null=1:detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
# The Python package is left out here: an instrumented extension cannot load
# into the uninstrumented interpreter.
cmake -S . -B build/sanitize -G Ninja -DCMAKE_BUILD_TYPE=Debug -DFENXI_WERROR=ON -DFENXI_SANITIZE=address,undefined \
  -DFENXI_BUILD_PYTHON=OFF
cmake --build build/sanitize -j "$jobs"
ctest --test-dir build/sanitize --output-on-failure -j "$jobs"

# The Windows DLL under Wine, then the same output bits on every build.
bash scripts/windows.sh
bash scripts/same_bits.sh
