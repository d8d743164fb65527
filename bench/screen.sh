#!/usr/bin/env bash
# A market screen: 5,000 securities of 2,500 daily bars, made from the shipped
# series with shifted prices and dates (kept in /tmp between runs), screened
# by the tool (wall time, reading included) and by fenxi_screen_bench
# (reading and evaluation apart, evaluation the median of five).
#   [FENXI_BUILD_DIR=build/release] bash bench/screen.sh [SCREEN] [securities] [jobs]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${FENXI_BUILD_DIR:-build/release}
screen=${1:-SCR_MA_GOLDEN}
count=${2:-5000}
jobs=${3:-$(nproc)}
dir=/tmp/fenxi-screen-$count
if [ ! -f "$dir/done" ]; then
  rm -rf "$dir" && mkdir -p "$dir"
  python3 - "$dir" "$count" data/daily_sz002032.csv <<'PY'
import datetime, sys
out, count, sample = sys.argv[1], int(sys.argv[2]), sys.argv[3]
lines = open(sample).read().splitlines()
header, rows = lines[0].split(","), [l.split(",") for l in lines[1:]]
at = {name: k for k, name in enumerate(header)}
for k in range(count):
    start = (k * 7) % (len(rows) - 2500 + 1)
    factor = 0.5 + (k % 97) / 32          # shifted prices: 0.5x .. 3.5x
    shift = datetime.timedelta(days=k % 365)
    with open(f"{out}/daily_sz{k + 1:06d}.csv", "w") as f:
        f.write("date,open,high,low,close,volume,amount\n")
        for r in rows[start:start + 2500]:
            d = datetime.datetime.strptime(r[at["date"]], "%Y%m%d") + shift
            p = [f"{float(r[at[c]]) * factor:.2f}" for c in ("open", "high", "low", "close")]
            f.write(f"{d:%Y%m%d},{p[0]},{p[1]},{p[2]},{p[3]},{r[at['volume']]},{r[at['amount']]}\n")
PY
  touch "$dir/done"
fi
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DFENXI_BUILD_BENCH=ON >/dev/null
cmake --build "$build" --target fenxi_cli fenxi_screen_bench >/dev/null
start=$(date +%s.%N)
passing=$("$build"/cli/fenxi scan "$dir" --where "$screen" --jobs "$jobs" | tail -n +2 | wc -l)
end=$(date +%s.%N)
python3 -c "import sys; print(f'| fenxi scan --where {sys.argv[3]} | {sys.argv[4]} files | {sys.argv[5]} jobs | wall {float(sys.argv[2]) - float(sys.argv[1]):.2f} s | {sys.argv[6]} pass |')" \
  "$start" "$end" "$screen" "$count" "$jobs" "$passing"
"$build"/bench/fenxi_screen_bench "$dir" "$screen" "$jobs"
