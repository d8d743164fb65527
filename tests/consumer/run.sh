#!/usr/bin/env bash
# Installs a built fenxi tree into a scratch prefix (its licence and notices
# included) and builds two consumers against it: one with find_package(fenxi),
# one with pkg-config (C++ and C);
# then runs the installed tool and imports the installed Python package.
set -euo pipefail
build=$1 work=$2
here=$(cd "$(dirname "$0")" && pwd)
rm -rf "$work" && mkdir -p "$work"
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null
# The licence and the notices travel with every install.
for f in LICENSE NOTICE; do
  [ -s "$prefix/share/fenxi/$f" ] || { echo "the install has no share/fenxi/$f" >&2; exit 1; }
done

cmake -S "$here" -B "$work/cmake" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_RPATH="$prefix/lib" >/dev/null
cmake --build "$work/cmake" >/dev/null
"$work/cmake/consumer_cpp"
"$work/cmake/consumer_c"

pc=$(find "$prefix" -name fenxi.pc -printf '%h\n' | head -n1)
export PKG_CONFIG_PATH=$pc
libdir=$(pkg-config --variable=libdir fenxi)
c++ -std=c++20 "$here/main.cpp" $(pkg-config --cflags --libs fenxi) -Wl,-rpath,"$libdir" -o "$work/pc_cpp"
cc -std=c99 -Wall -Wextra -pedantic -Werror "$here/main.c" $(pkg-config --cflags --libs fenxi) -Wl,-rpath,"$libdir" -o "$work/pc_c"
"$work/pc_cpp"
"$work/pc_c"
# The installed tool finds its library and its sample from the prefix alone.
if [ -x "$prefix/bin/fenxi" ]; then
  env -u LD_LIBRARY_PATH "$prefix/bin/fenxi" --version
  (cd / && env -u LD_LIBRARY_PATH "$prefix/bin/fenxi" | grep -q "2813 bars")
fi
# The installed Python package imports from the prefix's site-packages.
site=$(find "$prefix" -path '*-packages/fenxi' -type d | head -n1)
if [ -n "$site" ]; then
  (cd / && PYTHONPATH=$(dirname "$site") /usr/bin/python3 -c "import fenxi; assert len(fenxi.MACD(fenxi.sample())) == 2813")
fi
echo "package consumers ok"
