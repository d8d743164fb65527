#!/usr/bin/env bash
# fenxi scan over 5,000 securities of 2,500 daily bars, made from the shipped
# sample (windows at different offsets, one code each) in a temporary
# directory: the time per security on one thread and the speed-up on two.
#   bash bench/scan.sh [build/release/cli/fenxi] [securities]
set -euo pipefail
tool=${1:-build/release/cli/fenxi}
count=${2:-5000}
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
python3 - "$dir" "$count" "$(dirname "$0")/../data/daily_sz002032.csv" <<'PY'
import sys
out, count, sample = sys.argv[1], int(sys.argv[2]), sys.argv[3]
lines = open(sample).read().splitlines()
header, rows = lines[0], lines[1:]
for k in range(count):
    start = k % (len(rows) - 2500 + 1)
    with open(f"{out}/daily_sz{k + 1:06d}.csv", "w") as f:
        f.write(header + "\n" + "\n".join(rows[start:start + 2500]) + "\n")
PY
for jobs in 1 2; do
  start=$(date +%s.%N)
  "$tool" scan "$dir" --jobs "$jobs" >/dev/null
  end=$(date +%s.%N)
  python3 -c "import sys; t = float(sys.argv[2]) - float(sys.argv[1]); print(f'jobs {sys.argv[3]}: {t:.2f} s, {1000 * t / int(sys.argv[4]):.2f} ms per security')" \
    "$start" "$end" "$jobs" "$count"
done
