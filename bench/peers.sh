#!/usr/bin/env bash
# fenxi beside TA-Lib and Tulip Indicators: builds the peers' C sources from
# their npm packages in build/peers and prints the side-by-side table.
# Arguments: bar counts (default 36500 1000000), or --panel [securities
# [bars]] (default 5000 2500) for the panel table.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
cmake -S . -B build/peers -G Ninja -DCMAKE_BUILD_TYPE=Release -DFENXI_BUILD_BENCH=ON -DFENXI_BENCH_PEERS=ON \
  -DFENXI_BUILD_TESTS=OFF -DFENXI_BUILD_PYTHON=OFF -DFENXI_BUILD_CLI=OFF >/dev/null
cmake --build build/peers -j "$(nproc)" --target fenxi_peers_bench >/dev/null
build/peers/bench/fenxi_peers_bench "$@"
