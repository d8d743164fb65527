#!/usr/bin/env bash
# The Windows library, cross-built with MinGW-w64 and tested under Wine:
#   - x86_64 and i686 (SSE2 arithmetic) builds of fenxi.dll, fenxi.exe and
#     the output-hash program, with -Werror;
#   - both DLLs must export the flat C functions and the fx_ interface's
#     (a sample of them) undecorated;
#   - x86_64: the test suite, the C test, the thread stress test and the tool
#     run under Wine (Debian has no 32-bit Wine beside wine64 without a
#     second architecture, so i686 is built and its exports checked);
#   - the zip of the x86_64 build (cpack);
#   - the output hash printed under Wine, in build/windows-x86_64/hash.txt,
#     which scripts/same_bits.sh compares with the Linux builds.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh windows
jobs=$(nproc)
wine=$(command -v wine64 || echo /usr/lib/wine/wine64)
export WINEDEBUG=-all WINEPREFIX=${WINEPREFIX:-$PWD/build/wineprefix}
sample=data/daily_sz002032.csv
functions=(ComputeDKDataForC ComputeDKDataForCDemo ComputeDKMsgForC ComputeDKMsgForCDemo FreeCharBuffer FreeKLineBars
           FreeLineStruct GenerateSHLDXFXForC GenerateZJLDXFXForC SetDebugOutputHook
           fx_last_error fx_version fx_operation_count fx_compute_columns fx_compute_many fx_stream_append fx_formula_compile
           fx_formula_run_bars fx_formula_last_bars fx_library_load_text fx_library_free)

for arch in x86_64 i686; do
  dir=build/windows-$arch
  cmake -S . -B "$dir" -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64.cmake -DFENXI_WINDOWS_ARCH=$arch \
    -DCMAKE_BUILD_TYPE=Release -DFENXI_WERROR=ON -DFENXI_BUILD_PYTHON=OFF >/dev/null
  if [ $arch = x86_64 ]; then
    cmake --build "$dir" -j "$jobs"
  else
    cmake --build "$dir" -j "$jobs" --target fenxi fenxi_cli fenxi_output_hash
  fi
  exports=$("$arch-w64-mingw32-objdump" -p "$dir/bin/fenxi.dll" | sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p')
  for f in "${functions[@]}"; do
    grep -qE "\] $f\$" <<<"$exports" || { echo "$arch fenxi.dll does not export $f" >&2; exit 1; }
  done
  echo "$arch: fenxi.dll exports the ${#functions[@]} C functions undecorated"
done

dir=build/windows-x86_64
ctest --test-dir "$dir" --output-on-failure
"$wine" "$dir/bin/fenxi.exe" -i "$sample" >"$dir/report.txt"
grep -q "D" "$dir/report.txt"
"$wine" "$dir/bin/fenxi_output_hash.exe" "$sample" | tr -d '\r' >"$dir/hash.txt"
echo "x86_64 under Wine: output hash $(cat "$dir/hash.txt")"
(cd "$dir" && cpack -G ZIP >/dev/null && ls fenxi-*-windows-*.zip)
# The zip carries the licence and the notices.
python3 - "$(ls "$dir"/fenxi-*-windows-*.zip | head -n1)" <<'PY'
import sys, zipfile
names = [n.rsplit("/", 1)[-1] for n in zipfile.ZipFile(sys.argv[1]).namelist()]
missing = [f for f in ("LICENSE", "NOTICE") if f not in names]
sys.exit(f"{sys.argv[1]} has no {', '.join(missing)}" if missing else 0)
PY
