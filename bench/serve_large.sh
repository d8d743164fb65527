#!/usr/bin/env bash
# Time to the first draw of a 1,000,000-bar series in `fenxi serve`'s app, in
# headless Chromium: minute bars made by repeating the shipped daily sample,
# each copy shifted to open where the previous one closed. Prints the time
# from navigation to the drawn chart with the server not yet having read the
# file (cold: the server reads the folder as it starts, while the browser
# starts) and having read it (warm), and the time since the server started.
# Usage: bench/serve_large.sh [FENXI_TOOL] (default build/serve/cli/fenxi)
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
tool="$(realpath "${1:-$root/build/serve/cli/fenxi}")"
bars="${FENXI_BARS:-1000000}"
work="$(mktemp -d)"
trap 'kill "$server" 2>/dev/null || true; rm -rf "$work"' EXIT
mkdir "$work/folder"

python3 "$root/bench/minute_bars.py" "$root/data/daily_sz002032.csv" "$work/folder/minute_large.csv" "$bars"
echo "$(wc -l < "$work/folder/minute_large.csv") lines, $(du -h "$work/folder/minute_large.csv" | cut -f1)"

started=$(date +%s%3N)
"$tool" serve "$work/folder" --port 0 2> "$work/server.log" &
server=$!
for _ in $(seq 100); do grep -q http "$work/server.log" && break; sleep 0.1; done
url="$(grep -o 'http://[^ ]*/' "$work/server.log")"

cat > "$work/bench.mjs" <<'JS'
import { createRequire } from 'node:module';
const require = createRequire(process.env.WEB + '/package.json');
const { chromium } = require('playwright-core');
const browser = await chromium.launch({ executablePath: process.env.CHROMIUM || '/usr/bin/chromium',
  args: ['--no-sandbox', '--disable-gpu', '--no-first-run', '--disable-background-networking'] });
for (const label of ['cold', 'warm']) {
  const tab = await browser.newPage({ viewport: { width: 1400, height: 900 } });
  await tab.goto(process.env.URL + '#file=minute_large.csv');
  await tab.waitForFunction(() => window.fenxiApp && window.fenxiApp.drawn > 0, null, { timeout: 120000 });
  const app = await tab.evaluate(() => ({ drawn: window.fenxiApp.drawn, at: performance.timeOrigin + window.fenxiApp.drawn,
    bars: window.fenxiApp.bars, total: window.fenxiApp.total }));
  console.log(`${label}: first draw ${app.drawn.toFixed(0)} ms after navigation, ` +
    `${(app.at - Number(process.env.STARTED)).toFixed(0)} ms after the server started (${app.bars} of ${app.total} bars loaded)`);
  await tab.close();
}
await browser.close();
JS
URL="$url" WEB="$root/web" STARTED="$started" node "$work/bench.mjs"
