#!/usr/bin/env bash
# Builds the library, the fenxi tool and the Python package, installs them
# under /usr/local when run as root, then runs the main job: the report on
# the shipped sample (arguments are passed to fenxi).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build/release -j "$(nproc)" --target fenxi_cli _fenxi >/dev/null
if [ "$(id -u)" -eq 0 ]; then
  cmake --install build/release --prefix /usr/local >/dev/null
  ldconfig
else
  echo "not root: use build/release/cli/fenxi, and PYTHONPATH=$PWD/build/release/python for the Python package" >&2
fi
build/release/cli/fenxi "$@"
