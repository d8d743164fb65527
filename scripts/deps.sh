#!/usr/bin/env bash
# Makes sure the Debian packages the build needs are present (as root it
# installs what is missing; otherwise it prints the apt-get line and fails),
# then the npm packages of web/ as its lock file pins them.
# `deps.sh windows` adds the MinGW-w64 cross compilers and Wine.
set -euo pipefail
cd "$(dirname "$0")/.."
need=(cmake ninja-build g++ pkg-config libgtest-dev libgmock-dev libbenchmark-dev libcli11-dev nlohmann-json3-dev libcpp-httplib-dev clang libclang-rt-14-dev
      pybind11-dev python3-dev python3-numpy python3-pandas python3-pytest python3-tqdm python3-distributed
      python3-build python3-venv
      chromium fonts-wqy-microhei)
command -v npm >/dev/null || need+=(npm)
if [ "${1:-}" = windows ]; then
  need+=(g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix wine64 googletest zip)
fi
missing=()
for p in "${need[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  if [ "$(id -u)" -eq 0 ]; then
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq
    apt-get install -y -qq --no-install-recommends "${missing[@]}"
  else
    echo "missing packages; install them with:" >&2
    echo "  sudo apt-get install -y ${missing[*]}" >&2
    exit 1
  fi
fi
# The chart page's drawing library and the browser test's driver, pinned by
# web/package-lock.json.
if [ ! -f web/node_modules/.package-lock.json ] || [ web/package-lock.json -nt web/node_modules/.package-lock.json ]; then
  (cd web && npm ci --no-audit --no-fund --loglevel=error)
fi
