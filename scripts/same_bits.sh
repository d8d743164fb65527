#!/usr/bin/env bash
# The same output bits from every build: the output-hash program (one hash of
# every operation's rows and lines, the charts, both systems with their tips,
# the tactics pools and the flat C functions at units 100, 1000 and 10000,
# then one of every formula function's values in batch and in streams)
# must print one value for GCC at -O3 with the AVX2 lanes and without them,
# GCC at -O2, under ThreadSanitizer at -O2 and under AddressSanitizer at -O0,
# Clang at -O2 and -O3, and the Windows x86_64 DLL under Wine. Run after
# scripts/test.sh and scripts/windows.sh, which make most of those builds;
# the plain -O2 and Clang ones are made here.
set -euo pipefail
cd "$(dirname "$0")/.."
sample=data/daily_sz002032.csv
jobs=$(nproc)

# name, C compiler, C++ compiler, flags
builds=("gcc-O2 gcc g++ -O2" "clang-O2 clang clang++ -O2" "clang-O3 clang clang++ -O3")
for b in "${builds[@]}"; do
  read -r name cc cxx flags <<<"$b"
  cmake -S . -B "build/bits-$name" -G Ninja -DCMAKE_BUILD_TYPE=None -DCMAKE_C_COMPILER=$cc -DCMAKE_CXX_COMPILER=$cxx \
    -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" -DFENXI_BUILD_CLI=OFF -DFENXI_BUILD_PYTHON=OFF \
    -DFENXI_WERROR=ON >/dev/null
  cmake --build "build/bits-$name" -j "$jobs" --target fenxi_output_hash >/dev/null
done

names=() values=()
record() {
  names+=("$1")
  values+=("$2")
}
record "GCC -O3, AVX2 lanes" "$(build/release/tests/fenxi_output_hash $sample)"
record "GCC -O3, baseline lanes" "$(FENXI_LANES=baseline build/release/tests/fenxi_output_hash $sample)"
record "GCC -O2" "$(build/bits-gcc-O2/tests/fenxi_output_hash $sample)"
record "GCC -O2, ThreadSanitizer" "$(build/tsan/tests/fenxi_output_hash $sample)"
record "GCC -O0, ASan+UBSan" "$(build/sanitize/tests/fenxi_output_hash $sample)"
record "Clang -O2" "$(build/bits-clang-O2/tests/fenxi_output_hash $sample)"
record "Clang -O3" "$(build/bits-clang-O3/tests/fenxi_output_hash $sample)"
record "Windows x86_64 under Wine" "$(cat build/windows-x86_64/hash.txt)"

status=0
for k in "${!names[@]}"; do
  printf '%-28s %s\n' "${names[$k]}" "${values[$k]}"
  [ "${values[$k]}" = "${values[0]}" ] || status=1
done
[ $status -eq 0 ] && echo "same bits on every build" || echo "the builds disagree" >&2
exit $status
