#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (ASan + UBSan) and runs each for a
# bounded time from the checked-in seed corpus (default 15 s each). New
# inputs go to a scratch folder; the checked-in corpus is only read, unless
# FENXI_FUZZ_MERGE=1, which adds to it the scratch inputs that reach new
# coverage (after a long run, so that CI's short one starts from there).
#   bash scripts/fuzz.sh [SECONDS] [TARGET...]    (targets: engine systems capi csv formula)
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-15}
shift || true
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(engine systems capi csv formula)
bash scripts/deps.sh
command -v clang++ >/dev/null || { echo "clang++ is needed: apt-get install -y clang libclang-rt-dev" >&2; exit 1; }
CC=clang CXX=clang++ cmake -S . -B build/fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DFENXI_BUILD_FUZZ=ON \
  -DFENXI_SANITIZE=address,undefined -DFENXI_BUILD_TESTS=OFF -DFENXI_BUILD_CLI=OFF -DFENXI_BUILD_SHARED=OFF -DFENXI_BUILD_PYTHON=OFF >/dev/null
cmake --build build/fuzz -j "$(nproc)"
export ASAN_OPTIONS=allocator_may_return_null=1:detect_leaks=1
export UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1
for target in "${targets[@]}"; do
  scratch=build/fuzz/corpus-$target
  mkdir -p "$scratch"
  echo "fuzz_$target: $seconds s"
  log=build/fuzz/fuzz_$target.log
  status=0
  extra=()
  # The CSV reader also gets long inputs: fields of 100 kB and more, long numbers.
  [ "$target" = csv ] && extra=(-max_len=262144 -dict=fuzz/csv.dict)
  # Formula texts: the language's tokens, texts up to past the 64 KiB bound.
  [ "$target" = formula ] && extra=(-max_len=70000 -dict=fuzz/formula.dict)
  build/fuzz/fuzz/fuzz_$target -max_total_time="$seconds" -timeout=20 -rss_limit_mb=4096 -print_final_stats=1 \
    "${extra[@]}" "$scratch" fuzz/corpus/$target >"$log" 2>&1 || status=$?
  grep -E '^(stat::number_of_executed_units|stat::peak_rss_mb)|ERROR|SUMMARY|^ +#[0-9]+ 0x' "$log" | head -40 || true
  if [ "$status" -ne 0 ]; then echo "fuzz_$target failed (see $log)"; exit 1; fi
  if [ "${FENXI_FUZZ_MERGE:-0}" = 1 ]; then
    before=$(ls fuzz/corpus/$target | wc -l)
    build/fuzz/fuzz/fuzz_$target -merge=1 -timeout=20 -rss_limit_mb=4096 "${extra[@]}" fuzz/corpus/$target "$scratch" \
      >"$log.merge" 2>&1
    echo "fuzz_$target: corpus $before -> $(ls fuzz/corpus/$target | wc -l) inputs"
  fi
done
echo "fuzz: ${#targets[@]} passed, 0 failed"
