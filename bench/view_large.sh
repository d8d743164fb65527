#!/usr/bin/env bash
# Time to the first draw of `fenxi view`'s page for a long minute series
# (239,550 bars by default: five years of an index's minutes), in headless
# Chromium: the page is written by the tool, opened from disk, and timed from
# navigation to the first frame after the chart is built. Also prints the
# page's size and the time the tool took to write it.
# Usage: bench/view_large.sh [FENXI_TOOL] (default build/serve/cli/fenxi)
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
tool="$(realpath "${1:-$root/build/serve/cli/fenxi}")"
bars="${FENXI_BARS:-239550}"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

python3 "$root/bench/minute_bars.py" "$root/data/daily_sz002032.csv" "$work/minute.csv" "$bars"
started=$(date +%s%3N)
"$tool" view -i "$work/minute.csv" -o "$work/minute.html" >/dev/null
echo "$bars bars: page written in $(($(date +%s%3N) - started)) ms, $(du -h "$work/minute.html" | cut -f1)"

cat > "$work/bench.mjs" <<'JS'
import { createRequire } from 'node:module';
const require = createRequire(process.env.WEB + '/package.json');
const { chromium } = require('playwright-core');
const browser = await chromium.launch({ executablePath: process.env.CHROMIUM || '/usr/bin/chromium',
  args: ['--no-sandbox', '--disable-gpu', '--no-first-run', '--disable-background-networking'] });
for (const label of ['first', 'second']) {
  const tab = await browser.newPage({ viewport: { width: 1400, height: 900 } });
  await tab.goto('file://' + process.env.PAGE);
  await tab.waitForFunction(() => window.fenxiView && window.fenxiView.ready, null, { timeout: 120000 });
  const drawn = await tab.evaluate(() => new Promise((done) => requestAnimationFrame(() => done(performance.now()))));
  const loaded = await tab.evaluate(() => window.fenxiView.loadedBars);
  console.log(`${label} open: first draw ${drawn.toFixed(0)} ms after navigation (${loaded} bars in the chart)`);
  await tab.close();
}
await browser.close();
JS
PAGE="$work/minute.html" WEB="$root/web" node "$work/bench.mjs"
