#!/usr/bin/env bash
# Builds the library and the fenxi tool, then runs the main job: the report
# on the shipped sample (arguments are passed to fenxi).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build/release -j "$(nproc)" --target fenxi_cli >/dev/null
build/release/cli/fenxi "$@"
