#!/usr/bin/env bash
# Regenerates docs/performance.md from one run of every benchmark:
#   bash scripts/performance.sh [--quick]
# Builds build/perf (Release, benchmarks, tool, Python package) and
# build/perf-peers (TA-Lib and Tulip Indicators beside fenxi), runs each
# benchmark once, saves the outputs in build/perf/results/ and writes the page
# from them with bench/performance_page.py. --quick: one repetition and small
# sizes, to check the whole chain in a few minutes (the page says so).
# JOBS sets the build's parallelism (default: nproc).
set -euo pipefail
cd "$(dirname "$0")/.."
quick=0
case "${1:-}" in
  --quick) quick=1 ;;
  "") ;;
  *) echo "usage: bash scripts/performance.sh [--quick]" >&2; exit 2 ;;
esac
jobs=${JOBS:-$(nproc)}
build=build/perf
peers=build/perf-peers
results=$build/results

bash scripts/deps.sh

step() { echo "== $*" >&2; }
quiet() {  # a command whose output is shown only when it fails
  local log
  log=$(mktemp)
  if ! "$@" >"$log" 2>&1; then cat "$log" >&2; rm -f "$log"; return 1; fi
  rm -f "$log"
}
step "build $build"
quiet cmake -S . -B $build -G Ninja -DCMAKE_BUILD_TYPE=Release -DFENXI_BUILD_BENCH=ON -DFENXI_BUILD_TESTS=OFF \
  -DFENXI_BUILD_CLI=ON -DFENXI_BUILD_PYTHON=ON
quiet cmake --build $build -j "$jobs" --target fenxi_bench fenxi_peak_memory fenxi_screen_bench fenxi_cli _fenxi

step "build $peers"
# The peers' sources come with npm pack at configure time; a tree that
# bench/peers.sh already fetched into build/peers is reused.
if [ ! -d $peers/bench/peers/talib/package ] && [ -d build/peers/bench/peers/talib/package ] &&
   [ -d build/peers/bench/peers/tulind/package ]; then
  mkdir -p $peers/bench/peers
  cp -r build/peers/bench/peers/talib build/peers/bench/peers/tulind $peers/bench/peers/
fi
quiet cmake -S . -B $peers -G Ninja -DCMAKE_BUILD_TYPE=Release -DFENXI_BUILD_BENCH=ON -DFENXI_BENCH_PEERS=ON \
  -DFENXI_BUILD_TESTS=OFF -DFENXI_BUILD_PYTHON=OFF -DFENXI_BUILD_CLI=OFF
quiet cmake --build $peers -j "$jobs" --target fenxi_peers_bench

rm -rf $results && mkdir -p $results
began=$(date +%s)  # the benchmarks' time, builds excluded
compiler=$(sed -n 's/^CMAKE_CXX_COMPILER:FILEPATH=//p' $build/CMakeCache.txt)
{
  echo "quick=$quick"
  echo "nproc=$(nproc)"
  echo "cpu=$(sed -n 's/^model name[[:space:]]*: //p' /proc/cpuinfo | head -1)"
  echo "compiler=$("$compiler" --version | head -1)"
  echo "date=$(date -u '+%Y-%m-%d %H:%M UTC')"
  echo "commit=$(git rev-parse --short HEAD 2>/dev/null || echo unknown)$(git diff --quiet HEAD 2>/dev/null || echo ' (with local changes)')"
} >$results/machine.txt

if [ $quick = 1 ]; then
  reps=1 min_time=0.05 size=10000 panel_size="200 2500" securities=200 py_args="1 36500"
  suite_filter='^((Floor|Generate|Update|Columnar|Stream|KLINE|MountAdvSys|Tactics|Tip|ComputeDKDataForC).*/36500|Window/.*)$'
else
  reps=7 min_time=0.5 size="" panel_size="" securities=5000 py_args=""
  suite_filter='^(Floor|Generate|Update|Columnar|Stream|KLINE|MountAdvSys|Tactics|Tip|ComputeDKDataForC|Window)'
fi
# Each command's arguments, one a line, for the page to quote; then the run.
run() {  # name, command...
  local name=$1 t0 t1
  shift
  printf '%s\n' "$@" >"$results/$name.cmd"
  step "$name: $*"
  t0=$(date +%s)
  "$@"
  t1=$(date +%s)
  echo "$name=$((t1 - t0))" >>$results/seconds.txt
}
gbench=("--benchmark_repetitions=$reps" "--benchmark_min_time=$min_time" --benchmark_report_aggregates_only=true
        --benchmark_out_format=json)

run suite $build/bench/fenxi_bench "--benchmark_filter=$suite_filter" "${gbench[@]}" \
  --benchmark_out=$results/suite.json >$results/suite.log
run formulas $build/bench/fenxi_bench '--benchmark_filter=^(Formula|BuiltinMacdColumns)' "${gbench[@]}" \
  --benchmark_out=$results/formulas.json >$results/formulas.log
# shellcheck disable=SC2086  # $size is empty or one count
run peers $peers/bench/fenxi_peers_bench $size >$results/peers.md
# shellcheck disable=SC2086
run panel $peers/bench/fenxi_peers_bench --panel $panel_size >$results/panel.md
run screen env FENXI_BUILD_DIR=$build bash bench/screen.sh SCR_MA_GOLDEN $securities >$results/screen.md
run scan bash bench/scan.sh $build/cli/fenxi $securities >$results/scan.txt
# shellcheck disable=SC2086
run python env PYTHONPATH=$build/python /usr/bin/python3 bench/python_overhead.py $py_args >$results/python.md
run peak_memory $build/bench/fenxi_peak_memory >$results/peak_memory.txt
run view_large bash bench/view_large.sh $build/cli/fenxi >$results/view_large.txt
run serve_large bash bench/serve_large.sh $build/cli/fenxi >$results/serve_large.txt
echo "total=$(($(date +%s) - began))" >>$results/seconds.txt

python3 -B bench/performance_page.py $results >$results/performance.md
cp $results/performance.md docs/performance.md
step "docs/performance.md written ($(($(date +%s) - began)) s)"
