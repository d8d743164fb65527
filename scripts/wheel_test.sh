#!/usr/bin/env bash
# The Python package as a user installs it: a wheel built through
# pyproject.toml (no network: Debian's cmake, ninja and pybind11), installed
# into a fresh virtual environment that sees Debian's numpy and pandas, and
# the pytest suite run against it from outside the source tree.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
python=/usr/bin/python3
rm -rf build/dist build/venv
"$python" -m build --wheel --no-isolation --skip-dependency-check --outdir build/dist . >build/wheel.log 2>&1 ||
  { tail -30 build/wheel.log >&2; exit 1; }
wheel=$(ls build/dist/fenxi-*.whl)
"$python" -m venv --system-site-packages build/venv
build/venv/bin/python -m pip install --no-index --quiet "$wheel"
cd /tmp
build="$root/build/venv/bin/python"
"$build" -c "import fenxi, os; assert fenxi.__file__.startswith('$root/build/venv'), fenxi.__file__"
FENXI_CLI="$root/build/release/cli/fenxi" FENXI_DATA_DIR="$root/data" \
  "$build" -m pytest -q -p no:cacheprovider "$root/tests/python"
echo "wheel $(basename "$wheel"): installed into a virtual environment, Python tests passed"
